#include <ztutil/fmt.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

namespace ztutil {

namespace {

Fmt* gHead = nullptr;

constexpr char kNull[] = "<nullptr>";
constexpr char kStringFormat[] = "\"%s\"";
constexpr std::size_t kRoomForEscapes = 16;  // and quotes; many texts need no more

constexpr char kSpecial[] = "\b\t\n\f\r\\";
constexpr char kSpecialLetters[] = "btnfr\\";

bool IsPrintable(unsigned value) { return value >= ' ' && value <= '~'; }

// Whether a character stands for itself in a text with that quote.
bool IsPlain(unsigned value, char quote) {
  return IsPrintable(value) && value != static_cast<unsigned char>(quote) && value != '\\';
}

// Appends one character, escaped where it must be. `size` is the bytes of its type.
void EscapeChar(std::string& out, unsigned value, char quote, int size) {
  if (IsPlain(value, quote)) {
    out += static_cast<char>(value);
    return;
  }
  out += '\\';
  for (int i = 0; kSpecial[i] != '\0'; ++i) {
    if (value != static_cast<unsigned char>(kSpecial[i])) continue;
    out += kSpecialLetters[i];
    return;
  }
  if (value == static_cast<unsigned char>(quote)) {
    out += quote;
    return;
  }
  out += 'x';
  for (int digit = size * 2 - 1; digit >= 0; --digit) out += "0123456789abcdef"[(value >> (4 * digit)) & 0xF];
}

// `Unsigned` is the one of the characters' size.
template <class Unsigned, class Char>
void AppendEscaped(std::string& out, const Char* text) {
  for (;; ++text) {
    const Char* const begin = text;
    while (IsPlain(static_cast<Unsigned>(*text), '"')) ++text;
    out.append(begin, text);
    if (*text == 0) return;
    EscapeChar(out, static_cast<Unsigned>(*text), '"', sizeof(Char));
  }
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Takes one character, escaped or not, off the text at `cursor`. `size` is the bytes of its type.
unsigned UnescapeChar(const char*& cursor, const char* end, int size) {
  const auto first = static_cast<unsigned char>(*cursor++);
  if (first != '\\' || cursor == end) return first;
  const char escaped = *cursor++;
  if (escaped == 'x') {
    unsigned value = 0;
    for (int digits = size * 2; digits > 0 && cursor != end && HexDigit(*cursor) >= 0; --digits) {
      value = value * 16 + static_cast<unsigned>(HexDigit(*cursor++));
    }
    return value;
  }
  for (int i = 0; kSpecialLetters[i] != '\0'; ++i) {
    if (escaped == kSpecialLetters[i]) return static_cast<unsigned char>(kSpecial[i]);
  }
  return static_cast<unsigned char>(escaped);
}

void AppendQuotedChar(std::string& out, char value, char quote) {
  out += quote;
  EscapeChar(out, static_cast<unsigned char>(value), quote, 1);
  out += quote;
}

std::string HexFormat(std::size_t bytes, const char* modifier) {
  std::string format;
  FmtPrintf(format, "0x%%0%d%sx", static_cast<int>(bytes * 2), modifier);
  return format;
}

template <class Value>
void AppendPrintf(std::string& out, const char* format, Value value) {
  std::string text;
  FmtPrintf(text, format, value);
  out += text;
}

// What a function of one type is: the active object's operation with its field for a null format.
template <class Value, class Format>
std::string ByHead(Value value, Format format, Format FmtFormats::*field,
                   void (Fmt::*operation)(std::string&, Value, Format) const) {
  const Fmt& head = Fmt::Head();
  std::string out;
  (head.*operation)(out, value, format != nullptr ? format : head.*field);
  return out;
}

}  // namespace

FmtFormats::FmtFormats()
    : fBool("false\0true"),
      fCharFunc(AppendQuotedChar),
      fInt8("%d"),
      fUInt8("0x%02x"),
      fInt16("%d"),
      fUInt16("0x%04x"),
      fInt32("%d"),
      fLong("%ld"),
      fInt64("%lld"),
      fFloat("%.2f"),
      fDouble("%.2f"),
      fString(kStringFormat) {
  static const auto* const hex32 = new std::string(HexFormat(4, ""));
  static const auto* const hexLong = new std::string(HexFormat(4, "l"));
  static const auto* const hex64 = new std::string(HexFormat(8, "ll"));
  fUInt32 = hex32->c_str();
  fULong = hexLong->c_str();
  fUInt64 = hex64->c_str();
  fPointer = hex64->c_str();
}

Fmt::Fmt() { Link(); }

Fmt::Fmt(const Fmt& other) : FmtFormats(other) { Link(); }

// Safe for self-assignment: the formats are plain values.
Fmt& Fmt::operator=(const Fmt& other) {  // NOLINT(bugprone-unhandled-self-assignment)
  FmtFormats::operator=(other);
  return *this;
}

Fmt::~Fmt() {
  (fPrev != nullptr ? fPrev->fNext : gHead) = fNext;
  if (fNext != nullptr) fNext->fPrev = fPrev;
}

void Fmt::Link() {
  fNext = gHead;
  if (fNext != nullptr) fNext->fPrev = this;
  gHead = this;
}

const Fmt& Fmt::Head() {
  // Never freed: threads may still log while the process ends.
  static const auto* const oldest = new Fmt;
  static_cast<void>(oldest);
  return *gHead;
}

void Fmt::FormatPointer(std::string& out, const void* value, const char* format) const {
  FmtPrintf(out, format, static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(value)));
}

void Fmt::FormatString(std::string& out, const char* value, const char* format) const {
  if (value == nullptr) {
    out = kNull;
  } else if (std::strcmp(format, kStringFormat) == 0) {  // the usual one, which needs no printf
    std::string text(1, '"');                            // the value may be in `out`
    text.reserve(std::strlen(value) + kRoomForEscapes);
    AppendEscaped<unsigned char>(text, value);
    text += '"';
    out.swap(text);
  } else {
    FmtPrintf(out, format, QuoteString(value).c_str());
  }
}

void Fmt::FormatDouble(std::string& out, double value, const char* format) const {
  AppendPrintf(out, format, value);
}

void Fmt::FormatFloat(std::string& out, float value, const char* format) const {
  AppendPrintf(out, format, static_cast<double>(value));
}

void Fmt::FormatUInt64(std::string& out, std::uint64_t value, const char* format) const {
  AppendPrintf(out, format, static_cast<unsigned long long>(value));
}

void Fmt::FormatInt64(std::string& out, std::int64_t value, const char* format) const {
  AppendPrintf(out, format, static_cast<long long>(value));
}

void Fmt::FormatULong(std::string& out, unsigned long value, const char* format) const {
  AppendPrintf(out, format, value);
}

void Fmt::FormatLong(std::string& out, long value, const char* format) const {
  AppendPrintf(out, format, value);
}

void Fmt::FormatUInt32(std::string& out, std::uint32_t value, const char* format) const {
  AppendPrintf(out, format, value);
}

void Fmt::FormatInt32(std::string& out, std::int32_t value, const char* format) const {
  AppendPrintf(out, format, value);
}

// printf gets the narrow types as an int anyway.

void Fmt::FormatUInt16(std::string& out, std::uint16_t value, const char* format) const {
  AppendPrintf(out, format, int{value});
}

void Fmt::FormatInt16(std::string& out, std::int16_t value, const char* format) const {
  AppendPrintf(out, format, int{value});
}

void Fmt::FormatUInt8(std::string& out, std::uint8_t value, const char* format) const {
  AppendPrintf(out, format, int{value});
}

void Fmt::FormatInt8(std::string& out, std::int8_t value, const char* format) const {
  AppendPrintf(out, format, int{value});
}

void Fmt::FormatChar(std::string& out, char value, CharFunc format) const { format(out, value, '\''); }

void Fmt::FormatBool(std::string& out, bool value, const char* format) const {
  out += value ? format + std::strlen(format) + 1 : format;
}

void Fmt::FormatFourCC(std::string& out, std::uint32_t value) const {
  std::string text = "'";
  for (int shift = 24; shift >= 0; shift -= 8) {
    const std::uint32_t byte = (value >> shift) & 0xFF;
    if (!IsPrintable(byte)) {
      FormatUInt32(out, value, fUInt32);
      return;
    }
    text += static_cast<char>(byte);
  }
  out += text + "'";
}

std::string FmtBool(bool value, const char* format) {
  return ByHead(value, format, &FmtFormats::fBool, &Fmt::FormatBool);
}

std::string FmtChar(char value, FmtFormats::CharFunc format) {
  return ByHead(value, format, &FmtFormats::fCharFunc, &Fmt::FormatChar);
}

std::string FmtInt8(std::int8_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fInt8, &Fmt::FormatInt8);
}

std::string FmtUInt8(std::uint8_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fUInt8, &Fmt::FormatUInt8);
}

std::string FmtInt16(std::int16_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fInt16, &Fmt::FormatInt16);
}

std::string FmtUInt16(std::uint16_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fUInt16, &Fmt::FormatUInt16);
}

std::string FmtInt32(std::int32_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fInt32, &Fmt::FormatInt32);
}

std::string FmtUInt32(std::uint32_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fUInt32, &Fmt::FormatUInt32);
}

std::string FmtLong(long value, const char* format) {
  return ByHead(value, format, &FmtFormats::fLong, &Fmt::FormatLong);
}

std::string FmtULong(unsigned long value, const char* format) {
  return ByHead(value, format, &FmtFormats::fULong, &Fmt::FormatULong);
}

std::string FmtInt64(std::int64_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fInt64, &Fmt::FormatInt64);
}

std::string FmtUInt64(std::uint64_t value, const char* format) {
  return ByHead(value, format, &FmtFormats::fUInt64, &Fmt::FormatUInt64);
}

std::string FmtFloat(float value, const char* format) {
  return ByHead(value, format, &FmtFormats::fFloat, &Fmt::FormatFloat);
}

std::string FmtDouble(double value, const char* format) {
  return ByHead(value, format, &FmtFormats::fDouble, &Fmt::FormatDouble);
}

std::string FmtString(const char* value, const char* format) {
  return ByHead(value, format, &FmtFormats::fString, &Fmt::FormatString);
}

std::string FmtPointer(const void* value, const char* format) {
  return ByHead(value, format, &FmtFormats::fPointer, &Fmt::FormatPointer);
}

std::string FmtFourCC(std::uint32_t value) {
  std::string out;
  Fmt::Head().FormatFourCC(out, value);
  return out;
}

std::string FmtColumn(std::size_t bytes) {
  const auto largest = std::numeric_limits<std::int64_t>::max() >> (64 - 8 * bytes);
  std::string format;
  FmtPrintf(format, "%%%d%sd", static_cast<int>(std::to_string(largest).size() + 1), bytes == 8 ? "ll" : "");
  return format;
}

void FmtPrintf(std::string& out, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  FmtVPrintf(out, format, arguments);
  va_end(arguments);
}

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
  if (text == nullptr) return kNull;
  std::string out;
  AppendEscaped<unsigned char>(out, text);
  return out;
}

std::string QuoteWideString(const char16_t* text) {
  if (text == nullptr) return kNull;
  std::string out;
  AppendEscaped<char16_t>(out, text);
  return out;
}

std::string UnquoteString(const std::string& text) {
  std::string out;
  const char* const end = text.data() + text.size();
  for (const char* cursor = text.data(); cursor != end;)
    out += static_cast<char>(UnescapeChar(cursor, end, 1));
  return out;
}

std::u16string UnquoteWideString(const std::string& text) {
  std::u16string out;
  const char* const end = text.data() + text.size();
  for (const char* cursor = text.data(); cursor != end;)
    out += static_cast<char16_t>(UnescapeChar(cursor, end, 2));
  return out;
}

}  // namespace ztutil
