// The desktop folder of a user by the XDG user directories.
#ifndef ZTUTIL_XDGUSERDIRS_H_
#define ZTUTIL_XDGUSERDIRS_H_

#include <string>
#include <string_view>

namespace ztutil {

// The parent of the folder that the text of a user-dirs.dirs names as the desktop. Where that is the home
// directory itself, or none is named, the home directory, which may be empty.
std::string ParentOfDesktop(std::string_view userDirs, const std::string& home);

}  // namespace ztutil

#endif  // ZTUTIL_XDGUSERDIRS_H_
