#include <ztutil/logscope.h>
#include <ztutil/ztlogging.h>

#include <charconv>

namespace ztutil {

ZTLogScope::ZTLogScope(std::ostringstream& text, const char* file, int line)
    : ZTLogScope(text.str(), file, line) {}

ZTLogScope::ZTLogScope(const std::string& text, const char* file, int line)
    : fFile(file), fLine(line), fText(text) {
  LogText(fFile, fLine, [this](MessageStream& out) -> MessageStream& { return out << "BEGIN " << fText; });
  try {
    IndentLog(0);  // a disabled logger, and one that couldn't write, too: it is outdented in any case
  } catch (...) {
  }
  fStart = Now();
}

ZTLogScope::~ZTLogScope() {
  const double duration = Now() - fStart;
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, duration, std::chars_format::general, 6).ptr;
  *end = '\0';
  try {
    OutdentLog(0);
    LogText(fFile, fLine, [&](MessageStream& out) -> MessageStream& {
      return out << "END " << fText << ", duration=" << digits;
    });
  } catch (...) {
  }
}

}  // namespace ztutil
