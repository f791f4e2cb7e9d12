// Values as text, the same way everywhere. Any thread.
#ifndef ZTUTIL_FMT_H_
#define ZTUTIL_FMT_H_

#include <cstdarg>
#include <string>

namespace ztutil {

// A printf into a string: the result replaces what `out` held, and `out` stays as it is if the format is bad.
void FmtVPrintf(std::string& out, const char* format, std::va_list arguments);

// The text as it stands between double quotes in a log: quotes, backslashes and control characters are
// escaped, everything that isn't printable ASCII as \x and two digits a byte, or four a wide unit. Null gives
// "<nullptr>".
std::string QuoteString(const char* text);
std::string QuoteWideString(const char16_t* text);

}  // namespace ztutil

#endif  // ZTUTIL_FMT_H_
