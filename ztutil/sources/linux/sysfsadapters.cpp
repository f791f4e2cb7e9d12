#include "sysfsadapters.h"

#include "adaptertext.h"
#include "drivermemory.h"
#include "inventory/sysfstext.h"
#include "system/platform.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace ztutil {

namespace {

using KGX::ReadAttribute;
using KGX::ReadPCIId;
using KGX::StartsWith;
using KGX::SystemRoots;

// The last part of what a link leads to; empty where there is no link.
std::string NameOfTarget(const std::string& link) {
  std::error_code error;
  return std::filesystem::read_symlink(link, error).filename();
}

// The link to the driver of the PCI device. That of a virtio card is the driver of a bus, whose child has the
// card's own, or none.
std::string DriverLink(const std::string& directory) {
  std::string link = directory + "/driver";
  if (NameOfTarget(link) != "virtio-pci") return link;
  for (const std::string& entry : KGX::ListDirectory(directory))
    if (KGX::NumberOfName(entry, "virtio")) return directory + "/" + entry + "/driver";
  return link;
}

std::uint64_t ReadNumber(const std::string& path) {
  return KGX::ParseNumber(ReadAttribute(path)).value_or(0);
}

class AdapterFiles {
 public:
  AdapterFiles(KGX::IdDatabases& databases, const KGX::AdapterPlace& place, bool mayWake)
      : fDatabases(databases),
        fRoots(databases.Roots()),
        fPlace(place),
        fMayWake(mayWake),
        fDirectory(place.directory + "/"),
        fDriverLink(DriverLink(place.directory)),
        fDriver(NameOfTarget(fDriverLink)) {}

  // Nothing where not even the ids can be read.
  std::optional<SysfsAdapter> Read() const {
    const auto vendor = ReadPCIId(fDirectory + "vendor");
    const auto device = ReadPCIId(fDirectory + "device");
    if (!vendor || !device) return std::nullopt;

    SysfsAdapter adapter{};
    adapter.place = fPlace;
    adapter.name = KGX::AdapterName(fPlace.directory, fDatabases, fMayWake);
    adapter.vendor = *vendor;
    adapter.device = *device;
    adapter.subsystem = ReadPCIId(fDirectory + "subsystem_device").value_or(0) << 16 |
                        ReadPCIId(fDirectory + "subsystem_vendor").value_or(0);
    adapter.revision = ReadPCIId(fDirectory + "revision").value_or(0);
    adapter.slot = PackedSlot(KGX::AdapterSlot(fPlace.directory));
    adapter.isDriven = fPlace.card || IsNVIDIA();
    adapter.driver = fDriver;
    ReadVersion(adapter);
    const auto dedicated = DedicatedMemory(adapter.memorySource);
    adapter.dedicatedMemory = dedicated.value_or(0);
    if (!dedicated) adapter.memorySource.clear();
    if (dedicated) adapter.sharedMemory = SharedMemory();
    ReadConnectors(adapter);
    return adapter;
  }

 private:
  // NVIDIA's driver renders without DRM's nodes.
  bool IsNVIDIA() const { return fDriver == "nvidia"; }

  std::string CardName() const { return "card" + std::to_string(*fPlace.card); }
  std::string CardPath() const { return fRoots.sys + "/class/drm/" + CardName(); }

  void ReadVersion(SysfsAdapter& adapter) const {
    if (fDriver.empty()) return;
    const std::string module = fDriverLink + "/module/";
    const std::string kernel = fRoots.proc + "/sys/kernel/";
    adapter.driverVersion = ReadAttribute(module + "version");
    if (IsNVIDIA()) {
      adapter.driverDate = DateOfBuild(ReadAttribute(fRoots.proc + "/driver/nvidia/version"));
    } else if (ReadAttribute(module + "taint").find('O') == std::string::npos) {  // it came with the kernel
      adapter.driverDate = DateOfBuild(ReadAttribute(kernel + "version"));
      if (adapter.driverVersion.empty()) adapter.driverVersion = ReadAttribute(kernel + "osrelease");
    }
  }

  // Nothing where the driver doesn't say it, or says it through OpenGL alone as NVIDIA's does. Asking the
  // driver itself wakes a sleeping adapter, as does the context that is made on it in a moment.
  std::optional<std::uint64_t> DedicatedMemory(std::string& source) const {
    // Intel's integrated GPU has had this place on every machine of metal; its cards never have it. In a
    // virtual machine it may have another, and there the driver says 0.
    source = "integrated";
    if (StartsWith(KGX::AdapterSlot(fPlace.directory), "0000:00:02.") &&
        (fDriver == "i915" || fDriver == "xe"))
      return 0;
    source = "mem_info_vram_total";
    if (fDriver == "amdgpu") return KGX::ParseNumber(ReadAttribute(fDirectory + source));
    source = "physical_vram_size_bytes";
    const std::uint64_t tiles = fDriver == "xe" ? MemoryOfTiles(source) : 0;
    if (tiles != 0) return tiles;
    if (fPlace.renderNode.empty() || !fMayWake) return std::nullopt;
    source = "driver";
    return DedicatedMemoryFromDriver(fDriver, fRoots.dev + "/dri/" + fPlace.renderNode);
  }

  std::uint64_t MemoryOfTiles(const std::string& file) const {
    std::uint64_t sum = 0;
    for (const std::string& entry : KGX::ListDirectory(fPlace.directory)) {
      if (KGX::NumberOfName(entry, "tile")) sum += ReadNumber(fDirectory + entry + "/" + file);
    }
    return sum;
  }

  std::uint64_t SharedMemory() const {
    const std::uint64_t bytes = ReadNumber(fDirectory + "mem_info_gtt_total");
    return bytes != 0 ? bytes : platform::InstalledRAM() / 2;
  }

  void ReadConnectors(SysfsAdapter& adapter) const {
    std::vector<std::string> entries;
    if (fPlace.card) entries = KGX::ListDirectory(CardPath());
    std::sort(entries.begin(), entries.end());
    const std::string prefix = fPlace.card ? CardName() + "-" : "";
    for (const std::string& entry : entries) {
      // A writeback connector is memory with the looks of a display.
      if (!StartsWith(entry, prefix) || StartsWith(entry, prefix + "Writeback")) continue;
      const std::string connector = CardPath() + "/" + entry + "/";
      if (ReadAttribute(connector + "status") == "connected") adapter.displays.push_back(entry);
      // The kernel lists modes under a lock of the driver, which one that has failed may never give back.
      if (fMayWake && adapter.videoMode.empty() && ReadAttribute(connector + "enabled") == "enabled")
        adapter.videoMode = ReadAttribute(connector + "modes");
    }
    const std::string renders = IsNVIDIA() ? fDriver : fPlace.renderNode;
    if (adapter.displays.empty() && !renders.empty()) adapter.displays.push_back(renders);
  }

  KGX::IdDatabases& fDatabases;
  const SystemRoots& fRoots;
  const KGX::AdapterPlace& fPlace;
  const bool fMayWake;
  const std::string fDirectory;
  const std::string fDriverLink;
  const std::string fDriver;  // its name
};

}  // namespace

std::vector<SysfsAdapter> FindSysfsAdapters(const SystemRoots& roots, bool mayWake) {
  KGX::IdDatabases databases(roots);
  std::vector<SysfsAdapter> adapters;
  for (const KGX::AdapterPlace& place : KGX::ListAdapters(roots)) {
    if (auto adapter = AdapterFiles(databases, place, mayWake).Read()) adapters.push_back(*adapter);
  }
  return adapters;
}

}  // namespace ztutil
