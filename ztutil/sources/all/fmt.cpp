#include "fmt.h"

#include <cstdio>
#include <vector>

namespace ztutil {

namespace {

// Appends one character, escaped where it must be. `size` is the bytes of its type.
void EscapeChar(std::string& out, unsigned value, char quote, int size) {
  constexpr char kSpecial[] = "\b\t\n\f\r\\";
  constexpr char kLetters[] = "btnfr\\";
  for (int i = 0; kSpecial[i] != '\0'; ++i) {
    if (value != static_cast<unsigned char>(kSpecial[i])) continue;
    out += '\\';
    out += kLetters[i];
    return;
  }
  if (value == static_cast<unsigned char>(quote)) {
    out += '\\';
    out += quote;
  } else if (value >= ' ' && value <= '~') {
    out += static_cast<char>(value);
  } else {
    out += "\\x";
    for (int digit = size * 2 - 1; digit >= 0; --digit)
      out += "0123456789abcdef"[(value >> (4 * digit)) & 0xF];
  }
}

}  // namespace

void FmtVPrintf(std::string& out, const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  char buffer[256];
  const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
  if (length >= 0 && static_cast<std::size_t>(length) < sizeof buffer) {
    out.assign(buffer, static_cast<std::size_t>(length));
  } else if (length >= 0) {
    std::vector<char> large(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(large.data(), large.size(), format, again);
    out.assign(large.data(), static_cast<std::size_t>(length));
  }
  va_end(again);
}

std::string QuoteString(const char* text) {
  if (text == nullptr) return "<nullptr>";
  std::string out;
  for (; *text != '\0'; ++text) EscapeChar(out, static_cast<unsigned char>(*text), '"', 1);
  return out;
}

std::string QuoteWideString(const char16_t* text) {
  if (text == nullptr) return "<nullptr>";
  std::string out;
  for (; *text != u'\0'; ++text) EscapeChar(out, *text, '"', 2);
  return out;
}

}  // namespace ztutil
