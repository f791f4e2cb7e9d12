#include <ztutil/fmt.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace ztutil;

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
  EXPECT_EQ(FmtColumn(1) + FmtColumn(2) + FmtColumn(4) + FmtColumn(8), "%4d%6d%11d%20lld");
}

TEST(Fmt, EachTypeHasAFormatOfItsOwn) {
  Fmt own(Fmt::Head());
  own.fCharFunc = [](std::string& out, char value, char quote) { out += {value, quote}; };
  own.fBool = "n\0y", own.fInt8 = "a%d", own.fUInt8 = "b%u", own.fInt16 = "c%d", own.fUInt16 = "d%u";
  own.fInt32 = "e%d", own.fUInt32 = "f%u", own.fLong = "g%ld", own.fULong = "h%lu", own.fInt64 = "i%lld";
  own.fUInt64 = "j%llu", own.fFloat = "k%g", own.fDouble = "l%g", own.fString = "m%s", own.fPointer = "n%llu";
  EXPECT_EQ(FmtBool(true) + FmtChar('"') + FmtInt8(1) + FmtUInt8(2) + FmtInt16(3) + FmtUInt16(4) +
                FmtInt32(5) + FmtUInt32(6) + FmtLong(7) + FmtULong(8) + FmtInt64(9) + FmtUInt64(10) +
                FmtFloat(0.5f) + FmtDouble(1.5) + FmtString("x\n") + FmtPointer(nullptr) + FmtFourCC(11),
            "y\"'a1b2c3d4e5f6g7h8i9j10k0.5l1.5mx\\nn0f11");
}

TEST(Fmt, TheNewestOneIsActive) {
  auto bottom = std::make_unique<Fmt>(Fmt::Head());
  bottom->fInt32 = "<%d>";
  auto middle = std::make_unique<Fmt>(*bottom);
  auto top = std::make_unique<Fmt>(*middle);
  top->fInt16 = "[%d]";
  middle.reset();
  bottom.reset();
  EXPECT_EQ(FmtInt32(1) + FmtInt16(1), "<1>[1]");
  top.reset();
  EXPECT_EQ(FmtInt32(1) + FmtInt16(1), "11");
}

TEST(FmtPrintf, HoldsTextsOfAnyLength) {
  for (const std::size_t length : {0u, 254u, 255u, 256u, 100000u}) {
    const std::string text(length, 'x');
    std::string out = "replaced";
    FmtPrintf(out, "%s.", text.c_str());
    EXPECT_EQ(out, text + ".");
  }
}

TEST(Quote, EscapesWhatDoesNotPrintAndCanBeReversed) {
  EXPECT_EQ(QuoteString("\b\t\n\f\r\\'\""), R"(\b\t\n\f\r\\'\")");
  EXPECT_EQ(QuoteString("\a\x7f\xc3\xa9 ~"), R"(\x07\x7f\xc3\xa9 ~)");
  EXPECT_EQ(QuoteString(nullptr) + QuoteWideString(nullptr), "<nullptr><nullptr>");
  const std::u16string wide = u"Radeon\u2122 \u3042\"\x07";
  EXPECT_EQ(QuoteWideString(wide.c_str()), R"(Radeon\x2122 \x3042\"\x0007)");
  EXPECT_EQ(UnquoteWideString(QuoteWideString(wide.c_str())), wide);
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  EXPECT_EQ(UnquoteString(QuoteString(all.c_str())), all);
  EXPECT_EQ(UnquoteString(R"(\x4A\x4\xg\q\)"), std::string("J\x04\0gq\\", 6));
}

}  // namespace
