#include "logscope.h"

#include "classicstream.h"
#include "clock.h"
#include "logger.h"

namespace ztutil {

ZTLogScope::ZTLogScope(std::ostringstream& text, const char* file, int line)
    : fFile(file), fLine(line), fText(text.str()) {
  try {
    if (const ZTLoggerLock logger; logger) logger->Print(fFile, fLine, "%s", ("BEGIN " + fText).c_str());
  } catch (...) {
  }
  try {
    IndentLog(0);  // a disabled logger, and one that couldn't write, too: it is outdented in any case
  } catch (...) {
  }
  fStart = Now();
}

ZTLogScope::~ZTLogScope() {
  const double duration = Now() - fStart;
  try {
    OutdentLog(0);
    if (const ZTLoggerLock logger; logger) {
      ClassicStream text;
      text << "END " << fText << ", duration=" << duration;
      logger->Print(fFile, fLine, "%s", text.str().c_str());
    }
  } catch (...) {
  }
}

}  // namespace ztutil
