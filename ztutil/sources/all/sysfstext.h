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

// The bytes of a PCI device's memory window with that number, by its file "resource".
std::uint64_t WindowSize(std::string_view resource, unsigned window);

// Days as WMI writes them, for example "20200130000000.000000-000".

// That of NVIDIA's kernel module, by /proc/driver/nvidia/version.
std::string DateOfNVIDIAModule(std::string_view version);

// That of a kernel by its version, where that has one in brackets, as Debian's: "#1 SMP ... (2023-09-29)".
std::string DateOfKernel(std::string_view version);

// The bytes of memory that is the device's own, by what i915 (a header of 16 bytes) and xe (of 8) answer to a
// query for memory regions.
std::uint64_t SumOfDeviceRegions(std::string_view answer, std::size_t headerSize);

}  // namespace ztutil

#endif  // ZTUTIL_SYSFSTEXT_H_
