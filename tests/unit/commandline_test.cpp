#include "process/commandline.h"

#include <ztutil/widetext.h>

#include <gtest/gtest.h>

namespace {

using Arguments = std::deque<std::string>;

TEST(CommandLine, QuotesEachArgument) {
  const struct {
    Arguments arguments;
    std::u16string behindProgram;
  } rows[] = {
      {{}, u""},
      {{""}, uR"( "")"},
      {{"a b", R"(say "hi")", R"("it's")"}, uR"( "a b" 'say "hi"' "\"it's\"")"},
      {{R"(a'b"c)"}, uR"( "a'b\"c")"},
      {{R"(c:\)", R"(\")"}, uR"( "c:\" '\"')"},
      {{"\xE9\x7F"}, u" \"\uFFE9\x7F\""},
      {{std::string("a\0b", 3)}, std::u16string(u" \"a\0b\"", 6)},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ztutil::CommandLine(L"c:\\my \u00e9 \"x\"", row.arguments),
              u"c:\\my \u00e9 \"x\"" + row.behindProgram);
}

TEST(WideText, BytesRoundTripWhateverTheyAre) {
  const struct {
    std::string bytes;
    std::wstring wide;
  } rows[] = {
      {"\x7F\u0080\u07ff\u0800\uffff\U00010000\U0010ffff",
       L"\x7F\u0080\u07ff\u0800\uffff\U00010000\U0010ffff"},
      {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
      {"\xFF|\x80|\xC3", L"\xDCFF|\xDC80|\xDCC3"},                    // stray and cut off
      {"\xC1\xBF|\xE0\x9F\xBF", L"\xDCC1\xDCBF|\xDCE0\xDC9F\xDCBF"},  // longer than needed
      {"\xED\xB2\x80", L"\xDCED\xDCB2\xDC80"},                        // a surrogate
      {"\xF4\x90\x80\x80", L"\xDCF4\xDC90\xDC80\xDC80"},              // beyond the last
      {"\xE2\x82\u00e9", L"\xDCE2\xDC82\u00e9"},                      // cut off by a character
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ztutil::WideFromUTF8(row.bytes), row.wide) << testing::PrintToString(row.bytes);
    EXPECT_EQ(ztutil::UTF8FromWide(row.wide), row.bytes) << testing::PrintToString(row.bytes);
  }
  EXPECT_EQ(ztutil::UTF8FromWide(L"\xD800|\xDC7F|\xDD00"), "\uFFFD|\uFFFD|\uFFFD");
  const bool hasPairs = sizeof(wchar_t) == 2;
  EXPECT_EQ(ztutil::UTF8FromWide(L"\xD83D\xDE00"), hasPairs ? "\U0001F600" : "\uFFFD\uFFFD");
}

}  // namespace
