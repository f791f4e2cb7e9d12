#include <kgx/adaptertext.h>
#include <ztutil/sysfstext.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using std::string;

TEST(AdapterText, NamesOfTheDatabases) {
  const string pci =
      "# comment\n1002  Advanced Micro Devices\n\t73bf  Navi 21 [Radeon RX 6800/6800 XT]\n"
      "\t\t1002 73bf  Subsystem\n# inside\n\t73c0  Plain name\n\t73c1  Odd [name\n\t73c2  Last [one]  \n"
      "8086  Intel\n\t73c3  Of another vendor [x]\n\t64a0  \nC 03  Display";
  const struct {
    unsigned vendor, device;
    const char* name;
  } rows[] = {{0x1002, 0x73bf, "Radeon RX 6800/6800 XT"},
              {0x1002, 0x73c0, "Plain name"},
              {0x1002, 0x73c1, "Odd [name"},
              {0x1002, 0x73c2, "one"},
              {0x1002, 0x73c3, ""},
              {0x8086, 0x64a0, ""},
              {0x8086, 0x73c3, "x"},
              {0x10de, 0x73bf, ""}};
  for (const auto& row : rows) EXPECT_EQ(KGX::NameInPCIIds(pci, row.vendor, row.device), row.name);
  const string amd = "# List\n1.0.0\n73BF,\tC1,\tAMD Radeon RX 6800 XT\r\n73BF,\tC3,\tAMD Radeon RX 6800";
  EXPECT_EQ(KGX::NameInAMDGPUIds(amd, 0x73bf, 0xc1), "AMD Radeon RX 6800 XT");
  EXPECT_EQ(KGX::NameInAMDGPUIds(amd, 0x73bf, 0xc3), "AMD Radeon RX 6800");
  EXPECT_EQ(KGX::NameInAMDGPUIds(amd, 0x73bf, 0), "");
}

TEST(AdapterText, ReportableNamesSurviveEveryConversion) {
  const string every127(127, 'x');
  for (const auto& [given, name] :
       std::vector<std::pair<string, string>>{{"GeForce RTX 3080", "GeForce RTX 3080"},
                                              {" \"R\\9\"\t\n\x7f\xc2\xae ~ ", "R9 ~"},
                                              {every127 + "y", every127},
                                              {"\xff\xfe", ""}})
    EXPECT_EQ(KGX::ReportableName(given), name);
}

TEST(AdapterText, AttributesAndFields) {
  for (const auto& [content, line] : std::vector<std::pair<string, string>>{
           {"0x8086\n", "0x8086"}, {" a b \r\nc", "a b"}, {"", ""}, {"a\x01", ""}, {string("a\0b", 3), ""}})
    EXPECT_EQ(KGX::AttributeLine(content), line);
  const string information = "Model Name: x\nModel: \t\t NVIDIA H200 \nGPU UUID:\tGPU-1\nIRQ:\n";
  EXPECT_EQ(KGX::FieldValue(information, "Model"), "NVIDIA H200");
  EXPECT_EQ(KGX::FieldValue(information, "GPU UUID"), "GPU-1");
  EXPECT_EQ(KGX::FieldValue(information, "IRQ"), "");
  EXPECT_EQ(KGX::FieldValue(information, "UUID"), "");
  for (const char* bad : {"", "0x", "x", "-1", "0x1g", "1 ", "0x10000000000000000", "0X10"})
    EXPECT_FALSE(KGX::ParseNumber(bad)) << bad;
  EXPECT_EQ(KGX::ParseNumber("0xffffffffffffffff"), 0xffffffffffffffffu);
  EXPECT_EQ(KGX::ParseNumber("0017163091968"), 17163091968u);
}

TEST(SysfsText, NumbersInNames) {
  EXPECT_EQ(ztutil::NumberOfName("card12", "card"), 12u);
  for (const char* bad : {"card", "card0-eDP-1", "card-1", "carx0", "card9999999999", "renderD128"})
    EXPECT_FALSE(ztutil::NumberOfName(bad, "card")) << bad;
  EXPECT_EQ(ztutil::PackedSlot("0000:03:00.1"), 0x301u);
  EXPECT_EQ(ztutil::PackedSlot("10000:ff:1f.7"), 0x10000ffffu);
  for (const char* bad : {"", "0000:03:00", "0000:03:20.0", "000:03:00.0", "0000:03:00.8", "0000:03:00.0 "})
    EXPECT_EQ(ztutil::PackedSlot(bad), 0u) << bad;
}

TEST(SysfsText, MemoryWindows) {
  const string resource =
      "0x00000000a0000000 0x00000000a0ffffff 0x0000000000040200\n"
      "0x0000000000000000 0x0000000000000000 0x0000000000000000\n"
      "0x0000004000000000 0x00000041ffffffff 0x000000000014220c\n"
      "0x2 0x1 0x0\n0x0 0x1\nx y z\n";
  const std::uint64_t sizes[] = {0x1000000, 0, 0x200000000, 0, 0, 0, 0};
  for (unsigned window = 0; window < 7; ++window)
    EXPECT_EQ(ztutil::WindowSize(resource, window), sizes[window]) << window;
}

TEST(SysfsText, Dates) {
  const string nvrm = "NVRM version: NVIDIA UNIX x86_64 Kernel Module  535.104.05  ";
  for (const auto& [text, date] : std::vector<std::pair<string, string>>{
           {nvrm + "Sat Aug 19 01:15:15 UTC 2023\nGCC version:  gcc 12", "20230819000000.000000-000"},
           {nvrm + "Wed Dec  6 01:15:15 UTC 2023", "20231206000000.000000-000"},
           {nvrm + "Sat Aug 19 01:15:15 UTC", ""},
           {nvrm + "Sat anF 19 01:15:15 UTC 2023", ""},
           {nvrm + "Sat Aug 32 01:15:15 UTC 2023", ""},
           {"", ""}})
    EXPECT_EQ(ztutil::DateOfNVIDIAModule(text), date) << text;
  for (const auto& [text, date] : std::vector<std::pair<string, string>>{
           {"#1 SMP PREEMPT_DYNAMIC Debian 6.1.55-1 (2023-09-29)", "20230929000000.000000-000"},
           {"#1 SMP Debian (2023-13-29)", ""},
           {"#1 SMP Debian (2023-1-29)", ""},
           {"#1 SMP (x) 2023-09-29", ""},
           {"#1 SMP Debian (2023-09-2", ""}})
    EXPECT_EQ(ztutil::DateOfKernel(text), date) << text;
}

// An answer of i915 or xe: the count, the rest of the header, and regions of class and size.
string Answer(std::uint32_t count, std::size_t header,
              const std::vector<std::pair<int, std::uint64_t>>& regions) {
  string answer(header + 88 * regions.size(), '\0');
  std::memcpy(answer.data(), &count, sizeof count);
  for (std::size_t i = 0; i < regions.size(); ++i) {
    answer[header + 88 * i] = static_cast<char>(regions[i].first);
    std::memcpy(&answer[header + 88 * i + 8], &regions[i].second, 8);
  }
  return answer;
}

TEST(SysfsText, MemoryRegions) {
  const string answer = Answer(3, 16, {{0, 1 << 20}, {1, 0x200000000}, {1, 5}});
  EXPECT_EQ(ztutil::SumOfDeviceRegions(answer, 16), 0x200000005u);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Answer(2, 8, {{0, 7}, {1, 9}}), 8), 9u);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Answer(0xFFFFFFFF, 16, {{1, 3}}), 16), 3u);
  EXPECT_EQ(ztutil::SumOfDeviceRegions(Answer(1, 16, {{1, 3}, {1, 4}}), 16), 3u);
  for (const std::size_t size : {0u, 3u, 15u, 16u, 103u})
    EXPECT_EQ(ztutil::SumOfDeviceRegions(Answer(1, 16, {{1, 3}}).substr(0, size), 16), 0u) << size;
}

}  // namespace
