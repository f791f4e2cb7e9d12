#include "adaptername.h"

#include "adaptertext.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <tuple>

namespace KGX {

namespace {

constexpr std::uint32_t kAMD = 0x1002;
constexpr std::size_t kDatabaseLimit = 16777216;

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// True for the adapter on which the firmware showed the machine's start.
bool IsBootAdapter(const std::string& directory) { return ReadAttribute(directory + "/boot_vga") == "1"; }

// Empty for other adapters, which NVIDIA's driver has no file for.
std::string NVIDIAName(const std::string& directory, const SystemRoots& roots) {
  const std::string information =
      ReadSystemFile(roots.proc + "/driver/nvidia/gpus/" + AdapterSlot(directory) + "/information");
  const std::string name = ReportableName(FieldValue(information, "Model"));
  return name == "Unknown" ? "" : name;
}

std::string AMDName(const std::string& directory, std::uint64_t device, IdDatabases& databases) {
  std::string name = ReportableName(ReadAttribute(directory + "/product_name"));
  const auto revision = ReadPCIId(directory + "/revision");
  if (!name.empty() || !revision) return name;
  return databases.AMDGPUName(device, *revision);
}

}  // namespace

const std::string& IdDatabases::PCIName(std::uint64_t vendor, std::uint64_t device) {
  const auto [name, isNew] = fPCINames.try_emplace({vendor, device});
  if (!isNew) return name->second;
  if (!fPCIIds) fPCIIds = ReadSystemFile(fRoots.share + "/misc/pci.ids", kDatabaseLimit);
  if (fPCIIds->empty()) fPCIIds = ReadSystemFile(fRoots.share + "/hwdata/pci.ids", kDatabaseLimit);
  return name->second = ReportableName(NameInPCIIds(*fPCIIds, vendor, device));
}

std::string IdDatabases::AMDGPUName(std::uint64_t device, std::uint64_t revision) {
  if (!fAMDGPUIds) fAMDGPUIds = ReadSystemFile(fRoots.share + "/libdrm/amdgpu.ids", kDatabaseLimit);
  return ReportableName(NameInAMDGPUIds(*fAMDGPUIds, device, revision));
}

std::string ReadSystemFile(const std::string& path, std::size_t limit) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return {};
  std::string content;
  char buffer[16384];
  ssize_t count = 0;
  while (content.size() <= limit && (count = read(file, buffer, sizeof buffer)) > 0)
    content.append(buffer, static_cast<std::size_t>(count));
  close(file);
  if (count != 0) content.clear();  // there is more, or it can't be read
  return content;
}

std::string ReadAttribute(const std::string& path) {
  return std::string(AttributeLine(ReadSystemFile(path)));
}

std::optional<std::uint32_t> ReadPCIId(const std::string& path) {
  const auto id = ParseNumber(ReadAttribute(path));
  if (!id || *id > 0xFFFF) return std::nullopt;
  return static_cast<std::uint32_t>(*id);
}

std::vector<std::string> ListDirectory(const std::string& path) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(path.c_str()), closedir);
  if (entries == nullptr) return names;
  while (const dirent* const entry = readdir(entries.get())) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  return names;
}

std::string ResolvedPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(realpath(path.c_str(), nullptr), std::free);
  return resolved != nullptr ? resolved.get() : "";
}

std::vector<AdapterPlace> ListAdapters(const SystemRoots& roots) {
  std::map<std::string, AdapterPlace> found;
  for (const std::string& entry : ListDirectory(roots.sys + "/class/drm")) {
    const auto card = NumberOfName(entry, "card");
    if (!card && !NumberOfName(entry, "renderD")) continue;
    const std::string directory = AdapterDirectory(entry, roots);
    if (directory.empty()) continue;
    AdapterPlace& adapter = found[directory];
    if (card) {
      adapter.card = std::min(*card, adapter.card.value_or(*card));
    } else {
      adapter.renderNode = entry;
    }
  }
  const std::string pci = roots.sys + "/bus/pci/devices/";
  for (const std::string& slot : ListDirectory(pci)) {
    if (StartsWith(ReadAttribute(pci + slot + "/class"), "0x03")) found[ResolvedPath(pci + slot)];
  }

  constexpr unsigned kNoCard = std::numeric_limits<unsigned>::max();
  std::map<std::tuple<bool, unsigned, std::string>, AdapterPlace> sorted;
  for (auto& [directory, adapter] : found) {
    adapter.directory = directory;
    sorted[{!IsBootAdapter(directory), adapter.card.value_or(kNoCard), directory}] = adapter;
  }
  std::vector<AdapterPlace> adapters;
  std::transform(sorted.begin(), sorted.end(), std::back_inserter(adapters),
                 [](const auto& entry) { return entry.second; });
  return adapters;
}

std::string AdapterDirectory(const std::string& deviceFile, const SystemRoots& roots) {
  const auto isPCI = [](const std::string& directory) {
    return Exists(directory + "/vendor") && Exists(directory + "/class");
  };
  std::string directory =
      ResolvedPath(roots.sys + "/class/drm/" + deviceFile.substr(deviceFile.rfind('/') + 1) + "/device");
  if (isPCI(directory)) return directory;
  // The device of a virtio card is a child of its PCI device. So is the framebuffer that the firmware has
  // left, whose card isn't the adapter's own.
  if (!StartsWith(AdapterSlot(directory), "virtio")) return {};
  const std::string parent = ResolvedPath(directory + "/..");
  return isPCI(parent) ? parent : "";
}

std::string AdapterDirectoryByUUID(const std::string& uuid, const SystemRoots& roots) {
  const std::string folder = roots.proc + "/driver/nvidia/gpus";
  for (const std::string& slot : ListDirectory(folder)) {
    if (FieldValue(ReadSystemFile(folder + "/" + slot + "/information"), "GPU UUID") == uuid)
      return ResolvedPath(roots.sys + "/bus/pci/devices/" + slot);
  }
  return {};
}

std::string AdapterName(const std::string& directory, IdDatabases& databases, bool mayWake) {
  const auto vendor = ReadPCIId(directory + "/vendor");
  const auto device = ReadPCIId(directory + "/device");
  if (!vendor || !device) return "unknown adapter";
  std::string name;
  if (mayWake || !IsAsleep(directory)) name = NVIDIAName(directory, databases.Roots());
  if (*vendor == kAMD) name = AMDName(directory, *device, databases);
  if (name.empty()) name = databases.PCIName(*vendor, *device);
  if (!name.empty()) return name;
  char ids[16];
  std::snprintf(ids, sizeof ids, "PCI %04x:%04x", *vendor, *device);
  return ids;
}

bool IsAsleep(const std::string& directory) {
  const std::string status = ReadAttribute(directory + "/power/runtime_status");
  return status == "suspended" || status == "suspending";
}

std::string AdapterSlot(const std::string& directory) { return directory.substr(directory.rfind('/') + 1); }

}  // namespace KGX
