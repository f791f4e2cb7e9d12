// An adapter's memory by its driver's own word: the only part of the inventory that opens a device.
#ifndef ZTUTIL_DRIVERMEMORY_H_
#define ZTUTIL_DRIVERMEMORY_H_

#include <cstdint>
#include <optional>
#include <string>

namespace ztutil {

// Bytes of the memory that is the adapter's own; 0 is an answer, too. Asks "radeon", "i915", "xe" and
// "nouveau" through the device node. Nothing for other drivers, and where the node can't be opened or the
// driver doesn't answer. Opening it wakes a sleeping GPU.
std::optional<std::uint64_t> DedicatedMemoryFromDriver(const std::string& driver, const std::string& node);

}  // namespace ztutil

#endif  // ZTUTIL_DRIVERMEMORY_H_
