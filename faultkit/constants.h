// Constants of EGL, OpenGL and OpenCL by their names.

#ifndef RIG_CONSTANTS_H
#define RIG_CONSTANTS_H

#include <cstdint>
#include <map>
#include <string>

namespace rig {

using ConstantNames = std::map<std::int64_t, const char*>;

// The names of the interface that a call belongs to, by the call's name or its prefix alone: "egl", "gl" or
// "cl".
const ConstantNames& NamesFor(const std::string& call);

}  // namespace rig

#endif
