#include "standardstreams.h"

#include "platform.h"

#include <cstdio>
#include <iostream>

namespace ztutil {

namespace {

bool WriteLine(std::ostream& stream, std::FILE* file, const std::string& line) noexcept {
  try {
    if (stream << line + '\n' << std::flush) return true;
  } catch (...) {
  }
  // The C++ streams keep nothing of their own: they write through the C streams, and what failed is left
  // there.
  platform::PurgeStream(file);
  stream.clear();
  return false;
}

}  // namespace

bool WriteStdoutLine(const std::string& line) noexcept { return WriteLine(std::cout, stdout, line); }

bool WriteStderrLine(const std::string& line) noexcept { return WriteLine(std::cerr, stderr, line); }

}  // namespace ztutil
