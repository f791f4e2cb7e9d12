#include <ztutil/fmt.h>

#include <gtest/gtest.h>

namespace {

std::string Printed(const char* format, ...) {
  std::string out = "unchanged";
  std::va_list arguments;
  va_start(arguments, format);
  ztutil::FmtVPrintf(out, format, arguments);
  va_end(arguments);
  return out;
}

TEST(FmtVPrintf, HoldsTextsOfAnyLength) {
  for (const std::size_t length : {0u, 1u, 255u, 256u, 300u, 100000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(Printed("%s", text.c_str()), text);
  }
}

TEST(QuoteString, EscapesWhatDoesNotPrint) {
  EXPECT_EQ(ztutil::QuoteString("a\"\n"), "a\\\"\\n");
  EXPECT_EQ(ztutil::QuoteString("\b\t\n\f\r\\'"), "\\b\\t\\n\\f\\r\\\\'");
  EXPECT_EQ(ztutil::QuoteString("\a\x7f\xc3\xa9 ~"), "\\x07\\x7f\\xc3\\xa9 ~");
  EXPECT_EQ(ztutil::QuoteString(nullptr), "<nullptr>");
  EXPECT_EQ(ztutil::QuoteWideString(u"Radeon\u2122 \u3042\"\x07"), "Radeon\\x2122 \\x3042\\\"\\x0007");
}

}  // namespace
