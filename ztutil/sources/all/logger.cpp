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
#include <stdexcept>

namespace ztutil {

namespace {

// Append a number as printf does it, whatever the locale: "%0*d", and "%0*.3f" or "%+0*.3f".

void AppendPadded(std::string& out, const char* begin, const char* end, std::size_t width, char sign) {
  const auto length = static_cast<std::size_t>(end - begin) + (sign != '\0' ? 1 : 0);
  if (sign != '\0') out += sign;
  if (length < width) out.append(width - length, '0');
  out.append(begin, end);
}

void AppendInteger(std::string& out, int value, std::size_t width) {
  char buffer[16];
  const char* const end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  const bool negative = value < 0;
  AppendPadded(out, buffer + (negative ? 1 : 0), end, width, negative ? '-' : '\0');
}

void AppendSeconds(std::string& out, double value, std::size_t width, bool showPlus) {
  char buffer[400];  // the largest double has 309 digits before the point
  const char* const end =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 3).ptr;
  const bool negative = *buffer == '-';
  AppendPadded(out, buffer + (negative ? 1 : 0), end, width, negative ? '-' : showPlus ? '+' : '\0');
}

// The logger, which must be there.
ZTLogger& Required(const Stackable<ZTLogger>::Held& logger) {
  if (!logger) throw std::runtime_error("Stackable: nullptr");
  return *logger;
}

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
  std::string prefix;
  const char* separator = "";
  const auto has = [this](std::uint32_t flags) { return (fFormatFlags & flags) != 0; };
  const auto append = [&](int value, std::size_t width, const char* next) {
    prefix += separator;
    AppendInteger(prefix, value, width);
    separator = next;
  };

  if (has(kLogSequence)) append(fLineCount, 5, "_");
  if (has(kLogYear | kLogMonth | kLogDay | kLogHour | kLogMinute | kLogSecond)) {
    const CalendarTime time = LocalCalendarTime(fCurrentTime);
    if (has(kLogYear)) append(time.year, 4, "/");
    if (has(kLogMonth)) append(time.month, 2, "/");
    if (has(kLogDay)) append(time.day, 2, "/");
    if (has(kLogYear | kLogMonth | kLogDay)) separator = "_";
    if (has(kLogHour)) append(time.hour, 2, ":");
    if (has(kLogMinute)) append(time.minute, 2, ":");
    if (has(kLogSecond)) {
      prefix += separator;
      AppendSeconds(prefix, time.second, 6, false);
    }
  }
  if (has(kLogDelta)) {
    prefix += '(';
    AppendSeconds(prefix, fCurrentTime - fPreviousTime, 7, true);
    prefix += ')';
  }
  if (has(kLogThread)) prefix += '[' + ManagedThread::GetCurrentThreadName() + ']';
  if (has(kLogAll)) prefix += ' ';
  return prefix + fIndentText;
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
  ++fLineCount;
}

std::uint32_t ZTLogger::SetFormatFlags(std::uint32_t flags) {
  const std::uint32_t former = fFormatFlags;
  fFormatFlags = flags & kLogAll;
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
    if (ptrAndLock->fLogger && ptrAndLock->fLogger->IsEnabled()) fPtrAndLock = ptrAndLock;
  } catch (...) {
  }
}

std::uintptr_t IndentLog(std::uintptr_t word) {
  Required(CurrentLogger()).Indent();
  return word;
}

std::uintptr_t OutdentLog(std::uintptr_t word) {
  Required(CurrentLogger()).Outdent();
  return word;
}

}  // namespace ztutil
