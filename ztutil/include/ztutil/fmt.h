// Values as text, the same way everywhere: words for booleans, decimal for signed numbers, hexadecimal of a
// fixed width for unsigned ones, two decimals for floating point, double quotes and escapes for text.
#ifndef ZTUTIL_FMT_H_
#define ZTUTIL_FMT_H_

#include "printfformat.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ztutil {

// A format for each type: printf's, but for the first two.
struct FmtFormats {
  // Appends one character of a text whose quote is that one.
  using CharFunc = void (*)(std::string& out, char value, char quote);

  FmtFormats();

  const char* fBool;  // the word for false, a NUL, the word for true
  CharFunc fCharFunc;
  const char* fInt8;
  const char* fUInt8;
  const char* fInt16;
  const char* fUInt16;
  const char* fInt32;
  const char* fUInt32;
  const char* fLong;
  const char* fULong;
  const char* fInt64;
  const char* fUInt64;
  const char* fFloat;
  const char* fDouble;
  const char* fString;
  const char* fPointer;
};

// The newest object is the active one, so that a scope can change how all values print while it lives; at its
// end the one before it is active again. Objects are made and destroyed where no other thread formats; any
// thread may format.
class Fmt : public FmtFormats {
 public:
  // Copies the formats, and becomes the active object.
  Fmt(const Fmt& other);
  // Copies the formats.
  Fmt& operator=(const Fmt& other);
  virtual ~Fmt();

  // The active object. There always is one: the oldest has the default formats and is never destroyed.
  static const Fmt& Head();

  // Append the value to `out`, but the two for pointers, which replace it. The format is never null here.
  virtual void FormatPointer(std::string& out, const void* value, const char* format) const;
  virtual void FormatString(std::string& out, const char* value, const char* format) const;
  virtual void FormatDouble(std::string& out, double value, const char* format) const;
  virtual void FormatFloat(std::string& out, float value, const char* format) const;
  virtual void FormatUInt64(std::string& out, std::uint64_t value, const char* format) const;
  virtual void FormatInt64(std::string& out, std::int64_t value, const char* format) const;
  virtual void FormatULong(std::string& out, unsigned long value, const char* format) const;
  virtual void FormatLong(std::string& out, long value, const char* format) const;
  virtual void FormatUInt32(std::string& out, std::uint32_t value, const char* format) const;
  virtual void FormatInt32(std::string& out, std::int32_t value, const char* format) const;
  virtual void FormatUInt16(std::string& out, std::uint16_t value, const char* format) const;
  virtual void FormatInt16(std::string& out, std::int16_t value, const char* format) const;
  virtual void FormatUInt8(std::string& out, std::uint8_t value, const char* format) const;
  virtual void FormatInt8(std::string& out, std::int8_t value, const char* format) const;
  virtual void FormatChar(std::string& out, char value, CharFunc format) const;
  virtual void FormatBool(std::string& out, bool value, const char* format) const;
  // 'abcd' for 0x61626364; a value with a byte that doesn't print goes by fUInt32.
  virtual void FormatFourCC(std::string& out, std::uint32_t value) const;

 private:
  Fmt();
  void Link();

  Fmt* fNext = nullptr;
  Fmt* fPrev = nullptr;
};

// A value by the format, or with null by that of the active Fmt.
std::string FmtBool(bool value, const char* format = nullptr);
std::string FmtChar(char value, FmtFormats::CharFunc format = nullptr);
std::string FmtInt8(std::int8_t value, const char* format = nullptr);
std::string FmtUInt8(std::uint8_t value, const char* format = nullptr);
std::string FmtInt16(std::int16_t value, const char* format = nullptr);
std::string FmtUInt16(std::uint16_t value, const char* format = nullptr);
std::string FmtInt32(std::int32_t value, const char* format = nullptr);
std::string FmtUInt32(std::uint32_t value, const char* format = nullptr);
std::string FmtLong(long value, const char* format = nullptr);
std::string FmtULong(unsigned long value, const char* format = nullptr);
std::string FmtInt64(std::int64_t value, const char* format = nullptr);
std::string FmtUInt64(std::uint64_t value, const char* format = nullptr);
std::string FmtFloat(float value, const char* format = nullptr);
std::string FmtDouble(double value, const char* format = nullptr);
std::string FmtString(const char* value,
                      const char* format = nullptr);  // null gives <nullptr>, without quotes
std::string FmtPointer(const void* value, const char* format = nullptr);
std::string FmtFourCC(std::uint32_t value);

// A format for a column of decimal numbers of that many bytes, 1 to 8: "%4d" for 1, "%6d" for 2, "%11d"
// for 4, "%20lld" for 8.
std::string FmtColumn(std::size_t bytes);

// A printf into a string: the result replaces what `out` held, and `out` stays as it is if the format is bad.
void FmtPrintf(std::string& out, const char* format, ...) ZTUTIL_PRINTF_FORMAT(2, 3);
void FmtVPrintf(std::string& out, const char* format, std::va_list arguments) ZTUTIL_PRINTF_FORMAT(2, 0);

// The text as it stands between double quotes: quotes, backslashes and control characters are escaped,
// everything that isn't printable ASCII as \x and two digits a byte, or four a wide unit. Null gives
// "<nullptr>".
std::string QuoteString(const char* text);
std::string QuoteWideString(const char16_t* text);

// The reverse. What isn't an escape stands for itself.
std::string UnquoteString(const std::string& text);
std::u16string UnquoteWideString(const std::string& text);

}  // namespace ztutil

#endif  // ZTUTIL_FMT_H_
