// Lines on the standard streams, each whole and flushed before the call returns.
#ifndef ZTUTIL_STANDARDSTREAMS_H_
#define ZTUTIL_STANDARDSTREAMS_H_

#include <cstdio>
#include <string>

namespace ztutil {

// Writes the line and a line feed to where std::cout or std::cerr lead, and flushes. False if anything goes
// wrong; then the stream is emptied and usable again, so that no later line carries a piece of this one.
bool WriteStdoutLine(const std::string& line) noexcept;
bool WriteStderrLine(const std::string& line) noexcept;

// The same for any C stream and a text of whole lines, behind whatever the stream holds. A piece that did get
// out, before a disk was full, is ended by the next text's beginning. A signal loses nothing, and on Linux a
// file that doesn't block is waited for. Any thread may call it; texts aren't mixed.
bool WriteWhole(std::FILE* stream, const std::string& text) noexcept;

}  // namespace ztutil

#endif  // ZTUTIL_STANDARDSTREAMS_H_
