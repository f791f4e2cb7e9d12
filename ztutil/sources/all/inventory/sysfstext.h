// What Linux says of graphics adapters beyond their names, taken apart. Any bytes may come in; what can't be
// understood is 0, an empty text, or nothing.
#ifndef ZTUTIL_SYSFSTEXT_H_
#define ZTUTIL_SYSFSTEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ztutil {

// A PCI slot such as "0000:03:00.0" in one number: domain, 8 bits of bus, 5 of device, 3 of function.
std::uint64_t PackedSlot(std::string_view slot);

// The day on which a kernel or a module was built, by the line in which it tells its version, and as WMI
// writes days: "20200130000000.000000-000". The line may have it as "(2020-01-30)", "Thu Jan 30 ... 2020" or
// "Thu, 30 Jan 2020". Builds that hide their time say 1970 or 1980, which is no day.
std::string DateOfBuild(std::string_view version);

// The bytes of memory that is the device's own, by what i915 (a header of 16 bytes) and xe (of 8) answer to a
// query for memory regions.
std::uint64_t SumOfDeviceRegions(std::string_view answer, std::size_t headerSize);

}  // namespace ztutil

#endif  // ZTUTIL_SYSFSTEXT_H_
