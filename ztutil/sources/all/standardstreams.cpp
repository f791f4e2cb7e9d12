#include "standardstreams.h"

#include "platform.h"

#include <atomic>
#include <iostream>

namespace ztutil {

namespace {

// What is known of a standard stream's line in the making.
struct Line {
  std::atomic<std::int64_t> begin{-1};  // its place in the file
  std::atomic<bool> isCut{false};       // the line before it ended half-way
};

Line gStdoutLine;
Line gStderrLine;

// Null for a stream that isn't a standard one.
Line* LineOf(std::FILE* stream) {
  if (stream == stdout) return &gStdoutLine;
  return stream == stderr ? &gStderrLine : nullptr;
}

// The C++ streams keep nothing of their own: they write through the C streams, and what failed is left there.
bool WriteLine(std::ostream& stream, std::FILE* file, const std::string& line) noexcept {
  BeginLine(file);
  try {
    stream << line + '\n' << std::flush;
  } catch (...) {
  }
  const bool isWritten = stream.good();
  stream.clear();
  return EndLine(file) && isWritten;
}

}  // namespace

bool WriteStdoutLine(const std::string& line) noexcept { return WriteLine(std::cout, stdout, line); }

bool WriteStderrLine(const std::string& line) noexcept { return WriteLine(std::cerr, stderr, line); }

void BeginLine(std::FILE* stream) noexcept {
  Line* const line = LineOf(stream);
  if (line == nullptr) return;
  line->begin = platform::StreamPosition(stream);
  if (line->isCut) std::fputc('\n', stream);
}

bool EndLine(std::FILE* stream) noexcept {
  const bool isWritten = std::fflush(stream) == 0 && std::ferror(stream) == 0;
  if (!isWritten) platform::PurgeStream(stream);
  if (Line* const line = LineOf(stream); line != nullptr) {
    line->isCut = !isWritten && (line->isCut || platform::StreamPosition(stream) != line->begin);
  }
  return isWritten;
}

}  // namespace ztutil
