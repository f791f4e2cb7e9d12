// The inventory of machines that are trees of files.
#include "sysfsadapters.h"

#include "sysfsinventory.h"
#include "systemtree.h"

#include <ztutil/fmt.h>
#include <ztutil/gpuimplwin.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

// What a driver of the kernel says when it is asked for its bytes of memory; 0 where it refuses. And how long
// it says that its list of them is, before it gives it and with it; 0 for as long as it is.
static std::uint64_t gAnswer;
static std::uint32_t gLengths[2];

// The system's, in whose place regular files are the nodes of drivers. The requests are the kernel's.
extern "C" int ioctl(int file, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  auto* const record = va_arg(arguments, std::uint64_t*);
  va_end(arguments);
  struct stat status {};
  const bool isOwn = fcntl(file, F_GETFD) == FD_CLOEXEC &&
                     (fcntl(file, F_GETFL) & (O_ACCMODE | O_NONBLOCK)) == (O_RDWR | O_NONBLOCK);
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || !isOwn || gAnswer == 0)
    return static_cast<int>(syscall(SYS_ioctl, file, request, record));
  // How long the list of regions is, and then the list itself: a head with their count, and the only one.
  const auto listRegions = [](std::uint32_t& size, std::uint64_t list, std::uint32_t head) {
    auto* const bytes = reinterpret_cast<char*>(list);
    if (size != 0) bytes[0] = bytes[head] = 1;
    if (size != 0) std::memcpy(bytes + head + 8, &gAnswer, sizeof gAnswer);
    const std::uint32_t length = gLengths[size != 0];
    if ((size != 0) == (list != 0)) size = length != 0 ? length : head + 88;
  };
  auto* const halves = reinterpret_cast<std::uint32_t*>(record);
  if (request == 0xC018645C) record[1] = gAnswer;                    // radeon's GEM_INFO
  if (request == 0xC0106440 && record[0] == 8) record[1] = gAnswer;  // nouveau's GETPARAM
  if (request == 0xC0286440 && record[0] == 0 && halves[2] == 1)
    listRegions(halves[3], record[2], 8);  // xe's DEVICE_QUERY
  if (request != 0xC0106479 || record[0] != 1) return 0;
  auto* const item = reinterpret_cast<std::uint64_t*>(record[1]);  // of i915's QUERY
  auto* const itemsHalves = reinterpret_cast<std::uint32_t*>(item);
  if (item[0] == 4 && itemsHalves[3] == 0) listRegions(itemsHalves[2], item[2], 16);
  return 0;
}

namespace {

using std::string;
using Texts = std::vector<string>;

KGX::SystemRoots Roots(const SystemTree& tree) {
  return {tree.Path("sys"), tree.Path("proc"), tree.Path("share"), tree.Path("dev")};
}

// What the two inventories make of the machine: the rows, with the ids that stand at their places, and then
// the adapters. Memory is in bytes, and in MB.
Texts Records(const SystemTree& tree) {
  Texts texts;
  const auto inventory = ztutil::CreateSysfsInventory(Roots(tree));
  for (const WMIData& row : WMIData::GetAllDevices(*inventory))
    ztutil::FmtPrintf(texts.emplace_back(), "%s|%04x:%04x|%u|%s %s %.8s|%s", row.fName.c_str(), row.fVendorID,
                      row.fDeviceID, row.fAdapterRAM, row.fInstalledDisplayDrivers.c_str(),
                      row.fDriverVersion.c_str(), row.fDriverDate.c_str(), row.fVideoModeDescription.c_str());
  for (const DXGIData& adapter : DXGIData::GetAllDevices(*inventory)) {
    const ztutil::DXGI_ADAPTER_DESC& desc = adapter.fAdapterDesc;
    ztutil::FmtPrintf(texts.emplace_back(), "%s|%04x:%04x|%u|%08x %02x %llx", adapter.GetName().c_str(),
                      desc.VendorId, desc.DeviceId, static_cast<unsigned>(desc.DedicatedVideoMemory >> 20),
                      desc.SubSysId, desc.Revision, static_cast<unsigned long long>(desc.AdapterLuid));
  }
  return texts;
}

void AddNVIDIA(SystemTree& tree, const string& slot) {
  tree.AddDevice(slot, "10de:2206 030200", "nvidia",
                 {{"subsystem_vendor", "0x10de"}, {"subsystem_device", "0x1"}, {"revision", "0xa1"}});
  tree.Write("sys/module/nvidia/version", "535.104.05\n");
  tree.Write("proc/driver/nvidia/version",
             "NVRM version: NVIDIA UNIX x86_64 Kernel Module  535.104.05  Sat Aug 19 01:15:15 UTC 2023\n");
  tree.Write("proc/driver/nvidia/gpus/" + slot + "/information",
             "Model: \t\t NVIDIA GeForce RTX 3080\nIRQ:   \t\t 1\nGPU UUID: \t GPU-" + slot + "\n");
}

// Its firmware starts up with Intel's GPU, whose card comes later. NVIDIA's has none.
void MakeLaptop(SystemTree& tree) {
  const string intel = tree.AddDevice("0000:00:02.0", "8086:3ea0 030000", "i915",
                                      {{"boot_vga", "1"},
                                       {"revision", "0x10000"},
                                       {"subsystem_vendor", "0x1028"},
                                       {"subsystem_device", "0xffff"}});
  tree.AddCard(intel, 1, 129, {{"eDP-1", "connected"}, {"DP-1", "disconnected"}});
  const string amd = tree.AddDevice("0000:03:00.0", "1002:73bf 030000", "amdgpu",
                                    {{"boot_vga", "0"},
                                     {"revision", "0xc1"},
                                     {"mem_info_vram_total", "17163091968"},
                                     {"mem_info_gtt_total", "1048576"},
                                     {"product_name", ""}});
  tree.AddCard(amd, 0, 128, {{"DP-1", "disconnected"}, {"Writeback-1", "connected"}});
  AddNVIDIA(tree, "10000:01:00.0");
}

TEST(SysfsAdapters, TheRecordsOfALaptop) {
  SystemTree tree;
  EXPECT_EQ(Records(tree), Texts{});
  MakeLaptop(tree);
  EXPECT_EQ(Records(tree), (Texts{"UHD Graphics 620|8086:3ea0|0|i915 6.1.0-test 20230929|1920x1080",
                                  "AMD Radeon RX 6800 XT|1002:73bf|4293918720|amdgpu 6.1.0-test 20230929|",
                                  "NVIDIA GeForce RTX 3080|10de:2206|0|nvidia 535.104.05 20230819|",
                                  "UHD Graphics 620|8086:3ea0|0|ffff1028 00 10",
                                  "AMD Radeon RX 6800 XT|1002:73bf|16368|00000000 c1 300",
                                  "NVIDIA GeForce RTX 3080|10de:2206|0|000110de a1 100000100"}));

  tree.Write("sys/devices/pci0000:00/10000:01:00.0/power/runtime_status", "suspending\n");
  EXPECT_EQ(ztutil::FindSysfsAdapters(Roots(tree), false).at(2).name, "PCI 10de:2206");

  // The databases may be missing, stand elsewhere, or be too large.
  const auto nameOfAMD = [&] { return ztutil::FindSysfsAdapters(Roots(tree)).at(1).name; };
  std::filesystem::remove_all(tree.Path("share"));
  EXPECT_EQ(nameOfAMD(), "PCI 1002:73bf");
  tree.Write("share/hwdata/pci.ids", "#\n1002  AMD\n\t73bf  Navi [Radeon]\n");
  const string database = tree.Path("share/hwdata/pci.ids");
  for (const std::size_t size : {65536, 65537, 16777216, 16777217}) {
    std::filesystem::resize_file(database, size);
    EXPECT_EQ(KGX::ReadSystemFile(database).size(), size == 65536 ? size : 0);
    EXPECT_EQ(nameOfAMD(), size > 16777216 ? "PCI 1002:73bf" : "Radeon");
  }
  tree.Write("sys/devices/pci0000:00/0000:03:00.0/product_name", "Instinct \"MI\"" + string(200, '3') + "\n");
  EXPECT_EQ(Records(tree).at(4).find('|'), 127u);
  EXPECT_EQ(nameOfAMD().substr(0, 12), "Instinct MI3");
  tree.Write("proc/driver/nvidia/gpus/10000:01:00.0/information", "Model: \t\t Unknown\n");
  EXPECT_EQ(ztutil::FindSysfsAdapters(Roots(tree)).at(2).name, "PCI 10de:2206");
  KGX::IdDatabases databases(Roots(tree));
  tree.Write("sys/vendor", "0x8086\n");
  EXPECT_EQ(KGX::AdapterName(tree.Path("sys"), databases), "unknown adapter");
}

// The numbers of the cards count, whatever their places, and then the places of those without one.
TEST(SysfsAdapters, TheOrderOfAServerAndWhatDrivesADisplay) {
  SystemTree tree;
  for (const char* slot : {"0000:82:00.0", "0000:81:00.0"}) AddNVIDIA(tree, slot);
  for (const auto& [slot, card] : {std::pair("0000:01:00.0", 10), std::pair("0000:07:00.0", 2)})
    tree.AddCard(tree.AddDevice(slot, "10de:1b80 030000", "nouveau"), card, 128 + card,
                 {{"DP-1", card == 10 ? "connected" : "disconnected"}, {"Writeback-1", "connected"}});
  const string virtio = tree.AddDevice("0000:00:05.0", "1af4:1050 038000", "virtio2/virtio_gpu");
  for (const int card : {4, 3, 5})
    tree.AddCard(virtio, card, 128, {{"DP-2", "connected"}, {"DP-3", "connected"}, {"DP-4", "connected"}});
  tree.AddCard(tree.AddDevice("0000:02:00.0", "1a03:2000 030000", "ast", {{"boot_vga", "1"}}), 11, 0,
               {{"VGA-1", "disconnected"}});
  tree.AddDevice("0000:80:00.0", "10de:20b0 030200", "");
  tree.AddDevice("0000:84:00.0", "10de:2330 030200", "vfio-pci");
  tree.AddDevice("0000:85:00.0", "8086:1533 020000", "igb");
  // The framebuffer that the firmware has left hangs below a GPU too, and a USB display below a PCI device.
  tree.AddCard("sys/devices/pci0000:00/0000:84:00.0/simple-framebuffer.0", 0, 0);
  tree.AddDevice("0000:00:14.0", "8086:9ded 0c0330", "xhci_hcd");
  tree.AddCard("sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1:1.0", 1, 0, {{"DVI-1", "connected"}});

  Texts adapters;
  for (const auto& adapter : ztutil::FindSysfsAdapters(Roots(tree))) {
    adapters.push_back(adapter.driver + (adapter.isDriven ? "" : " undriven"));
    for (const string& display : adapter.displays) adapters.back() += " " + display;
  }
  EXPECT_EQ(adapters, (Texts{"ast", "nouveau renderD130", "virtio_gpu card3-DP-2 card3-DP-3 card3-DP-4",
                             "nouveau card10-DP-1", " undriven", "nvidia nvidia", "nvidia nvidia",
                             "vfio-pci undriven"}));
  EXPECT_EQ(KGX::ListAdapters(Roots(tree)).size(), adapters.size());
  EXPECT_EQ(KGX::ListDirectory(tree.Path("proc/driver")), Texts{"nvidia"});
  EXPECT_EQ(Records(tree).at(2), "PCI 1af4:1050|1af4:1050|0|virtio_gpu 6.1.0-test 20230929|2920x1080");
  // What isn't driven has no place among the rows, nor among the adapters whose ids they take.
  EXPECT_EQ(Records(tree).at(4), "NVIDIA GeForce RTX 3080|10de:2206|0|nvidia 535.104.05 20230819|");
  EXPECT_EQ(KGX::AdapterDirectoryByUUID("GPU-0000:82:00.0", Roots(tree)),
            KGX::ResolvedPath(tree.Path("sys/bus/pci/devices/0000:82:00.0")));
}

TEST(SysfsAdapters, MemoryByFilesAndByTheDriversAnswers) {
  const auto opened = [] { return KGX::ListDirectory("/proc/self/fd").size(); };
  const std::size_t openedBefore = opened();
  const struct {
    string driver, slot;
    std::uint64_t answer;
    string megabytes;  // and who says so
    std::uint32_t lengths[2] = {};
  } rows[] = {{"amdgpu", "0000:01:00.0", 1, "7 mem_info_vram_total"},
              {"xe", "0000:03:00.0", 0, "16385 physical_vram_size_bytes"},
              {"xe", "0000:00:02.0", 1, "0 integrated"},
              {"xe", "0000:03:00.0", 2, "2 driver", {65536}},
              {"xe", "0000:03:00.0", 2, "0 ", {65537}},
              {"i915", "0000:03:00.0", 3, "3 driver", {65536, 1}},
              {"i915", "0000:03:00.0", 3, "0 ", {65537}},
              {"i915", "0000:03:00.0", 3, "0 ", {UINT32_MAX}},
              {"i915", "0000:03:00.0", 3, "0 ", {0, UINT32_MAX}},
              {"i915", "0000:03:00.0", 0, "0 "},
              {"radeon", "0000:01:00.0", 4, "4 driver"},
              {"radeon", "0000:01:00.0", 0, "0 "},
              {"nouveau", "0000:01:00.0", 5, "5 driver"},
              {"nouveau", "0000:01:00.0", 0, "0 "},
              {"vmwgfx", "0000:00:0f.0", 6, "0 "}};
  for (const auto& [driver, slot, answer, megabytes, lengths] : rows) {
    SystemTree tree;
    const string device = tree.AddDevice(slot, "8086:56a0 030000", driver,
                                         {{"resource", "0x0 0xfffff 0x0\n0x0 0x1fffff 0x0\n0x0 0x3fffff 0x0"},
                                          {"mem_info_vram_total", "7340032"}});
    tree.AddCard(device, 0, 128);
    if (answer == 0) tree.Write(device + "/tile0/physical_vram_size_bytes", "0x400000000");
    if (answer == 0) tree.Write(device + "/tile1/physical_vram_size_bytes", "0x100000");
    tree.Write("dev/dri/renderD128", "");
    gAnswer = answer << 20;
    std::copy_n(lengths, 2, gLengths);
    const auto adapter = ztutil::FindSysfsAdapters(Roots(tree)).at(0);
    EXPECT_EQ(std::to_string(adapter.dedicatedMemory >> 20) + " " + adapter.memorySource, megabytes)
        << driver;
    EXPECT_EQ(adapter.sharedMemory, megabytes == "0 " ? 0 : GetInstalledRAM() / 2)
        << driver << " " << megabytes;
    EXPECT_NE(ztutil::FindSysfsAdapters(Roots(tree), false).at(0).memorySource, "driver");
  }
  EXPECT_EQ(opened(), openedBefore);
}

// A module of the kernel has the kernel's day, whether it has a version of its own or not.
TEST(SysfsAdapters, VersionAndDateOfTheDriver) {
  for (const auto& [driver, version, taint, record] : std::vector<std::tuple<string, string, string, string>>{
           {"i915", "", "", "i915 6.1.0-test 20230929"},
           {"vmwgfx", "2.20.0.0", "", "vmwgfx 2.20.0.0 20230929"},
           {"amdgpu", "6.8.5", "OE", "amdgpu 6.8.5 "},
           {"virtio1/virtio_gpu", "", "", "virtio_gpu 6.1.0-test 20230929"}}) {
    SystemTree tree;
    tree.AddDevice("0000:00:05.0", "1af4:1050 038000", driver);
    // A virtio card hangs on the PCI device itself since Linux 6.1.
    tree.AddCard("sys/devices/pci0000:00/0000:00:05.0", 0, 128);
    tree.Write("sys/module/" + driver + "/version", version);
    tree.Write("sys/module/" + driver + "/taint", taint);
    EXPECT_EQ(Records(tree).at(0), "PCI 1af4:1050|1af4:1050|0|" + record + "|");
  }
}

// Each file in turn is gone, empty, binary or huge: what the records still say is right, or nothing.
TEST(SysfsAdapters, BrokenFilesMakeNoWrongRecords) {
  SystemTree tree;
  MakeLaptop(tree);
  const auto sound = ztutil::FindSysfsAdapters(Roots(tree));
  for (const auto& a : ztutil::FindSysfsAdapters(Roots(tree), false)) EXPECT_EQ(a.videoMode, "");
  const std::set<string> otherNames = {"PCI 8086:3ea0", "PCI 10de:2206", "PCI 1002:73bf",
                                       "Radeon RX 6800/6800 XT"};
  const auto isRight = [&](const ztutil::SysfsAdapter& a) {
    const auto s = std::find_if(sound.begin(), sound.end(), [&](const auto& b) { return b.slot == a.slot; });
    return s != sound.end() && a.vendor == s->vendor && a.device == s->device &&
           (a.name == s->name || otherNames.count(a.name) > 0) &&
           (a.dedicatedMemory == s->dedicatedMemory || a.dedicatedMemory == 0) &&
           (a.driverVersion == s->driverVersion || a.driverVersion.empty()) &&
           (a.driverDate == s->driverDate || a.driverDate.empty()) &&
           (a.videoMode == s->videoMode || a.videoMode.empty());
  };

  Texts files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.Folder()))
    if (entry.is_regular_file() && !entry.is_symlink()) files.push_back(entry.path());
  ASSERT_GE(files.size(), 39u);
  const auto opened = [] { return KGX::ListDirectory("/proc/self/fd").size(); };
  const std::size_t openedBefore = opened();
  for (const string& file : files) {
    std::filesystem::rename(file, file + ".aside");
    for (const string& content :
         {string("missing"), string("pipe"), string(), string("\0\xff\x01", 3), string(100000, '7')}) {
      std::filesystem::remove(file);
      if (content == "pipe") mkfifo(file.c_str(), 0600);
      if (content != "missing" && content != "pipe") std::ofstream(file, std::ios::binary) << content;
      for (const auto& adapter : ztutil::FindSysfsAdapters(Roots(tree)))
        EXPECT_TRUE(isRight(adapter)) << file << ": " << adapter.name;
    }
    std::filesystem::rename(file + ".aside", file);
  }
  EXPECT_EQ(opened(), openedBefore);
}

}  // namespace
