#include "logging/loggingmutex.h"
#include "system/threadname.h"

#include <ztutil/calendar.h>
#include <ztutil/clock.h>
#include <ztutil/debugflag.h>
#include <ztutil/fmt.h>
#include <ztutil/logger.h>
#include <ztutil/logsinks.h>

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace ztutil {

namespace {

// The prefix of a line, field by field. The numbers read as printf would write them in the C locale; the
// comments name its formats.
class PrefixText {
 public:
  void Append(char byte) { *fEnd++ = byte; }

  // "%02d" of 0 to 99.
  void AppendPair(int value) {
    char* const tens = fEnd;
    fEnd += 2;
    tens[0] = static_cast<char>('0' + value / 10);
    tens[1] = static_cast<char>('0' + value % 10);
  }

  // "%05d".
  void AppendCount(std::int32_t value) {
    if (value < 0) Append('-');
    char digits[10];
    const auto end = std::to_chars(digits, digits + sizeof digits, std::abs(std::int64_t{value})).ptr;
    AppendPadded(digits, end, value < 0 ? 4 : 5);
  }

  // "%06.3f" of 0 and more.
  void AppendSeconds(double value) {
    if (AppendWholeMilliseconds(value * 1000.0)) return;
    char digits[kDoubleRoom];
    AppendPadded(digits,
                 std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 3).ptr, 6);
  }

  std::string_view Text() const { return {fText, static_cast<std::size_t>(fEnd - fText)}; }

 private:
  static constexpr std::size_t kDoubleRoom = 320;  // the largest has 309 digits before the point

  // The fast way, for less than 100 seconds. False, and nothing appended, for more, and where the product may
  // have been rounded across the middle between two milliseconds.
  bool AppendWholeMilliseconds(double milliseconds) {
    if (!(milliseconds < 99999.0)) return false;
    const auto rounded = static_cast<int>(milliseconds + 0.5);
    const double aboveMiddle = milliseconds + 0.5 - rounded;  // 0 to 1
    constexpr double kDoubt = 1e-6;                           // far more than the product's error
    if (aboveMiddle <= kDoubt || aboveMiddle >= 1.0 - kDoubt) return false;
    AppendPair(rounded / 1000);
    Append('.');
    Append(static_cast<char>('0' + rounded / 100 % 10));
    AppendPair(rounded % 100);
    return true;
  }

  void AppendPadded(const char* digits, const char* end, std::ptrdiff_t width) {
    for (std::ptrdiff_t length = end - digits; length < width; ++length) Append('0');
    fEnd = std::copy(digits, end, fEnd);
  }

  char fText[2 * kDoubleRoom];  // holds the longest prefix: the seconds of the time and of the delta
  char* fEnd = fText;
};

}  // namespace

ZTLogger::ZTLogger(const char* name) : fPreviousTime(Now()), fCurrentTime(Now()) {
  try {
    DebugFlagsInitialize();
    fName = name;
    if (const auto below = Below(this)) {
      const boost::lock_guard<boost::recursive_mutex> lock(LoggingMutex());
      below->Print("ztutil/sources/all/ztlogging", __LINE__, "Activating new logger %s", fName.c_str());
    }
  } catch (...) {
  }
}

ZTLogger::~ZTLogger() = default;

bool ZTLogger::IsEnabled() const { return true; }

void ZTLogger::GetPreviousTime(double& out) const { out = fPreviousTime; }

void ZTLogger::GetCurrentTime(double& out) const { out = fCurrentTime; }

std::string ZTLogger::GetBaseName(const char* path) const {
  std::string text = path != nullptr ? path : "";
  const std::size_t last = text.find_last_not_of("/\\");
  if (last == std::string::npos) return text;
  const std::size_t separator = text.find_last_of("/\\", last);
  return separator == std::string::npos ? text : text.substr(separator + 1);
}

void ZTLogger::VPrint(const char* file, int line, const char* format, std::va_list arguments) {
  const boost::lock_guard<boost::recursive_mutex> lock(LoggingMutex());
  char last = '\0';
  const auto write = [&](std::string_view text) {
    if (text.empty()) return;
    Write(text.data(), text.size());
    last = text.back();
  };
  write(MakePrefix(file, line));
  if (std::strcmp(format, "%s") == 0) {  // as modules have it: nothing to be formatted
    const char* const text = va_arg(arguments, const char*);
    write(text != nullptr ? text : "(null)");
  } else {
    std::string text;
    FmtVPrintf(text, format, arguments);
    write(text);
  }
  if (last != '\r' && last != '\n') write(GetEndOfLine());
  Flush();
}

std::string ZTLogger::MakePrefix(const char*, int) {
  PrefixText text;
  char separator = '\0';
  const auto has = [this](std::uint32_t flags) { return (fFormatFlags & flags) != 0; };
  const auto separate = [&](char next) {
    if (separator != '\0') text.Append(separator);
    separator = next;
  };
  const auto pair = [&](std::uint32_t flag, int value, char next) {
    if (!has(flag)) return;
    separate(next);
    text.AppendPair(value);
  };

  if (has(kLogSequence)) {
    separate('_');
    text.AppendCount(fLineCount);
  }
  if (has(kLogYear | kLogMonth | kLogDay | kLogHour | kLogMinute | kLogSecond)) {
    const CalendarTime time = LocalCalendarTime(fCurrentTime);
    if (has(kLogYear)) {
      separate('/');
      text.AppendPair(time.year / 100);
      text.AppendPair(time.year % 100);
    }
    pair(kLogMonth, time.month, '/');
    pair(kLogDay, time.day, '/');
    if (has(kLogYear | kLogMonth | kLogDay)) separator = '_';
    pair(kLogHour, time.hour, ':');
    pair(kLogMinute, time.minute, ':');
    if (has(kLogSecond)) {
      separate('\0');
      text.AppendSeconds(time.second);
    }
  }
  if (has(kLogDelta)) {
    const double delta = fCurrentTime - fPreviousTime;
    text.Append('(');
    text.Append(std::signbit(delta) ? '-' : '+');
    text.AppendSeconds(std::abs(delta));
    text.Append(')');
  }
  const std::string& thread = CurrentThreadName();
  std::string prefix;
  prefix.reserve(text.Text().size() + thread.size() + fIndentText.size() + std::strlen("[] "));
  prefix += text.Text();
  if (has(kLogThread)) {
    prefix += '[';
    prefix += thread;
    prefix += ']';
  }
  if (fFormatFlags != 0) prefix += ' ';
  prefix += fIndentText;
  return prefix;
}

std::string ZTLogger::GetExtraText() const { return {}; }

void ZTLogger::Flush() {}

std::string ZTLogger::GetEndOfLine() const { return "\n"; }

void ZTLogger::Print(const char* file, int line, const char* format, ...) {
  fPreviousTime = fCurrentTime;
  fCurrentTime = Now();
  if (fLineCount == 0) fPreviousTime = fCurrentTime;
  std::va_list arguments;
  va_start(arguments, format);
  try {
    VPrint(file, line, format, arguments);
  } catch (...) {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
  fLineCount = static_cast<std::int32_t>(static_cast<std::uint32_t>(fLineCount) + 1);  // wraps
}

std::uint32_t ZTLogger::SetFormatFlags(std::uint32_t flags) {
  const std::uint32_t former = fFormatFlags;
  fFormatFlags = flags & ~kLogReserved;
  return former;
}

void ZTLogger::Indent() { SetIndent(fIndent + 1); }

void ZTLogger::Outdent() { SetIndent(fIndent - 1); }

void ZTLogger::SetIndent(std::int32_t depth) {
  fIndent = depth;
  if (depth < 0) throw std::length_error("string too long");
  fIndentText.assign(static_cast<std::size_t>(depth), ' ');
}

Stackable<ZTLogger>::Held CurrentLogger() {
  DebugFlagsInitialize();
  if (!DebugFlagsReady()) return {};
  if (auto top = ZTLogger::Top()) return top;
  static const auto* const fallback = new ZTFileLogger;
  static_cast<void>(fallback);
  return ZTLogger::Top();
}

ZTLoggerLock::PtrAndLock::PtrAndLock() : fLogger(CurrentLogger()), fLock(LoggingMutex()) {}

bool ZTLoggerLock::PtrAndLock::IsEnabled() const noexcept {
  try {
    return fLogger && fLogger->IsEnabled();
  } catch (...) {
    return false;
  }
}

ZTLoggerLock::ZTLoggerLock() {
  auto ptrAndLock = boost::make_shared<PtrAndLock>();
  if (ptrAndLock->IsEnabled()) fPtrAndLock = std::move(ptrAndLock);
}

std::uintptr_t IndentLog(std::uintptr_t word) {
  CurrentLogger()->Indent();
  return word;
}

std::uintptr_t OutdentLog(std::uintptr_t word) {
  CurrentLogger()->Outdent();
  return word;
}

}  // namespace ztutil
