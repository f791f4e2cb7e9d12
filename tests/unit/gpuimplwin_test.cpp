#include "fakedrivers.h"
#include "memorylogger.h"

#include <kgx/opengltypes.h>
#include <ztutil/debugflag.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace {

constexpr std::size_t kMB = 1048576;

DXGIData DXGI(const std::string& name, std::uint32_t vendor, std::uint32_t device = 0,
              std::size_t dedicatedMB = 0, std::size_t sharedMB = 0) {
  DXGIData data;
  std::copy(name.begin(), name.end(), data.fAdapterDesc.Description);
  data.fAdapterDesc.VendorId = vendor;
  data.fAdapterDesc.DeviceId = device;
  data.fAdapterDesc.DedicatedVideoMemory = dedicatedMB * kMB;
  data.fAdapterDesc.SharedSystemMemory = sharedMB * kMB;
  return data;
}

TEST(Matching, JoinsTheRecordsByNameWhereThereIsAContext) {
  const struct {
    std::vector<std::string> contexts;
    std::vector<std::pair<std::string, std::uint32_t>> dxgi;  // names and devices
    std::vector<std::pair<std::string, std::string>> wmi;     // names and driver versions
    const char* objects;
    const char* log = "";
  } rows[] = {
      // DXGI's order counts.
      {{"A", "B"}, {{"B", 1}, {"A", 2}}, {{"A", "10"}, {"B", "20"}}, "B:1:20 A:2:10 "},
      // Equal cards are one, but a row that DXGI has no record for makes an object.
      {{"Card"}, {{"Card", 1}, {"Card", 2}}, {{"Card", "a"}, {"Card", "b"}}, "Card:2:b "},
      {{"Card"}, {}, {{"Card", "a"}, {"Card", "b"}}, ":0:a :0:b "},
      {{"Card"},
       {{"card", 1}},
       {{"Card ", "a"}, {"", "b"}},
       "",
       "KGX Device for DXGI card not found\nKGX Device for WMI Card  not found\nKGX Device for WMI  not "
       "found\n"},
  };
  ztutil::DebugFlag flag{"GPUProwler"};
  for (const auto& row : rows) {
    const MemoryLogger log;
    GPUContexts contexts;
    for (const std::string& name : row.contexts) contexts[name] = {};
    std::vector<DXGIData> dxgi;
    for (const auto& [name, device] : row.dxgi) dxgi.push_back(DXGI(name, kVendorAMD, device));
    std::vector<WMIData> wmi(row.wmi.size());
    for (std::size_t i = 0; i < wmi.size(); ++i) std::tie(wmi[i].fName, wmi[i].fDriverVersion) = row.wmi[i];
    std::string objects;
    ztutil::DebugFlagValue(flag) = 1;
    const auto impls = GPUImplWin::MatchDevices(contexts, dxgi, wmi);
    ztutil::DebugFlagValue(flag) = 0;
    for (const auto& impl : impls)
      objects += impl->GetGLName() + ":" + std::to_string(impl->GetGLRendererID()) + ":" +
                 impl->GetGLDriverVersion() + " ";
    EXPECT_EQ(objects, row.objects);
    EXPECT_EQ(log.text, row.log);
  }
}

TEST(DXGIData, OnlyAnIntegratedGPUIsGivenCreditForSharedRAM) {
  // A quarter of the RAM counts, which on any machine that runs this is more than the 100 MB that are shared.
  const struct {
    std::uint32_t vendor;
    std::size_t dedicatedMB;
    std::uint32_t megabytes;
  } rows[] = {{kVendorIntel, 127, 227}, {kVendorIntel, 128, 128}, {kVendorAMD, 0, 100},
              {kVendorAMD, 2048, 2048}, {kVendorNVIDIA, 0, 0},    {0, 0, 0}};
  for (const auto& row : rows)
    EXPECT_EQ(DXGI("", row.vendor, 0, row.dedicatedMB, 100).GetMemory(), row.megabytes)
        << row.vendor << " " << row.dedicatedMB;
  DXGIData system = DXGI("", kVendorIntel, 0, 0, 100);
  system.fAdapterDesc.DedicatedSystemMemory = 1024 * kMB - 1;
  EXPECT_EQ(system.GetMemory(), 1123u);
  ++system.fAdapterDesc.DedicatedSystemMemory;
  EXPECT_EQ(system.GetMemory(), 1024u);
}

TEST(DXGIData, CreditIsAQuarterOfTheRAMAndHasBounds) {
  const struct {
    std::uint64_t ownMB, sharedMB, ramMB, megabytes;
  } rows[] = {{64, 8192, 16384, 2048}, {64, 512, 4096, 576},   {64, 8192, 4096, 1088},
              {0, 2047, 65536, 2047},  {0, 2049, 65536, 2048}, {127, 1921, 8192, 2048}};
  for (const auto& row : rows)
    EXPECT_EQ(DXGIData::AddSharedMemory(row.ownMB * kMB, row.sharedMB * kMB, row.ramMB * kMB),
              row.megabytes * kMB)
        << row.ownMB << " " << row.sharedMB << " " << row.ramMB;
}

TEST(Memory, TheLargestOfThreeAnswersCounts) {
  constexpr auto kNVX = KGX::OGL::kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX;
  constexpr auto kATI = KGX::OGL::kGL_TEXTURE_FREE_MEMORY_ATI;
  const struct {
    std::uint32_t vendor;
    std::size_t dedicatedMB;
    std::uint32_t wmiBytes;
    std::map<KGX::OGL::GLenum, KGX::OGL::GLint> gl;  // in KB; OpenGL refuses what isn't there
    std::uint32_t megabytes;
  } rows[] = {
      {kVendorNVIDIA, 0, 0, {{kNVX, 8388608}}, 8192},
      {kVendorNVIDIA, 0, 0, {{kNVX, 2047}}, 1},
      {kVendorNVIDIA, 0, 4293918720, {{kATI, 8388608}}, 4095},
      {kVendorAMD, 512, 536870912, {{kATI, 1048576}}, 1024},
      {kVendorIntel, 256, 0, {{kATI, 1048576}, {kNVX, 1048576}}, 256},
  };
  for (const auto& row : rows) {
    FakeGL gl;
    gl.integers = row.gl;
    std::vector<std::string> events;
    const GPUContexts contexts = {{"Card", {boost::make_shared<FakeContext>("Card", events), {}}}};
    WMIData wmi;
    wmi.fName = "Card";
    wmi.fCaption = "Caption";
    wmi.fAdapterRAM = row.wmiBytes;
    const auto impls =
        GPUImplWin::MatchDevices(contexts, {DXGI("Card", row.vendor, 0, row.dedicatedMB)}, {wmi});
    EXPECT_EQ(impls.at(0)->GetGLMemoryMB(), row.megabytes) << row.vendor << " " << row.megabytes;
    EXPECT_EQ(events.empty(), row.vendor == kVendorIntel);
    EXPECT_EQ(impls.at(0)->GetGLCaption(), "Caption");
  }
}

}  // namespace
