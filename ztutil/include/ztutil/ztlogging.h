// Everything about logging: flags, the clock, loggers, sinks, scopes, and the calls by which modules say
// something.
#ifndef ZTUTIL_ZTLOGGING_H_
#define ZTUTIL_ZTLOGGING_H_

#include "calendar.h"
#include "classicstream.h"
#include "clock.h"
#include "debugflag.h"
#include "logger.h"
#include "logscope.h"
#include "logsinks.h"
#include "messagestream.h"

#include <memory>
#include <sstream>

// Says something if the flag isn't 0, for example ZT_LOG(gGPUProwler, "count=" << count). While the flag is 0
// the text isn't built. Never throws.
#define ZT_LOG(flag, text) ZT_LOG_IF(::ztutil::DebugFlagValue(flag) != 0, text)

// The same for a flag that is a level: if it is at least that high.
#define ZT_LOG_LEVEL(flag, level, text) ZT_LOG_IF(::ztutil::DebugFlagValue(flag) >= (level), text)

#define ZT_LOG_IF(condition, text)                                                                        \
  do {                                                                                                    \
    if (condition) {                                                                                      \
      ::ztutil::LogText(__FILE__, __LINE__, [&](::ztutil::MessageStream& ztLogStream) -> decltype(auto) { \
        return ztLogStream << text;                                                                       \
      });                                                                                                 \
    }                                                                                                     \
  } while (false)

// Opens a ZTLogScope to the end of the enclosing block if the flag isn't 0. Never throws.
#define ZT_LOG_SCOPE(flag, text) ZT_LOG_SCOPE_ON_LINE(::ztutil::DebugFlagValue(flag) != 0, text, __LINE__)

// The same for a flag that is a level: if it is at least that high.
#define ZT_LOG_SCOPE_LEVEL(flag, level, text) \
  ZT_LOG_SCOPE_ON_LINE(::ztutil::DebugFlagValue(flag) >= (level), text, __LINE__)

#define ZT_LOG_SCOPE_ON_LINE(isOn, text, line) ZT_LOG_SCOPE_NAMED(isOn, text, line)
#define ZT_LOG_SCOPE_NAMED(isOn, text, line)                                                         \
  const std::unique_ptr<::ztutil::ZTLogScope> ztLogScope##line =                                     \
      !(isOn) ? nullptr                                                                              \
              : ::ztutil::OpenLogScope(__FILE__, line,                                               \
                                       [&](::ztutil::MessageStream& ztLogStream) -> decltype(auto) { \
                                         return ztLogStream << text;                                 \
                                       })

namespace ztutil {

// Behind ZT_LOG: has `build` write the text to a stream, and prints that if there is a logger.
template <class Build>
void LogText(const char* file, int line, Build build) noexcept {
  try {
    if (const ZTLoggerLock::PtrAndLock lock; lock.IsEnabled()) {
      const auto text = MessageStream::Borrow();
      text->Fill(build);
      lock.fLogger->Print(file, line, "%s", text->Text().c_str());
    }
  } catch (...) {
  }
}

// Behind ZT_LOG_SCOPE: null if no scope can be made.
template <class Build>
std::unique_ptr<ZTLogScope> OpenLogScope(const char* file, int line, Build build) noexcept {
  try {
    const ZTLoggerLock::PtrAndLock lock;
    const auto begin = MessageStream::Borrow();
    begin->Fill([&](MessageStream& out) -> decltype(auto) { return build(out << ZTLogScope::kBegin); });
    return std::make_unique<ZTLogScope>(lock, begin->Text(), file, line);
  } catch (...) {
    return nullptr;
  }
}

}  // namespace ztutil

#endif  // ZTUTIL_ZTLOGGING_H_
