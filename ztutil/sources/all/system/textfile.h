// Files that a person writes.
#ifndef ZTUTIL_TEXTFILE_H_
#define ZTUTIL_TEXTFILE_H_

#include <string>

namespace ztutil {

// What is in the file; empty if it can't be read, or has more than 16 MiB.
std::string ReadTextFile(const std::string& path);

}  // namespace ztutil

#endif  // ZTUTIL_TEXTFILE_H_
