// What the system knows of its graphics adapters, by their directories in sysfs. One function lists them and
// one names them for everyone who asks, so that order and names from different sources agree. Linux only:
// elsewhere the system has lists and names of its own.
//
// Nothing here throws for what the system says: a file that is missing, can't be read or holds something else
// than it should is as good as an empty one. No device is opened. A sleeping one stays asleep, unless it is
// NVIDIA's: that driver wakes it before it gives its name or UUID.
#ifndef KGX_ADAPTERNAME_H_
#define KGX_ADAPTERNAME_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KGX {

// Where the system keeps its files; a test has them elsewhere.
struct SystemRoots {
  std::string sys = "/sys";
  std::string proc = "/proc";
  std::string share = "/usr/share";  // the id databases
  std::string dev = "/dev";
};

// The databases that have names for ids. Each is read when it is first asked, and then kept, and so are
// answers: the larger one takes as long as all else that the system tells of a machine's adapters. One thread
// at a time uses an object, and what it refers to lives as long.
class IdDatabases {
 public:
  explicit IdDatabases(SystemRoots roots = {}) : fRoots(std::move(roots)) {}

  const SystemRoots& Roots() const { return fRoots; }

  // A device in the PCI ID database, and in libdrm's list for amdgpu; empty where it isn't known.
  const std::string& PCIName(std::uint64_t vendor, std::uint64_t device);
  std::string AMDGPUName(std::uint64_t device, std::uint64_t revision);

 private:
  const SystemRoots fRoots;
  std::optional<std::string> fPCIIds;
  std::optional<std::string> fAMDGPUIds;
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::string> fPCINames;
};

// All of a file; an empty text where there is none, or more than that.
std::string ReadSystemFile(const std::string& path, std::size_t limit = 65536);

// The line that a file of sysfs consists of, or the first of several.
std::string ReadAttribute(const std::string& path);

// A PCI id, of 16 bits, that a file of sysfs consists of.
std::optional<std::uint32_t> ReadPCIId(const std::string& path);

// The names in a directory, without order; none where it can't be read.
std::vector<std::string> ListDirectory(const std::string& path);

// Resolves all links; an empty text where the path leads nowhere.
std::string ResolvedPath(const std::string& path);

// A PCI device of the display class, or one with a DRM card.
struct AdapterPlace {
  std::string directory;
  std::optional<unsigned> card;  // the lowest number of its DRM cards
  std::string renderNode;        // the name of its DRM render node, or empty
};

// All adapters of the machine: the one that the firmware started up with, then by the numbers of their DRM
// cards, then the others.
std::vector<AdapterPlace> ListAdapters(const SystemRoots& roots = {});

// The directory of the PCI device behind a device file such as "/dev/dri/card0", or an empty text where there
// is none. The file itself needn't exist: containers often have the directory alone.
std::string AdapterDirectory(const std::string& deviceFile, const SystemRoots& roots = {});

// The same by a UUID as NVIDIA's driver writes it, for example "GPU-5d0e2c1b-...".
std::string AdapterDirectoryByUUID(const std::string& uuid, const SystemRoots& roots = {});

// The next three take such a directory.

// The adapter's marketing name: up to 127 printable ASCII characters, none of them a quote or a backslash.
// Where no source has one, "PCI 8086:64a0"; "unknown adapter" where the ids can't be read. Where it may not
// wake the adapter, a sleeping one of NVIDIA's has the name of the PCI ID database.
std::string AdapterName(const std::string& directory, IdDatabases& databases, bool mayWake = true);

// True where the kernel has put the adapter to sleep, to save power.
bool IsAsleep(const std::string& directory);

// The slot, for example "0000:03:00.0", or an empty text.
std::string AdapterSlot(const std::string& directory);

}  // namespace KGX

#endif  // KGX_ADAPTERNAME_H_
