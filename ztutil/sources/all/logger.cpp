#include "logger.h"

#include "fmt.h"

#include <algorithm>
#include <cstdarg>
#include <vector>

namespace ztutil {

namespace {

// None of these is ever freed: threads may still log while the process ends.

std::vector<ZTLogger*>& Stack() {
  static auto* const stack = new std::vector<ZTLogger*>;
  return *stack;
}

boost::recursive_mutex& StackMutex() {
  static auto* const mutex = new boost::recursive_mutex;
  return *mutex;
}

// Taken after StackMutex.
boost::recursive_mutex& LoggingMutex() {
  static auto* const mutex = new boost::recursive_mutex;
  return *mutex;
}

}  // namespace

ZTLogger::ZTLogger(const char* name) : fName(name) {
  const boost::unique_lock<boost::recursive_mutex> lock(StackMutex());
  Stack().push_back(this);
}

ZTLogger::~ZTLogger() {
  const boost::unique_lock<boost::recursive_mutex> lock(StackMutex());
  Stack().erase(std::remove(Stack().begin(), Stack().end(), this), Stack().end());
}

bool ZTLogger::IsEnabled() const { return true; }

void ZTLogger::Print(const char* file, int line, const char* format, ...) {
  std::string text;
  std::va_list arguments;
  va_start(arguments, format);
  FmtVPrintf(text, format, arguments);
  va_end(arguments);
  const std::string message = MakePrefix(file, line) + text + GetEndOfLine();
  Write(message.data(), message.size());
  Flush();
}

void ZTLogger::Indent() { fIndentText += ' '; }

void ZTLogger::Outdent() {
  if (!fIndentText.empty()) fIndentText.pop_back();
}

std::string ZTLogger::MakePrefix(const char*, int) { return fIndentText; }

void ZTLogger::Flush() {}

std::string ZTLogger::GetEndOfLine() const { return "\n"; }

ZTLoggerLock::ZTLoggerLock()
    : fStackLock(StackMutex()),
      fLoggingLock(LoggingMutex()),
      fLogger(Stack().empty() ? nullptr : Stack().back()) {
  if (fLogger != nullptr && !fLogger->IsEnabled()) fLogger = nullptr;
}

}  // namespace ztutil
