// Lines on the standard streams, each whole and flushed before the call returns.
#ifndef ZTUTIL_STANDARDSTREAMS_H_
#define ZTUTIL_STANDARDSTREAMS_H_

#include <string>

namespace ztutil {

// Writes the line and a line feed through std::cout or std::cerr, and flushes. False if anything goes wrong;
// then the stream is emptied and usable again, so that no later line carries a piece of this one.
bool WriteStdoutLine(const std::string& line) noexcept;
bool WriteStderrLine(const std::string& line) noexcept;

}  // namespace ztutil

#endif  // ZTUTIL_STANDARDSTREAMS_H_
