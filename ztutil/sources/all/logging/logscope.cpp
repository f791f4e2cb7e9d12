#include <ztutil/logscope.h>
#include <ztutil/ztlogging.h>

#include <cstring>

namespace ztutil {

ZTLogScope::ZTLogScope(std::ostringstream& text, const char* file, int line)
    : fFile(file), fLine(line), fText(text.str()) {
  LogText(fFile, fLine, [this](MessageStream& out) -> MessageStream& { return out << kBegin << fText; });
  try {
    IndentLog(0);  // a disabled logger, and one that couldn't write, too: it is outdented in any case
  } catch (...) {
  }
  fStart = Now();
}

ZTLogScope::ZTLogScope(const ZTLoggerLock::PtrAndLock& lock, const std::string& begin, const char* file,
                       int line)
    : fFile(file), fLine(line), fText(begin, std::strlen(kBegin)) {
  try {
    if (lock.IsEnabled()) lock.fLogger->Print(fFile, fLine, "%s", begin.c_str());
  } catch (...) {
  }
  try {
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
