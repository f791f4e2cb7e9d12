#include "adaptername.h"

#include <cstdlib>
#include <fstream>

namespace KGX {

namespace {

// The first line of a small file, or an empty text.
std::string ReadLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

bool Exists(const std::string& path) { return std::ifstream(path).good(); }

// "0x8086" as "8086".
std::string WithoutPrefix(const std::string& number) {
  return number.compare(0, 2, "0x") == 0 ? number.substr(2) : number;
}

}  // namespace

std::string AdapterDirectory(const std::string& deviceFile) {
  const std::string link = "/sys/class/drm/" + deviceFile.substr(deviceFile.rfind('/') + 1) + "/device";
  char* const resolved = realpath(link.c_str(), nullptr);
  if (resolved == nullptr) return {};
  std::string directory = resolved;
  std::free(resolved);

  // The device of a virtio card is a child of its PCI device.
  while (directory.size() > 1 && !(Exists(directory + "/vendor") && Exists(directory + "/class"))) {
    directory.resize(directory.rfind('/'));
  }
  return directory;
}

std::string AdapterName(const std::string& directory) {
  const std::string vendor = WithoutPrefix(ReadLine(directory + "/vendor"));
  const std::string device = WithoutPrefix(ReadLine(directory + "/device"));
  if (vendor.empty() || device.empty()) return "unknown adapter";
  return "PCI " + vendor + ":" + device;
}

std::string AdapterSlot(const std::string& directory) { return directory.substr(directory.rfind('/') + 1); }

bool IsBootAdapter(const std::string& directory) { return ReadLine(directory + "/boot_vga") == "1"; }

}  // namespace KGX
