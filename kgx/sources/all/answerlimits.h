// Bounds on what a driver may claim, so that one that lies doesn't make us ask for all memory there is.
#ifndef KGX_ANSWERLIMITS_H_
#define KGX_ANSWERLIMITS_H_

#include <kgx/exception.h>

#include <cstddef>
#include <string>

namespace KGX {

constexpr std::size_t kMaxObjects = 4096;  // platforms, or devices of one
constexpr std::size_t kMaxText = 1048576;  // bytes

// Throws LogicalException, "clGetDeviceIDs gives a size of 4097", where the call's answer is larger.
inline void RequireAtMost(std::size_t size, std::size_t most, const char* call) {
  if (size > most) throw LogicalException(std::string(call) + " gives a size of " + std::to_string(size));
}

}  // namespace KGX

#endif  // KGX_ANSWERLIMITS_H_
