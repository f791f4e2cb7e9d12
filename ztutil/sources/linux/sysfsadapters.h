// The graphics adapters of a Linux machine, by sysfs, /proc and the id databases.
//
// What a record has of it is right,
// or it is 0 or empty: files that are missing, vanish, or hold something else are passed over.
#ifndef ZTUTIL_SYSFSADAPTERS_H_
#define ZTUTIL_SYSFSADAPTERS_H_

#include "adaptername.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ztutil {

struct SysfsAdapter {
  KGX::AdapterPlace place;
  std::string name;  // by KGX::AdapterName
  std::uint32_t vendor;
  std::uint32_t device;
  std::uint32_t subsystem;  // the device's in the upper half, its vendor's in the lower
  std::uint32_t revision;
  std::uint64_t slot;  // PackedSlot
  // False where no graphics driver has the adapter: none at all, or one that hands it on to a guest.
  bool isDriven;
  std::string driver;
  std::string driverVersion;      // the module's, or else that of the kernel it came with
  std::string driverDate;         // as WMI writes it
  std::string videoMode;          // the first of an enabled connector, "1920x1080"
  std::uint64_t dedicatedMemory;  // bytes, as sharedMemory
  std::string memorySource;       // a file's name, "integrated" for a place on the bus, or "driver"
  // Of the machine's. It is credited to an adapter that has little of its own, and so 0 where that isn't
  // known.
  std::uint64_t sharedMemory;
  // The connectors that have a display. An adapter that can render and has none gets one all the same, so
  // that a compute card or a laptop's second GPU isn't lost where displays decide. That's wider than DXGI's
  // rule.
  std::vector<std::string> displays;
};

// Those of KGX::ListAdapters whose ids can be read, in its order. Where it may not wake them it also opens no
// device and waits for no driver: it knows no video mode, and the memory only where the driver tells it in a
// file.
std::vector<SysfsAdapter> FindSysfsAdapters(const KGX::SystemRoots& roots, bool mayWake = true);

}  // namespace ztutil

#endif  // ZTUTIL_SYSFSADAPTERS_H_
