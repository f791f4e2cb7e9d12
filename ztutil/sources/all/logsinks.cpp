#include "logsinks.h"

#include "standardstreams.h"

namespace ztutil {

namespace {

const char* NameOf(std::FILE* stream) {
  if (stream == stdout) return "stdout";
  if (stream == stderr) return "stderr";
  return "FILE*";
}

}  // namespace

ZTStdioLogger::ZTStdioLogger(std::FILE* stream) : ZTLogger(NameOf(stream)), fStream(stream) {}

void ZTStdioLogger::Flush() {
  if (fStream == nullptr) return;
  EndLine(fStream);
  fInLine = false;
}

void ZTStdioLogger::Write(const void* bytes, std::size_t count) {
  if (fStream == nullptr) return;
  if (!fInLine) BeginLine(fStream);
  fInLine = true;
  std::fwrite(bytes, 1, count, fStream);
}

}  // namespace ztutil
