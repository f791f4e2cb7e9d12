#include "logger.h"

#include "calendar.h"
#include "clock.h"
#include "debugflag.h"
#include "fmt.h"
#include "loggingmutex.h"
#include "logsinks.h"
#include "managedthread.h"

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace ztutil {

namespace {

// Puts a prefix's fields together, numbers as printf does it, whatever the locale.
class PrefixText {
 public:
  void Append(char byte) { *fEnd++ = byte; }

  // "%0*d"
  void AppendInteger(int value, int width) {
    if (value < 0) {
      Append('-');
      --width;
    }
    AppendDigits(static_cast<std::uint64_t>(std::abs(std::int64_t{value})), width);
  }

  // "%0*.3f", or "%+0*.3f" if the sign is a plus
  void AppendSeconds(double value, int width, char plus) {
    const char sign = std::signbit(value) ? '-' : plus;
    if (sign != '\0') {
      Append(sign);
      --width;
    }
    // Within these bounds the product is so exact that it rounds as the value does; only about half a
    // millisecond it could go either way.
    constexpr double kExactBelow = 1e9;
    constexpr double kInexact = 1e-6;
    const double milliseconds = std::abs(value) * 1000.0;
    if (milliseconds < kExactBelow && std::abs(milliseconds - std::floor(milliseconds) - 0.5) > kInexact) {
      const auto rounded = static_cast<std::uint64_t>(milliseconds + 0.5);
      AppendDigits(rounded / 1000, width - 4);
      Append('.');
      AppendDigits(rounded % 1000, 3);
      return;
    }
    char digits[kDoubleRoom];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, std::abs(value), std::chars_format::fixed, 3).ptr;
    AppendPadded(digits, end, width);
  }

  std::string_view Text() const { return {fText, static_cast<std::size_t>(fEnd - fText)}; }

 private:
  static constexpr std::size_t kDoubleRoom = 320;  // the largest has 309 digits before the point

  void AppendDigits(std::uint64_t value, int width) {
    std::uint64_t rest = value;
    for (char* digit = fEnd + width; digit != fEnd; rest /= 10) *--digit = static_cast<char>('0' + rest % 10);
    if (rest == 0) {
      fEnd += width;
    } else {  // it takes more room
      char digits[20];
      AppendPadded(digits, std::to_chars(digits, digits + sizeof digits, value).ptr, width);
    }
  }

  void AppendPadded(const char* digits, const char* end, std::ptrdiff_t width) {
    for (std::ptrdiff_t length = end - digits; length < width; ++length) Append('0');
    while (digits != end) Append(*digits++);
  }

  char fText[2 * kDoubleRoom];  // two doubles, or one and some integers; nothing is longer
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
  const auto write = [&](const std::string& text) {
    if (text.empty()) return;
    Write(text.data(), text.size());
    last = text.back();
  };
  write(MakePrefix(file, line));
  std::string text;
  FmtVPrintf(text, format, arguments);
  write(text);
  if (last != '\r' && last != '\n') write(GetEndOfLine());
  Flush();
}

std::string ZTLogger::MakePrefix(const char*, int) {
  PrefixText text;
  char separator = '\0';
  const auto has = [this](std::uint32_t flags) { return (fFormatFlags & flags) != 0; };
  const auto separate = [&] {
    if (separator != '\0') text.Append(separator);
  };
  const auto append = [&](int value, int width, char next) {
    separate();
    text.AppendInteger(value, width);
    separator = next;
  };

  if (has(kLogSequence)) append(fLineCount, 5, '_');
  if (has(kLogYear | kLogMonth | kLogDay | kLogHour | kLogMinute | kLogSecond)) {
    const CalendarTime time = LocalCalendarTime(fCurrentTime);
    if (has(kLogYear)) append(time.year, 4, '/');
    if (has(kLogMonth)) append(time.month, 2, '/');
    if (has(kLogDay)) append(time.day, 2, '/');
    if (has(kLogYear | kLogMonth | kLogDay)) separator = '_';
    if (has(kLogHour)) append(time.hour, 2, ':');
    if (has(kLogMinute)) append(time.minute, 2, ':');
    if (has(kLogSecond)) {
      separate();
      text.AppendSeconds(time.second, 6, '\0');
    }
  }
  if (has(kLogDelta)) {
    text.Append('(');
    text.AppendSeconds(fCurrentTime - fPreviousTime, 7, '+');
    text.Append(')');
  }
  std::string prefix;
  prefix.reserve(96);  // most fit
  prefix = text.Text();
  if (has(kLogThread)) prefix.append(1, '[').append(ManagedThread::GetCurrentThreadName()).append(1, ']');
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

ZTLoggerLock::ZTLoggerLock() {
  auto ptrAndLock = boost::make_shared<PtrAndLock>();
  ptrAndLock->fLogger = CurrentLogger();
  ptrAndLock->fLock = boost::unique_lock<boost::recursive_mutex>(LoggingMutex());
  try {
    if (ptrAndLock->fLogger && ptrAndLock->fLogger->IsEnabled()) fPtrAndLock = std::move(ptrAndLock);
  } catch (...) {
  }
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
