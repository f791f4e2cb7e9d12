#include "inventory/sysfstext.h"

#include "adaptertext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using std::string;
using Table = std::vector<std::pair<string, string>>;

TEST(AdapterText, NamesOfTheDatabases) {
  const string pci =
      "# comment\n1002  Advanced Micro Devices\n\t73bf  Navi 21 [Radeon RX 6800/6800 XT]\n"
      "\t\t1002 73bf  Subsystem\n# inside\n\t73c1  Odd [name\n\t73c2  Last [of] [one]  \n"
      "8086  Intel\n\t73c3  Of another vendor [x]\n\t64a0  \nC 03  Display";
  for (const auto& [vendor, device, name] :
       std::vector<std::tuple<unsigned, unsigned, string>>{{0x1002, 0x73bf, "Radeon RX 6800/6800 XT"},
                                                           {0x1002, 0x73c1, "Odd [name"},
                                                           {0x1002, 0x73c2, "one"},
                                                           {0x1002, 0x73c3, ""},
                                                           {0x8086, 0x64a0, ""},
                                                           {0x8086, 0x73c3, "x"}})
    EXPECT_EQ(KGX::NameInPCIIds(pci, vendor, device), name);
}

TEST(AdapterText, ReportableNamesSurviveEveryConversion) {
  const string longest(127, 'x');
  for (const auto& [given, name] :
       Table{{" \"R\\9\"\t\n\x7f\xc2\xae ~ ", "R9 ~"}, {longest + "y", longest}, {"\xff\xfe", ""}})
    EXPECT_EQ(KGX::ReportableName(given), name);
}

TEST(AdapterText, FieldsAndNumbers) {
  for (const auto& [content, line] : Table{{" 0x1002\t\r\nx", "0x1002"}, {"a b", "a b"}, {"a\tb\n", ""}})
    EXPECT_EQ(KGX::AttributeLine(content), line);
  const string information = "Model Name: x\nModel: \t\t NVIDIA H200 \nGPU UUID:\tGPU-1\nIRQ:\n";
  for (const auto& [name, value] :
       Table{{"Model", "NVIDIA H200"}, {"GPU UUID", "GPU-1"}, {"IRQ", ""}, {"UUID", ""}})
    EXPECT_EQ(KGX::FieldValue(information, name), value);
  for (const char* bad : {"", "0x", "x", "-1", "0x1g", "1 ", "0x10000000000000000", "0X10"})
    EXPECT_FALSE(KGX::ParseNumber(bad)) << bad;
  EXPECT_EQ(KGX::ParseNumber("0xffffffffffffffff"), 0xffffffffffffffffu);
  EXPECT_EQ(KGX::ParseNumber("0017163091968"), 17163091968u);
}

// Lines of NVIDIA's modules, and of kernels of Debian, Ubuntu, SUSE, Arch, Proxmox and NixOS.
TEST(SysfsText, DatesOfBuilds) {
  const string nvidia =
      "NVRM version: NVIDIA UNIX Open Kernel Module for x86_64  550.90.07  Release Build  (a@b)  ";
  for (const auto& [text, day] :
       Table{{nvidia + "Wed Dec  6 01:15:15 UTC 2023", "20231206"},
             {nvidia + "Sun Mar 31 01:42:09 PM CST 9999", "99990331"},
             {nvidia + "Tue  4 Jun 13:42:09 BST 2024", "20240604"},
             {nvidia + "Fri Jan  4 13:42:09 BST 10000", ""},
             {nvidia + "Sat anF 19 01:15:15 UTC 2023", ""},
             {"#1 SMP Debian 6.1.55-1 (2023-09-29)", "20230929"},
             {"1991-01-31", "19910131"},
             {"(1990-12-31)", ""},
             {"(2023-00-29) (2023-13-29) (2023-09-00) (2023-09-32) (2023-09-2)", ""},
             {"(202-09-29) (20230-09-29) (2023-9-29) (2023-009-29) (2023-09-029)", ""},
             {"#49-Ubuntu SMP Mon Nov  4 02:06:24 UTC 2024", "20241104"},
             {"#28~24.04.1-Ubuntu SMP Wed Jul  1 15:50:57 UTC 2", ""},
             {"#1 SMP Wed Oct 9 07:25:53 UTC 2024 (d75a4ab)", "20241009"},
             {"#1 SMP Sun Sep 1 07:25:53 UTC 2024", "20240901"},
             {"#1 SMP PREEMPT Sat, 13 Feb 2021 20:50:18 +0000", "20210213"},
             {"#1 SMP PMX 6.8.12-9 (2025-03-16T19:18Z)", "20250316"},
             {"#1 SMP PVE 5.15.74-1 (Mon, 14 Nov 2022 20:17:15 +0100)", "20221114"},
             {"#1-NixOS SMP Tue Jan  1 00:00:00 UTC 1980", ""}})
    EXPECT_EQ(ztutil::DateOfBuild(text), day.empty() ? "" : day + "000000.000000-000") << text;
}

TEST(SysfsText, SlotsInOneNumber) {
  EXPECT_EQ(ztutil::PackedSlot("0000:03:00.0"), 0x300u);
  EXPECT_EQ(ztutil::PackedSlot("ffffffff:ff:1f.7"), 0xffffffffffffu);
  for (const char* bad : {"", "1:01:01.1", "001:01:01.1", "1fffffff1:01:01.1", "0001:1:01.1", "0001:001:01.1",
                          "0001:01:1.1", "0001:01:001.1", "0001:01:01.", "0001:01:01.11", "0001:01:01.8",
                          "0001:01:20.1", "0001:0g:01.1", "0001.01:01.1", "0001:01.01.1", "0001:01:01:1"})
    EXPECT_EQ(ztutil::PackedSlot(bad), 0u) << bad;
}

// The head of an answer of i915 or xe, which begins with the count of regions, and a region.
string Head(char count, std::size_t size) { return count + string(size - 1, '\0'); }
string Region(char kind, std::uint64_t size) {
  string region(88, '\0');
  region[0] = kind;
  std::memcpy(&region[8], &size, sizeof size);
  return region;
}

TEST(SysfsText, MemoryRegions) {
  const string answer = Head(3, 16) + Region(0, 1 << 20) + Region(1, 0x200000000) + Region(1, 5);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(answer, 16), 0x200000005u);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Head(2, 8) + Region(0, 7) + Region(1, 9), 8), 9u);
  // More than there are, and fewer.
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Head(127, 16) + Region(1, 3), 16), 3u);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Head(1, 16) + Region(1, 3) + Region(1, 4), 16), 3u);
  for (const std::size_t size : {0u, 3u, 15u, 16u, 103u})
    EXPECT_EQ(ztutil::SumOfDeviceRegions((Head(1, 16) + Region(1, 3)).substr(0, size), 16), 0u) << size;
}

}  // namespace
