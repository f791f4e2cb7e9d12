// Where a person finds what steers the log, and the log.
#ifndef ZTUTIL_LOGDIRECTORY_H_
#define ZTUTIL_LOGDIRECTORY_H_

#include <string>

namespace ztutil {

// The directory of the settings and of the log: the parent of the user's desktop folder, or an empty text,
// which stands for the current directory.
std::string LogDirectory();

}  // namespace ztutil

#endif  // ZTUTIL_LOGDIRECTORY_H_
