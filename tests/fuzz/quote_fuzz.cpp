// Any bytes as a text to quote, and as a quoted text.
#include "require.h"

#include <ztutil/fmt.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

template <class Text, class Quote, class Unquote>
void CheckQuote(const Text& text, Quote quote, Unquote unquote) {
  const std::string quoted = quote(text.c_str());
  Require(std::all_of(quoted.begin(), quoted.end(), [](char c) { return c >= ' ' && c <= '~'; }),
          "a quoted text is printable ASCII");
  Require(unquote(quoted) == text.c_str(), "unquoting gives the text back");
}

void CheckQuotes(const std::string& text, const std::u16string& wideText) {
  CheckQuote(text, ztutil::QuoteString, ztutil::UnquoteString);
  CheckQuote(wideText, ztutil::QuoteWideString, ztutil::UnquoteWideString);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::u16string wideText;
  for (std::size_t i = 0; i + 1 < size; i += 2) wideText += static_cast<char16_t>(data[i] << 8 | data[i + 1]);
  CheckQuotes(text, wideText);

  const std::string unquoted = ztutil::UnquoteString(text);
  const std::u16string wideUnquoted = ztutil::UnquoteWideString(text);
  Require(unquoted.size() <= size && wideUnquoted.size() <= size, "unquoting makes no text longer");
  CheckQuotes(unquoted, wideUnquoted);
  return 0;
}
