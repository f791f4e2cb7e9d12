#include <ztutil/logscope.h>
#include <ztutil/ztlogging.h>

#include <cstring>

namespace ztutil {

ZTLogScope::ZTLogScope(std::ostringstream& text, const char* file, int line)
    : ZTLogScope(ZTLoggerLock::PtrAndLock(), kBegin + text.str(), file, line) {}

ZTLogScope::ZTLogScope(const ZTLoggerLock::PtrAndLock& lock, const std::string& begin, const char* file,
                       int line)
    : fFile(file), fLine(line), fText(begin, std::strlen(kBegin)) {
  try {
    if (lock.IsEnabled()) lock.fLogger->Print(fFile, fLine, "%s", begin.c_str());
  } catch (...) {
  }
  try {
    // A disabled logger, and one that couldn't write, too: it is outdented in any case.
    lock.fLogger->Indent();
  } catch (...) {
  }
  fStart = Now();
}

ZTLogScope::~ZTLogScope() {
  const double duration = Now() - fStart;
  try {
    OutdentLog(0);
    LogText(fFile, fLine, [&](MessageStream& out) -> MessageStream& {
      return out << "END " << fText << ", duration=" << duration;
    });
  } catch (...) {
  }
}

}  // namespace ztutil
