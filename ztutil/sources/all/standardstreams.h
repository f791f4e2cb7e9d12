// Lines on the standard streams, each whole and flushed before the call returns.
#ifndef ZTUTIL_STANDARDSTREAMS_H_
#define ZTUTIL_STANDARDSTREAMS_H_

#include <cstdio>
#include <string>

namespace ztutil {

// Writes the line and a line feed through std::cout or std::cerr, and flushes. False if anything goes wrong;
// then the stream is emptied and usable again, so that no later line carries a piece of this one.
bool WriteStdoutLine(const std::string& line) noexcept;
bool WriteStderrLine(const std::string& line) noexcept;

// The same for a line that is written to the C stream in several calls: one before the first of them, and one
// after the last. A piece of a line that did reach a file before the disk was full is ended by the next
// line's beginning.
void BeginLine(std::FILE* stream) noexcept;
bool EndLine(std::FILE* stream) noexcept;

}  // namespace ztutil

#endif  // ZTUTIL_STANDARDSTREAMS_H_
