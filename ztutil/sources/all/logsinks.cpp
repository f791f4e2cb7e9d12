#include "logsinks.h"

#include "platform.h"

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
  if (fStream != nullptr && (std::fflush(fStream) != 0 || std::ferror(fStream) != 0))
    platform::PurgeStream(fStream);
}

void ZTStdioLogger::Write(const void* bytes, std::size_t count) {
  if (fStream != nullptr) std::fwrite(bytes, 1, count, fStream);
}

}  // namespace ztutil
