// A stretch of code that announces its start and its end in the log. ztlogging.h has the macro for it.
#ifndef ZTUTIL_LOGSCOPE_H_
#define ZTUTIL_LOGSCOPE_H_

#include "logger.h"

#include <sstream>
#include <string>

namespace ztutil {

// Writes "BEGIN text", indents what is logged in between, and writes "END text, duration=seconds" at its end.
// Neither the constructor nor the destructor throws what logging throws. It mustn't span a change of the
// logger.
class ZTLogScope {
 public:
  static constexpr char kBegin[] = "BEGIN ";

  ZTLogScope(std::ostringstream& text, const char* file, int line);
  // For those who hold the logger and have the first line, kBegin and the text.
  ZTLogScope(const ZTLoggerLock::PtrAndLock& lock, const std::string& begin, const char* file, int line);
  ~ZTLogScope();
  ZTLogScope(const ZTLogScope&) = delete;
  ZTLogScope& operator=(const ZTLogScope&) = delete;

 private:
  double fStart = 0.0;
  const char* const fFile;
  const int fLine;
  const std::string fText;
};

}  // namespace ztutil

#endif  // ZTUTIL_LOGSCOPE_H_
