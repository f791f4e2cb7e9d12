#include "systemtree.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string MakeFolder() {
  std::string folder = fs::temp_directory_path() / "systemtree-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return folder;
}

}  // namespace

SystemTree::SystemTree() : fFolder(MakeFolder()) {
  Write("proc/sys/kernel/osrelease", "6.1.0-test\n");
  Write("proc/sys/kernel/version", "#1 SMP PREEMPT_DYNAMIC Debian 6.1.55-1 (2023-09-29)\n");
  Write("share/misc/pci.ids",
        "#\n1002  AMD\n\t73bf  Navi 21 [Radeon RX 6800/6800 XT]\n"
        "8086  Intel\n\t3ea0  WhiskeyLake-U GT2 [UHD Graphics 620]\n");
  Write("share/libdrm/amdgpu.ids", "#\n1.0.0\n73BF,\tC1,\tAMD Radeon RX 6800 XT\n");
}

SystemTree::~SystemTree() { fs::remove_all(fFolder); }

void SystemTree::Write(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(Path(path)).parent_path());
  std::ofstream(Path(path), std::ios::binary) << content;
}

void SystemTree::Link(const std::string& path, const std::string& target) {
  const fs::path folder = fs::path(Path(path)).parent_path();
  fs::create_directories(folder);
  fs::create_directories(Path(target));
  if (!fs::is_symlink(Path(path))) fs::create_symlink(fs::relative(Path(target), folder), Path(path));
}

void SystemTree::SetDriver(const std::string& device, const std::string& name) {
  Link(device + "/driver", "sys/bus/drivers/" + name);
  Link("sys/bus/drivers/" + name + "/module", "sys/module/" + name);
}

std::string SystemTree::AddDevice(const std::string& slot, const std::string& ids, const std::string& driver,
                                  const Files& files) {
  std::string device = "sys/devices/pci0000:00/" + slot;
  Write(device + "/vendor", "0x" + ids.substr(0, 4) + "\n");
  Write(device + "/device", "0x" + ids.substr(5, 4) + "\n");
  Write(device + "/class", "0x" + ids.substr(10) + "\n");
  for (const auto& [name, content] : files) Write(device + "/" + name, content + "\n");
  Link("sys/bus/pci/devices/" + slot, device);
  const std::size_t slash = driver.find('/');
  const std::string name = driver.substr(slash + 1);
  std::string owner = device;
  if (slash != std::string::npos) {
    SetDriver(device, "virtio-pci");
    Write("sys/module/virtio-pci/version", "1\n");
    owner += "/" + driver.substr(0, slash);
    Write(owner + "/vendor", "0x1af4\n");
  }
  if (!name.empty()) SetDriver(owner, name);
  return owner;
}

void SystemTree::AddCard(const std::string& device, int card, int renderNode, const Files& connectors) {
  const std::string name = "card" + std::to_string(card);
  const std::string node = "renderD" + std::to_string(renderNode);
  for (const std::string& entry : {name, node}) {
    if (entry == node && renderNode == 0) continue;
    Link(device + "/drm/" + entry + "/device", device);
    Link("sys/class/drm/" + entry, device + "/drm/" + entry);
  }
  for (const auto& [connector, status] : connectors) {
    const std::string folder = device + "/drm/" + name + "/" + name + "-" + connector;
    const bool isConnected = status == "connected";
    Write(folder + "/status", status + "\n");
    Write(folder + "/enabled", isConnected ? "enabled\n" : "disabled\n");
    Write(folder + "/modes",
          isConnected ? connector.back() + std::string("920x1080\n1680x1050\n") : "640x480\n");
    Link("sys/class/drm/" + name + "-" + connector, folder);
  }
}
