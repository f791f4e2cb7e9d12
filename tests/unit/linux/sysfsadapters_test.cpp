// The inventory of machines that are trees of files.
#include "sysfsadapters.h"

#include "sysfsinventory.h"
#include "systemtree.h"

#include <ztutil/gpuimplwin.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

using std::string;
using Texts = std::vector<string>;

KGX::SystemRoots Roots(const SystemTree& tree) {
  return {tree.Path("sys"), tree.Path("proc"), tree.Path("share"), tree.Path("dev")};
}

string Hex(std::uint32_t number) {
  char text[9];
  std::snprintf(text, sizeof text, "%04x", number);
  return text;
}

// What the two inventories make of the machine: the rows, with the ids that stand at their places, and then
// the adapters. Memory is in bytes, and in MB.
Texts Records(const SystemTree& tree) {
  Texts texts;
  const auto inventory = ztutil::CreateSysfsInventory(Roots(tree));
  for (const WMIData& row : WMIData::GetAllDevices(*inventory)) {
    texts.push_back(row.fName + "|" + Hex(row.fVendorID) + ":" + Hex(row.fDeviceID) + "|" +
                    std::to_string(row.fAdapterRAM) + "|" + row.fInstalledDisplayDrivers + " " +
                    row.fDriverVersion + " " + row.fDriverDate.substr(0, 8) + "|" +
                    row.fVideoModeDescription);
  }
  for (const DXGIData& adapter : DXGIData::GetAllDevices(*inventory)) {
    texts.push_back(adapter.GetName() + "|" + Hex(adapter.GetVendorID()) + ":" + Hex(adapter.GetDeviceID()) +
                    "|" + std::to_string(adapter.fAdapterDesc.DedicatedVideoMemory >> 20) + "|" +
                    Hex(adapter.fAdapterDesc.SubSysId) + " " + Hex(adapter.fAdapterDesc.Revision) + " " +
                    Hex(static_cast<std::uint32_t>(adapter.fAdapterDesc.AdapterLuid)));
  }
  return texts;
}

const SystemTree::Files kConnected = {{"eDP-1", "connected"}, {"DP-1", "disconnected"}};
const SystemTree::Files kNone = {{"DP-1", "disconnected"}, {"Writeback-1", "connected"}};

void AddNVIDIA(SystemTree& tree, const string& slot, const string& name, const string& ids) {
  tree.AddDevice(slot, ids, "nvidia",
                 {{"subsystem_vendor", "0x10de"}, {"subsystem_device", "0x1"}, {"revision", "0xa1"}});
  tree.Write("sys/module/nvidia/version", "535.104.05\n");
  tree.Write("proc/driver/nvidia/version",
             "NVRM version: NVIDIA UNIX x86_64 Kernel Module  535.104.05  Sat Aug 19 01:15:15 UTC 2023\n");
  tree.Write("proc/driver/nvidia/gpus/" + slot + "/information",
             "Model: \t\t " + name + "\nIRQ:   \t\t 1\nGPU UUID: \t GPU-" + slot + "\n");
}

void AddIntel(SystemTree& tree) {
  const string device = tree.AddDevice("0000:00:02.0", "8086:3ea0 030000", "i915",
                                       {{"boot_vga", "1"},
                                        {"revision", "0x02"},
                                        {"subsystem_vendor", "0x1028"},
                                        {"subsystem_device", "0x08b9"},
                                        {"resource", "0x0 0x0 0x0\n0x0 0x0 0x0\n0x80000000 0x8fffffff 0x0"}});
  tree.AddCard(device, 1, 129, kConnected);
}

void AddAMD(SystemTree& tree) {
  const string device = tree.AddDevice("0000:03:00.0", "1002:73bf 030000", "amdgpu",
                                       {{"boot_vga", "0"},
                                        {"revision", "0xc1"},
                                        {"mem_info_vram_total", "17163091968"},
                                        {"mem_info_gtt_total", "1048576"},
                                        {"product_name", ""}});
  tree.AddCard(device, 0, 128, kNone);
}

const string kIntelRow = "UHD Graphics 620|8086:3ea0|0|i915 6.1.0-test 20230929|1920x1080";
const string kIntelAdapter = "UHD Graphics 620|8086:3ea0|0|8b91028 0002 0010";
const string kAMDRow = "AMD Radeon RX 6800 XT|1002:73bf|4293918720|amdgpu 6.1.0-test 20230929|";
const string kAMDAdapter = "AMD Radeon RX 6800 XT|1002:73bf|16368|0000 00c1 0300";

TEST(SysfsAdapters, Laptops) {
  SystemTree tree;
  EXPECT_EQ(Records(tree), Texts{});
  AddIntel(tree);
  EXPECT_EQ(Records(tree), (Texts{kIntelRow, kIntelAdapter}));
  // The boot adapter comes first, whatever the cards' numbers; the sleeping card's display is one that is
  // made up.
  AddAMD(tree);
  EXPECT_EQ(Records(tree), (Texts{kIntelRow, kAMDRow, kIntelAdapter, kAMDAdapter}));
  // NVIDIA's driver renders without a card, and comes after those that have one.
  AddNVIDIA(tree, "0000:01:00.0", "NVIDIA GeForce RTX 3080", "10de:2206 030200");
  const Texts all = Records(tree);
  ASSERT_EQ(all.size(), 6u);
  EXPECT_EQ(all[2], "NVIDIA GeForce RTX 3080|10de:2206|0|nvidia 535.104.05 20230819|");
  EXPECT_EQ(all[5], "NVIDIA GeForce RTX 3080|10de:2206|0|110de 00a1 0100");
}

TEST(SysfsAdapters, APUAndTwoEqualCards) {
  SystemTree tree;
  const string apu = tree.AddDevice("0000:04:00.0", "1002:15d8 030000", "amdgpu",
                                    {{"mem_info_vram_total", "67108864"}, {"revision", "0xc9"}});
  tree.AddCard(apu, 2, 130, kConnected);
  for (const int card : {0, 10})
    tree.AddCard(tree.AddDevice("0000:0" + std::to_string(8 - card / 10) + ":00.0", "10de:1b80 030000",
                                "nouveau", {{"resource", "0x0 0xffffff 0x0\n0x90000000 0x9fffffff 0x0"}}),
                 card, 128 + card);
  EXPECT_EQ(
      Records(tree),
      (Texts{"PCI 10de:1b80|10de:1b80|268435456|nouveau 6.1.0-test 20230929|",
             "Radeon Vega Series|1002:15d8|67108864|amdgpu 6.1.0-test 20230929|1920x1080",
             "PCI 10de:1b80|10de:1b80|268435456|nouveau 6.1.0-test 20230929|",
             "PCI 10de:1b80|10de:1b80|256|0000 0000 0800", "Radeon Vega Series|1002:15d8|64|0000 00c9 0400",
             "PCI 10de:1b80|10de:1b80|256|0000 0000 0700"}));
}

TEST(SysfsAdapters, ServerWithAManagementChipAndUnboundCards) {
  SystemTree tree;
  tree.AddCard(tree.AddDevice("0000:02:00.0", "1a03:2000 030000", "ast",
                              {{"boot_vga", "1"}, {"resource", "0x90000000 0x90ffffff 0x0"}}),
               0, 0, {{"VGA-1", "disconnected"}});
  for (const char* slot : {"0000:81:00.0", "0000:82:00.0"})
    AddNVIDIA(tree, slot, "NVIDIA H100", "10de:2330 030200");
  tree.AddDevice("0000:80:00.0", "10de:20b0 030200", "");
  tree.AddDevice("0000:84:00.0", "10de:2330 030200", "vfio-pci");
  tree.AddDevice("0000:85:00.0", "8086:1533 020000", "igb");
  EXPECT_EQ(Records(tree),
            (Texts{"ASPEED Graphics Family|1a03:2000|16777216|ast 6.1.0-test 20230929|",
                   "NVIDIA H100|10de:2330|0|nvidia 535.104.05 20230819|",
                   "NVIDIA H100|10de:2330|0|nvidia 535.104.05 20230819|",
                   "NVIDIA H100|10de:2330|0|110de 00a1 8100", "NVIDIA H100|10de:2330|0|110de 00a1 8200"}));
  EXPECT_EQ(ztutil::FindSysfsAdapters(Roots(tree)).size(), 5u);
  EXPECT_EQ(KGX::AdapterDirectoryByUUID("GPU-0000:82:00.0", Roots(tree)),
            KGX::ResolvedPath(tree.Path("sys/bus/pci/devices/0000:82:00.0")));
  EXPECT_EQ(KGX::AdapterDirectoryByUUID("GPU-", Roots(tree)), "");
}

TEST(SysfsAdapters, VirtualMachineAndCardsOfOtherBuses) {
  SystemTree tree;
  tree.AddCard(tree.AddDevice("0000:00:05.0", "1af4:1050 038000", "virtio2/virtio_gpu", {}), 0, 128,
               {{"Virtual-1", "connected"}});
  // A USB display hangs below a PCI device too, and a boot framebuffer below none.
  tree.AddDevice("0000:00:14.0", "8086:9ded 0c0330", "xhci_hcd");
  tree.AddCard("sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1:1.0", 1, 0, {{"DVI-1", "connected"}});
  tree.AddCard("sys/devices/platform/simple-framebuffer.0", 2, 0);
  EXPECT_EQ(Records(tree), (Texts{"Virtio 1.0 GPU|1af4:1050|0|virtio_gpu 6.1.0-test 20230929|1920x1080",
                                  "Virtio 1.0 GPU|1af4:1050|0|0000 0000 0028"}));
}

TEST(SysfsAdapters, MemoryByDriver) {
  const string resource = "0x0 0xfffff 0x0\n0x0 0x1fffff 0x0\n0x0 0x3fffff 0x0";
  const struct {
    const char* driver;
    const char* slot;
    SystemTree::Files files;
    std::uint64_t megabytes;
  } rows[] = {
      {"radeon", "0000:01:00.0", {}, 1},
      {"nouveau", "0000:01:00.0", {}, 2},
      {"i915", "0000:03:00.0", {}, 4},
      {"i915", "0000:00:02.0", {}, 0},
      {"xe", "0000:00:02.0", {}, 0},
      {"xe", "0000:03:00.0", {}, 4},
      {"xe",
       "0000:03:00.0",
       {{"tile0/physical_vram_size_bytes", "0x400000000"}, {"tile1/physical_vram_size_bytes", "0x100000"}},
       16385},
      {"amdgpu", "0000:01:00.0", {}, 0},
      {"vmwgfx", "0000:00:0f.0", {}, 2}};
  for (const auto& row : rows) {
    SystemTree tree;
    SystemTree::Files files = row.files;
    files["resource"] = resource;
    tree.AddCard(tree.AddDevice(row.slot, "8086:56a0 030000", row.driver, files), 0, 128);
    // What can be opened there answers no driver's question.
    tree.Write("dev/dri/renderD128", "");
    EXPECT_EQ(ztutil::FindSysfsAdapters(Roots(tree)).at(0).dedicatedMemory >> 20, row.megabytes)
        << row.driver << " " << row.slot;
  }
}

TEST(SysfsAdapters, DatabasesMayBeMissing) {
  SystemTree tree;
  AddIntel(tree);
  AddAMD(tree);
  std::filesystem::remove_all(tree.Path("share"));
  const auto names = [&] {
    string text;
    for (const auto& adapter : ztutil::FindSysfsAdapters(Roots(tree))) text += adapter.name + ";";
    return text;
  };
  EXPECT_EQ(names(), "PCI 8086:3ea0;PCI 1002:73bf;");
  tree.Write("share/hwdata/pci.ids", "#\n1002  AMD\n\t73bf  Navi [Radeon]\n");
  EXPECT_EQ(names(), "PCI 8086:3ea0;Radeon;");
  tree.Write("sys/devices/pci0000:00/0000:03:00.0/product_name", "Instinct \"MI\"\n");
  EXPECT_EQ(names(), "PCI 8086:3ea0;Instinct MI;");
}

// Each file in turn is gone, empty, binary or huge: what the records still say is right, or nothing.
TEST(SysfsAdapters, BrokenFilesMakeNoWrongRecords) {
  SystemTree tree;
  AddIntel(tree);
  AddAMD(tree);
  AddNVIDIA(tree, "0000:01:00.0", "NVIDIA GeForce RTX 3080", "10de:2206 030200");
  // What is said of each slot.
  const auto said = [&] {
    std::set<string> texts;
    for (const auto& a : ztutil::FindSysfsAdapters(Roots(tree))) {
      for (const string& text : {"ids " + Hex(a.vendor) + ":" + Hex(a.device), "name " + a.name,
                                 "memory " + std::to_string(a.dedicatedMemory), "version " + a.driverVersion,
                                 "date " + a.driverDate, "mode " + a.videoMode})
        texts.insert(Hex(static_cast<std::uint32_t>(a.slot)) + " " + text);
    }
    return texts;
  };
  std::set<string> allowed = said();
  for (const char* slot : {"0010 ", "0100 ", "0300 "})
    for (const char* text : {"memory 0", "version ", "date ", "mode "}) allowed.insert(string(slot) + text);
  allowed.insert({"0010 name PCI 8086:3ea0", "0100 name PCI 10de:2206", "0300 name PCI 1002:73bf",
                  "0300 name Radeon RX 6800/6800 XT"});

  Texts files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.Folder()))
    if (entry.is_regular_file() && !entry.is_symlink()) files.push_back(entry.path());
  ASSERT_GE(files.size(), 40u);
  for (const string& file : files) {
    std::filesystem::rename(file, file + ".aside");
    for (const string& content :
         {string("missing"), string(), string("\0\xff\x01", 3), string(100000, '7')}) {
      if (content != "missing") std::ofstream(file, std::ios::binary) << content;
      for (const string& text : said()) EXPECT_EQ(allowed.count(text), 1u) << file << ": " << text;
    }
    std::filesystem::rename(file + ".aside", file);
  }
}

}  // namespace
