#include <ztutil/fmt.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace ztutil;

std::string Printed(const std::string& text) {
  std::string out = "unchanged";
  FmtPrintf(out, "%s", text.c_str());
  return out;
}

TEST(Fmt, EachTypeHasItsForm) {
  EXPECT_EQ(FmtBool(false) + FmtBool(true) + FmtBool(true, "no\0yes"), "falsetrueyes");
  EXPECT_EQ(FmtInt8(-1) + " " + FmtInt16(-32768) + " " + FmtInt32(-1) + " " + FmtInt64(INT64_MIN),
            "-1 -32768 -1 -9223372036854775808");
  EXPECT_EQ(FmtUInt8(10) + " " + FmtUInt16(10) + " " + FmtUInt32(10) + " " + FmtULong(10),
            "0x0a 0x000a 0x0000000a 0x0000000a");
  EXPECT_EQ(FmtUInt64(10) + " " + FmtPointer(nullptr), "0x000000000000000a 0x0000000000000000");
  EXPECT_EQ(FmtFloat(1.005f) + " " + FmtDouble(-0.125) + " " + FmtLong(7, "%5ld"), "1.00 -0.12     7");
  EXPECT_EQ(FmtChar('a') + FmtChar('\'') + FmtChar('\n'), R"('a''\'''\n')");
  EXPECT_EQ(FmtString("a\"\n") + FmtString(nullptr) + FmtString("b", "<%s>"), R"("a\"\n"<nullptr><b>)");
  EXPECT_EQ(FmtFourCC(0x61626364) + FmtFourCC(0x61620064), "'abcd'0x61620064");
  EXPECT_EQ(FmtColumn(1) + FmtColumn(2) + FmtColumn(4) + FmtColumn(8), "%4d%6d%11d%21lld");
}

TEST(Fmt, TheNewestOneIsActive) {
  class Loud : public Fmt {
   public:
    using Fmt::Fmt;
    explicit Loud(const Fmt& other) : Fmt(other) {}
    void FormatInt32(std::string& out, std::int32_t, const char*) const override { out += "loud"; }
  };
  auto middle = std::make_unique<Fmt>(Fmt::Head());
  middle->fInt32 = "<%d>";
  EXPECT_EQ(FmtInt32(1), "<1>");
  {
    const Loud loud(*middle);
    middle.reset();
    EXPECT_EQ(FmtInt32(1) + FmtInt16(1), "loud1");
    const auto copy = std::make_unique<Fmt>(loud);
    EXPECT_EQ(FmtInt32(1), "<1>");
  }
  EXPECT_EQ(FmtInt32(1), "1");
}

TEST(FmtPrintf, HoldsTextsOfAnyLength) {
  for (const std::size_t length : {0u, 1u, 255u, 256u, 300u, 100000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(Printed(text), text);
  }
}

TEST(Quote, EscapesWhatDoesNotPrint) {
  EXPECT_EQ(QuoteString("\b\t\n\f\r\\'\""), R"(\b\t\n\f\r\\'\")");
  EXPECT_EQ(QuoteString("\a\x7f\xc3\xa9 ~"), R"(\x07\x7f\xc3\xa9 ~)");
  EXPECT_EQ(QuoteString(nullptr), "<nullptr>");
  EXPECT_EQ(QuoteWideString(u"Radeon\u2122 \u3042\"\x07"), R"(Radeon\x2122 \x3042\"\x0007)");
}

TEST(Unquote, ReversesQuoting) {
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  EXPECT_EQ(UnquoteString(QuoteString(all.c_str())), all);
  const std::u16string wide = u"Radeon\u2122 \u3042\"\x07";
  EXPECT_EQ(UnquoteWideString(QuoteWideString(wide.c_str())), wide);
  EXPECT_EQ(UnquoteString(R"(\x4A\x4\xg\q\)"), std::string("J\x04\0gq\\", 6));
}

}  // namespace
