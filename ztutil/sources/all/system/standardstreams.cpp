#include "system/standardstreams.h"

#include "system/platform.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>

#include <iostream>
#include <set>

namespace ztutil {

namespace {

// What the C++ streams begin with passes all on to the C streams, which are then written to directly. What
// somebody else has put in its place is used as it is.
const std::streambuf* const gOwnOfCout = std::cout.rdbuf();
const std::streambuf* const gOwnOfCerr = std::cerr.rdbuf();

// The streams whose last text ended half-way. Never freed: threads may write to the process's end.
struct CutStreams {
  boost::mutex mutex;
  std::set<std::FILE*> streams;
};

CutStreams& Cut() {
  static auto* const cut = new CutStreams;
  return *cut;
}

bool TakeCut(std::FILE* stream) {
  const boost::lock_guard<boost::mutex> lock(Cut().mutex);
  return Cut().streams.erase(stream) != 0;
}

void AddCut(std::FILE* stream) {
  const boost::lock_guard<boost::mutex> lock(Cut().mutex);
  Cut().streams.insert(stream);
}

bool Flush(std::FILE* stream) {
  if (std::fflush(stream) == 0) return true;
  platform::PurgeStream(stream);
  return false;
}

bool WriteLine(std::ostream& stream, const std::streambuf* own, std::FILE* file,
               const std::string& line) noexcept {
  try {
    if (stream.rdbuf() == own) return WriteWhole(file, line + '\n');
    stream.clear();  // of what has failed before
    return (stream << line + '\n' << std::flush).good();
  } catch (...) {
    return false;
  }
}

}  // namespace

bool WriteStdoutLine(const std::string& line) noexcept {
  return WriteLine(std::cout, gOwnOfCout, stdout, line);
}

bool WriteStderrLine(const std::string& line) noexcept {
  return WriteLine(std::cerr, gOwnOfCerr, stderr, line);
}

bool WriteWhole(std::FILE* stream, const std::string& text) noexcept {
  try {
    const bool held = Flush(stream);
    if (text.empty()) return held;
    const bool isCut = TakeCut(stream) || !held;
    const std::string withEnd = isCut ? '\n' + text : std::string();
    const std::string& all = isCut ? withEnd : text;
    const std::size_t count = platform::WriteToFile(stream, all.data(), all.size());
    if (count == all.size()) return true;
    if (count != 0 ? all[count - 1] != '\n' : isCut) AddCut(stream);
  } catch (...) {
  }
  return false;
}

}  // namespace ztutil
