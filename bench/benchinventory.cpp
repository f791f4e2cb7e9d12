// What the inventory of a server costs, rows and adapters: eight equal cards among 300 other PCI devices. The
// yardstick reads each file of the tree that tells of a card, every
// device's class and the PCI ID database, once and with nothing made of it.
//
// The tree is one of plain files, so that the times of a real machine, whose kernel writes each file when it
// is read, are somewhat longer on both sides.
#include "median.h"
#include "sysfsinventory.h"
#include "systemtree.h"

#include <ztutil/gpuimplwin.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCards = 8;
constexpr int kDevices = 300;
constexpr int kRuns = 200;
constexpr char kShare[] = "/usr/share";

std::string Slot(int bus) {
  char slot[16];
  std::snprintf(slot, sizeof slot, "0000:%02x:%02x.0", bus / 32, bus % 32);
  return slot;
}

// Cards whose names only the large database has.
void Fill(SystemTree& tree) {
  for (int card = 0; card < static_cast<int>(kCards); ++card) {
    const std::string device = tree.AddDevice(Slot(64 + card), "8086:56a0 030000", "xe",
                                              {{"subsystem_vendor", "0x8086"},
                                               {"subsystem_device", "0x1020"},
                                               {"revision", "0x08"},
                                               {"boot_vga", card == 3 ? "1" : "0"},
                                               {"tile0/physical_vram_size_bytes", "0x400000000"}});
    tree.AddCard(device, card, 128 + card, {{"DP-1", "connected"}, {"DP-2", "disconnected"}});
  }
  for (int device = 0; device < kDevices; ++device)
    tree.AddDevice(Slot(96 + device), "8086:1533 020000", "igb");
}

// The files that the yardstick reads.
std::vector<std::string> FilesToRead(const SystemTree& tree) {
  std::vector<std::string> files = {std::string(kShare) + "/misc/pci.ids"};
  for (const auto& entry : fs::recursive_directory_iterator(tree.Path("sys/devices"))) {
    const std::string path = entry.path();
    const bool isOther = path.find("/class") == std::string::npos &&
                         fs::exists(entry.path().parent_path() / "class") &&
                         !fs::exists(entry.path().parent_path() / "boot_vga");
    if (entry.is_regular_file() && !isOther) files.push_back(path);
  }
  return files;
}

std::size_t ReadBare(const std::vector<std::string>& files) {
  static char buffer[4194304];
  std::size_t bytes = 0;
  for (const std::string& file : files) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) continue;
    for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;)
      bytes += static_cast<std::size_t>(count);
    close(descriptor);
  }
  return bytes;
}

template <class Action>
double MedianMilliseconds(Action action) {
  std::vector<double> times;
  for (int run = 0; run < kRuns; ++run) {
    const auto start = std::chrono::steady_clock::now();
    action();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  return Median(times);
}

}  // namespace

int main() {
  SystemTree tree;
  Fill(tree);
  const KGX::SystemRoots roots{tree.Path("sys"), tree.Path("proc"), kShare, tree.Path("dev")};
  std::size_t adapters = 0;
  const double inventory = MedianMilliseconds([&] {
    const auto machine = ztutil::CreateSysfsInventory(roots);
    adapters = WMIData::GetAllDevices(*machine).size() + DXGIData::GetAllDevices(*machine).size();
  });
  const std::vector<std::string> files = FilesToRead(tree);
  const double bare = MedianMilliseconds([&] { ReadBare(files); });
  std::printf("%zu cards, %d other devices, %zu files; medians of %d runs\n", kCards, kDevices, files.size(),
              kRuns);
  std::printf("inventory %.2f ms, bare reading %.2f ms, ratio %.2f\n", inventory, bare, inventory / bare);
  std::puts("Wanted: 10 ms at most.");
  return adapters == 2 * kCards ? 0 : 1;
}
