// What the system knows of a graphics adapter, by its directory in sysfs. One function names an adapter for
// everyone who asks, so that names from different sources compare equal.
#ifndef KGX_ADAPTERNAME_H_
#define KGX_ADAPTERNAME_H_

#include <string>

namespace KGX {

// The directory of the PCI device behind a device file such as "/dev/dri/card0", or an empty text where there
// is none. The file itself needn't exist: containers often have the directory alone.
std::string AdapterDirectory(const std::string& deviceFile);

// The next three take such a directory.

// The adapter's name, for example "PCI 8086:64a0"; "unknown adapter" where its ids can't be read.
std::string AdapterName(const std::string& directory);

// The slot, for example "0000:03:00.0", or an empty text.
std::string AdapterSlot(const std::string& directory);

// True for the adapter on which the firmware showed the machine's start.
bool IsBootAdapter(const std::string& directory);

}  // namespace KGX

#endif  // KGX_ADAPTERNAME_H_
