// Any bytes as a text to quote, and as a quoted text.
#include "require.h"

#include <ztutil/fmt.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

bool IsPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

void CheckQuote(const std::string& text) {
  const std::string quoted = ztutil::QuoteString(text.c_str());
  Require(IsPrintable(quoted), "a quoted text is printable ASCII");
  Require(ztutil::UnquoteString(quoted) == text.c_str(), "unquoting gives the text back");
}

void CheckWideQuote(const std::u16string& text) {
  const std::string quoted = ztutil::QuoteWideString(text.c_str());
  Require(IsPrintable(quoted), "a quoted wide text is printable ASCII");
  Require(ztutil::UnquoteWideString(quoted) == text.c_str(), "unquoting gives the wide text back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::u16string wideText;
  for (std::size_t i = 0; i + 1 < size; i += 2) wideText += static_cast<char16_t>(data[i] << 8 | data[i + 1]);
  CheckQuote(text);
  CheckWideQuote(wideText);

  const std::string unquoted = ztutil::UnquoteString(text);
  const std::u16string wideUnquoted = ztutil::UnquoteWideString(text);
  Require(unquoted.size() <= size && wideUnquoted.size() <= size, "unquoting makes no text longer");
  CheckQuote(unquoted);
  CheckWideQuote(wideUnquoted);
  return 0;
}
