#include "sysfsadapters.h"

#include "drivermemory.h"
#include "platform.h"
#include "sysfstext.h"

#include <kgx/adaptertext.h>

#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace ztutil {

namespace {

using KGX::ReadAttribute;
using KGX::ReadPCIId;
using KGX::SystemRoots;

// What is found of an adapter before its own files are read.
struct Found {
  std::string directory;  // of the PCI device
  std::optional<unsigned> card;
  std::string renderNode;  // its name
  bool isBoot = false;
};

// Where a driver says how much memory an adapter has of its own.
struct MemorySource {
  const char* driver;
  const char* attribute;  // or null
  bool asksDriver;
  int window;  // of the memory, as a last resort; -1 for none
};

constexpr MemorySource kMemorySources[] = {
    {"amdgpu", "mem_info_vram_total", false, -1},
    {"radeon", nullptr, true, 0},
    {"i915", nullptr, true, 2},
    {"xe", "physical_vram_size_bytes", true, 2},
    {"nouveau", nullptr, true, 1},
    {"vmwgfx", nullptr, false, 1},
    {"ast", nullptr, false, 0},
    {"mgag200", nullptr, false, 0},
    {"cirrus", nullptr, false, 0},
    // NVIDIA's driver says it through OpenGL, and virtio-gpu has none.
};

bool StartsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

// The last part of what a link leads to; empty where there is no link.
std::string NameOfTarget(const std::string& link) {
  char target[4096];
  const ssize_t size = readlink(link.c_str(), target, sizeof target);
  const std::string path(target, size > 0 ? static_cast<std::size_t>(size) : 0);
  return path.substr(path.rfind('/') + 1);
}

std::uint64_t ReadNumber(const std::string& path) {
  return KGX::ParseNumber(ReadAttribute(path)).value_or(0);
}

class AdapterFiles {
 public:
  AdapterFiles(KGX::IdDatabases& databases, const Found& found)
      : fDatabases(databases),
        fRoots(databases.Roots()),
        fFound(found),
        fDirectory(found.directory + "/"),
        fDriverLink((found.card ? CardPath() + "/device/" : fDirectory) + "driver"),
        fDriver(NameOfTarget(fDriverLink)) {}

  // Nothing where not even the ids can be read.
  std::optional<SysfsAdapter> Read() const {
    const auto vendor = ReadPCIId(fDirectory + "vendor");
    const auto device = ReadPCIId(fDirectory + "device");
    if (!vendor || !device) return std::nullopt;

    SysfsAdapter adapter{};
    adapter.name = KGX::AdapterName(fFound.directory, fDatabases);
    adapter.vendor = *vendor;
    adapter.device = *device;
    adapter.subsystem = ReadPCIId(fDirectory + "subsystem_device").value_or(0) << 16 |
                        ReadPCIId(fDirectory + "subsystem_vendor").value_or(0);
    adapter.revision = ReadPCIId(fDirectory + "revision").value_or(0);
    adapter.slot = PackedSlot(KGX::AdapterSlot(fFound.directory));
    adapter.isDriven = fFound.card || IsNVIDIA();
    adapter.driver = fDriver;
    ReadVersion(adapter);
    adapter.dedicatedMemory = DedicatedMemory();
    adapter.sharedMemory = ReadNumber(fDirectory + "mem_info_gtt_total");
    if (adapter.sharedMemory == 0) adapter.sharedMemory = platform::InstalledRAM() / 2;
    ReadConnectors(adapter);
    return adapter;
  }

 private:
  // NVIDIA's driver renders without DRM's nodes.
  bool IsNVIDIA() const { return fDriver == "nvidia"; }

  std::string CardName() const { return "card" + std::to_string(*fFound.card); }
  std::string CardPath() const { return fRoots.sys + "/class/drm/" + CardName(); }

  void ReadVersion(SysfsAdapter& adapter) const {
    if (fDriver.empty()) return;
    adapter.driverVersion = ReadAttribute(fDriverLink + "/module/version");
    if (IsNVIDIA()) {
      adapter.driverDate = DateOfNVIDIAModule(KGX::ReadSystemFile(fRoots.proc + "/driver/nvidia/version"));
    } else if (adapter.driverVersion.empty()) {
      adapter.driverVersion = ReadAttribute(fRoots.proc + "/sys/kernel/osrelease");
      adapter.driverDate = DateOfKernel(ReadAttribute(fRoots.proc + "/sys/kernel/version"));
    }
  }

  std::uint64_t DedicatedMemory() const {
    // Intel's integrated GPU has had this place on every machine of metal; its cards never have it. In a
    // virtual machine it may have another, and there the driver says 0.
    if (StartsWith(KGX::AdapterSlot(fFound.directory), "0000:00:02.") &&
        (fDriver == "i915" || fDriver == "xe"))
      return 0;
    for (const MemorySource& source : kMemorySources) {
      if (fDriver == source.driver) return DedicatedMemory(source);
    }
    return 0;
  }

  std::uint64_t DedicatedMemory(const MemorySource& source) const {
    const std::uint64_t told = source.attribute != nullptr ? SumOfAttribute(source.attribute) : 0;
    if (told != 0) return told;
    if (source.asksDriver && !fFound.renderNode.empty() && !IsAsleep()) {
      const auto bytes = DedicatedMemoryFromDriver(fDriver, fRoots.dev + "/dri/" + fFound.renderNode);
      if (bytes) return *bytes;
    }
    if (source.window < 0) return 0;
    return WindowSize(KGX::ReadSystemFile(fDirectory + "resource"), static_cast<unsigned>(source.window));
  }

  // The device's own, or those of its tiles.
  std::uint64_t SumOfAttribute(const std::string& name) const {
    std::uint64_t sum = ReadNumber(fDirectory + name);
    if (sum != 0) return sum;
    for (const std::string& entry : KGX::ListDirectory(fFound.directory)) {
      if (NumberOfName(entry, "tile")) sum += ReadNumber(fDirectory + entry + "/" + name);
    }
    return sum;
  }

  bool IsAsleep() const { return ReadAttribute(fDirectory + "power/runtime_status") == "suspended"; }

  void ReadConnectors(SysfsAdapter& adapter) const {
    std::vector<std::string> entries;
    if (fFound.card) entries = KGX::ListDirectory(CardPath());
    std::sort(entries.begin(), entries.end());
    const std::string prefix = fFound.card ? CardName() + "-" : "";
    for (const std::string& entry : entries) {
      // A writeback connector is memory with the looks of a display.
      if (!StartsWith(entry, prefix) || StartsWith(entry, prefix + "Writeback")) continue;
      const std::string connector = CardPath() + "/" + entry + "/";
      if (ReadAttribute(connector + "status") == "connected") adapter.displays.push_back(entry);
      if (adapter.videoMode.empty() && ReadAttribute(connector + "enabled") == "enabled")
        adapter.videoMode = ReadAttribute(connector + "modes");
    }
    const std::string renders = IsNVIDIA() ? fDriver : fFound.renderNode;
    if (adapter.displays.empty() && !renders.empty()) adapter.displays.push_back(renders);
  }

  KGX::IdDatabases& fDatabases;
  const SystemRoots& fRoots;
  const Found& fFound;
  const std::string fDirectory;
  const std::string fDriverLink;
  const std::string fDriver;  // its name
};

std::vector<Found> FindDevices(const SystemRoots& roots) {
  std::map<std::string, Found> found;
  for (const std::string& entry : KGX::ListDirectory(roots.sys + "/class/drm")) {
    const auto card = NumberOfName(entry, "card");
    if (!card && !NumberOfName(entry, "renderD")) continue;
    const std::string directory = KGX::AdapterDirectory(entry, roots);
    if (directory.empty()) continue;
    Found& device = found[directory];
    if (!card) {
      device.renderNode = entry;
    } else if (!device.card || *card < *device.card) {
      device.card = card;
    }
  }
  const std::string pci = roots.sys + "/bus/pci/devices/";
  for (const std::string& slot : KGX::ListDirectory(pci)) {
    constexpr char kDisplayClass[] = "0x03";
    if (StartsWith(ReadAttribute(pci + slot + "/class"), kDisplayClass)) found[KGX::ResolvedPath(pci + slot)];
  }
  std::vector<Found> devices;
  for (auto& [directory, device] : found) {
    device.directory = directory;
    device.isBoot = KGX::IsBootAdapter(directory);
    devices.push_back(device);
  }
  return devices;
}

}  // namespace

std::vector<SysfsAdapter> FindSysfsAdapters(const SystemRoots& roots) {
  std::vector<Found> devices = FindDevices(roots);
  const auto place = [](const Found& device) {
    return std::make_tuple(!device.isBoot, !device.card, device.card, device.directory);
  };
  std::sort(devices.begin(), devices.end(),
            [&](const Found& left, const Found& right) { return place(left) < place(right); });
  KGX::IdDatabases databases(roots);
  std::vector<SysfsAdapter> adapters;
  for (const Found& device : devices) {
    if (auto adapter = AdapterFiles(databases, device).Read()) adapters.push_back(*adapter);
  }
  return adapters;
}

}  // namespace ztutil
