// The texts in which a system and its databases describe graphics adapters, taken apart. Any bytes may come
// in; what isn't there or can't be understood is nothing.
#ifndef KGX_ADAPTERTEXT_H_
#define KGX_ADAPTERTEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KGX {

bool StartsWith(std::string_view text, std::string_view prefix);

// Takes the next line off the text, without its line feed.
std::string_view TakeLine(std::string_view& text);

// The first line without blanks around it; empty if a byte of it is no printable ASCII.
std::string_view AttributeLine(std::string_view content);

// A number that is the whole text: decimal, or hexadecimal behind "0x".
std::optional<std::uint64_t> ParseNumber(std::string_view text);

// The number N of a name that is `prefix` and N, such as "card0".
std::optional<unsigned> NumberOfName(std::string_view name, std::string_view prefix);

// What a text of lines "Name: value" has for the name.
std::string_view FieldValue(std::string_view text, std::string_view name);

// A device in the PCI ID database. A name that ends in brackets, behind that of the chip, is what they hold.
std::string_view NameInPCIIds(std::string_view ids, std::uint64_t vendor, std::uint64_t device);

// A device in libdrm's amdgpu.ids.
std::string_view NameInAMDGPUIds(std::string_view ids, std::uint64_t device, std::uint64_t revision);

// The name as it stands in reports and records: no conversion changes it, and it fits a DXGI description.
std::string ReportableName(std::string_view name);

}  // namespace KGX

#endif  // KGX_ADAPTERTEXT_H_
