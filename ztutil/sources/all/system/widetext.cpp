#include <ztutil/widetext.h>

#include <cstddef>

namespace ztutil {

namespace {

constexpr bool kHasPairs = sizeof(wchar_t) == 2;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEscape = 0xDC00;
constexpr char32_t kHighSurrogate = 0xD800;
constexpr char32_t kLastSurrogate = 0xDFFF;
constexpr char32_t kBeyondPlane0 = 0x10000;
constexpr char32_t kLast = 0x10FFFF;

bool IsSurrogate(char32_t value) { return value >= kHighSurrogate && value <= kLastSurrogate; }
bool IsHighSurrogate(char32_t value) { return value >= kHighSurrogate && value < kEscape; }
bool IsLowSurrogate(char32_t value) { return value >= kEscape && value <= kLastSurrogate; }
bool IsEscapedByte(char32_t value) { return value >= kEscape + 0x80 && value <= kEscape + 0xFF; }

// The character at the front and its bytes; the first byte's escape if they are none.
char32_t Decode(std::string_view bytes, std::size_t& length) {
  const auto first = static_cast<unsigned char>(bytes.front());
  length = first < 0x80 ? 1 : first < 0xC0 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF8 ? 4 : 0;
  if (length == 1) return first;
  // The least value that needs so many bytes.
  const char32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : kBeyondPlane0;
  char32_t value = length == 0 ? 0 : first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned char next = i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
    if ((next & 0xC0) != 0x80) length = 0;
    value = value << 6 | (next & 0x3F);
  }
  if (length != 0 && value >= least && value <= kLast && !IsSurrogate(value)) return value;
  length = 1;
  return kEscape + first;
}

void AppendWide(std::wstring& text, char32_t value) {
  if (kHasPairs && value >= kBeyondPlane0) {
    value -= kBeyondPlane0;
    text += static_cast<wchar_t>(kHighSurrogate + (value >> 10));
    value = kEscape + (value & 0x3FF);
  }
  text += static_cast<wchar_t>(value);
}

void AppendUTF8(std::string& bytes, char32_t value) {
  if (IsEscapedByte(value)) {
    bytes += static_cast<char>(value - kEscape);
    return;
  }
  if (value > kLast || IsSurrogate(value)) value = kReplacement;
  const int tail = value < 0x80 ? 0 : value < 0x800 ? 1 : value < kBeyondPlane0 ? 2 : 3;
  constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
  bytes += static_cast<char>(kLead[tail] | value >> (6 * tail));
  for (int i = tail - 1; i >= 0; --i) bytes += static_cast<char>(0x80 | (value >> (6 * i) & 0x3F));
}

}  // namespace

std::wstring WideFromUTF8(std::string_view bytes) {
  std::wstring text;
  for (std::size_t length = 0; !bytes.empty(); bytes.remove_prefix(length))
    AppendWide(text, Decode(bytes, length));
  return text;
}

std::string UTF8FromWide(std::wstring_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto value = static_cast<char32_t>(text[i]);
    if (kHasPairs && IsHighSurrogate(value) && i + 1 < text.size() &&
        IsLowSurrogate(static_cast<char32_t>(text[i + 1])))
      value = kBeyondPlane0 + ((value - kHighSurrogate) << 10) + (static_cast<char32_t>(text[++i]) - kEscape);
    AppendUTF8(bytes, value);
  }
  return bytes;
}

}  // namespace ztutil
