#include "fakedrivers.h"

#include <kgx/opengltypes.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>

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

WMIData WMI(const std::string& name, const std::string& driverVersion) {
  WMIData data;
  data.fName = name;
  data.fDriverVersion = driverVersion;
  return data;
}

// What became of the devices: "name:device:driver version" of each object.
std::vector<std::string> Match(const std::vector<std::string>& contextNames,
                               const std::vector<DXGIData>& dxgi, const std::vector<WMIData>& wmi) {
  GPUContexts contexts;
  for (const std::string& name : contextNames) contexts[name] = {};
  std::vector<std::string> result;
  for (const auto& impl : GPUImplWin::MatchDevices(contexts, dxgi, wmi)) {
    const GLGPU gpu(impl);
    result.push_back(gpu.GetName() + ":" + std::to_string(gpu.GetRendererID()) + ":" +
                     gpu.GetDriverVersion());
  }
  return result;
}

using Names = std::vector<std::string>;

TEST(Matching, JoinsByNameInTheOrderOfDXGI) {
  EXPECT_EQ(Match({"Intel", "NVIDIA"}, {DXGI("NVIDIA", kVendorNVIDIA, 1), DXGI("Intel", kVendorIntel, 2)},
                  {WMI("Intel", "10"), WMI("NVIDIA", "20")}),
            (Names{"NVIDIA:1:20", "Intel:2:10"}));
}

TEST(Matching, EqualCardsAreOneAndTheLastRecordWins) {
  EXPECT_EQ(Match({"Card"}, {DXGI("Card", kVendorAMD, 1), DXGI("Card", kVendorAMD, 2)},
                  {WMI("Card", "a"), WMI("Card", "b")}),
            (Names{"Card:2:b"}));
}

TEST(Matching, RowsWithoutADXGIRecordMakeAnObjectEach) {
  EXPECT_EQ(Match({"Card"}, {}, {WMI("Card", "a"), WMI("Card", "b")}), (Names{":0:a", ":0:b"}));
}

TEST(Matching, NamesCompareByteForByte) {
  EXPECT_EQ(Match({"Card"}, {DXGI("card", kVendorAMD)}, {WMI("Card ", "a"), WMI("", "b")}), Names{});
  EXPECT_EQ(Match({}, {DXGI("Card", kVendorAMD)}, {WMI("Card", "a")}), Names{});
}

TEST(DXGIData, IntegratedIsARuleOfVendorAndMemory) {
  const struct {
    std::uint32_t vendor;
    std::size_t dedicatedMB;
    bool integrated;
  } rows[] = {
      {kVendorIntel, 127, true}, {kVendorIntel, 128, false}, {kVendorAMD, 0, true},
      {kVendorAMD, 128, false},  {kVendorNVIDIA, 0, false},  {0, 0, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DXGI("", row.vendor, 0, row.dedicatedMB).IsIntegrated(), row.integrated)
        << row.vendor << " " << row.dedicatedMB;
  }
}

TEST(DXGIData, MemoryGivesAnIntegratedGPUCreditForSharedRAM) {
  // A quarter of the RAM counts, which on any machine that runs this is more than 100 MB.
  const struct {
    std::uint32_t vendor;
    std::size_t dedicatedMB, sharedMB;
    std::uint32_t megabytes;
  } rows[] = {
      {kVendorIntel, 64, 100, 164},  {kVendorIntel, 64, 0, 64},        {kVendorIntel, 128, 100, 128},
      {kVendorAMD, 2048, 100, 2048}, {kVendorNVIDIA, 8192, 100, 8192}, {0, 0, 100, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DXGI("", row.vendor, 0, row.dedicatedMB, row.sharedMB).GetMemory(), row.megabytes)
        << row.vendor << " " << row.dedicatedMB << " " << row.sharedMB;
  }
  DXGIData system = DXGI("", kVendorIntel, 0, 0, 100);
  system.fAdapterDesc.DedicatedSystemMemory = 1024 * kMB - 1;
  EXPECT_EQ(system.GetMemory(), 1123u);
  ++system.fAdapterDesc.DedicatedSystemMemory;
  EXPECT_EQ(system.GetMemory(), 1024u);
}

TEST(DXGIData, CreditIsAQuarterOfTheRAMAndHasBounds) {
  const struct {
    std::uint64_t ownMB, sharedMB, ramMB, megabytes;
  } rows[] = {
      {64, 8192, 16384, 2048}, {64, 512, 4096, 576},     {64, 8192, 4096, 1088},
      {0, 2047, 65536, 2047},  {0, 2049, 65536, 2048},   {127, 1921, 8192, 2048},
      {127, 1920, 8192, 2047}, {1023, 1 << 20, 4, 1024}, {0, 1, 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DXGIData::AddSharedMemory(row.ownMB * kMB, row.sharedMB * kMB, row.ramMB * kMB),
              row.megabytes * kMB)
        << row.ownMB << " " << row.sharedMB << " " << row.ramMB;
  }
}

TEST(Memory, TheLargestOfThreeAnswersCounts) {
  using KGX::OGL::kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX;
  using KGX::OGL::kGL_TEXTURE_FREE_MEMORY_ATI;
  const struct {
    std::uint32_t vendor;
    std::size_t dedicatedMB;
    std::uint32_t wmiBytes;
    std::map<KGX::OGL::GLenum, KGX::OGL::GLint> gl;  // in KB
    std::uint32_t megabytes;
  } rows[] = {
      {kVendorNVIDIA, 8192, 4293918720, {{kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, 8388608}}, 8192},
      {kVendorNVIDIA, 0, 0, {{kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, 8388608}}, 8192},
      {kVendorNVIDIA, 0, 0, {{kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, 2047}}, 1},
      {kVendorNVIDIA, 4096, 4293918720, {}, 4096},  // OpenGL refuses
      {kVendorNVIDIA, 0, 4293918720, {}, 4095},
      {kVendorNVIDIA, 0, 0, {{kGL_TEXTURE_FREE_MEMORY_ATI, 8388608}}, 0},
      {kVendorAMD, 512, 536870912, {{kGL_TEXTURE_FREE_MEMORY_ATI, 1048576}}, 1024},
      {kVendorAMD, 512, 0, {{kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, 1048576}}, 512},
      {kVendorIntel, 256, 0, {{kGL_TEXTURE_FREE_MEMORY_ATI, 1048576}}, 256},
  };
  for (const auto& row : rows) {
    FakeGL gl;
    gl.integers = row.gl;
    std::vector<std::string> events;
    GPUContexts contexts;
    contexts["Card"] = {boost::make_shared<FakeContext>("Card", events), {}};
    WMIData wmi = WMI("Card", "");
    wmi.fAdapterRAM = row.wmiBytes;
    const auto impls =
        GPUImplWin::MatchDevices(contexts, {DXGI("Card", row.vendor, 0, row.dedicatedMB)}, {wmi});
    EXPECT_EQ(impls.at(0)->GetGLMemoryMB(), row.megabytes) << row.vendor << " " << row.megabytes;
    EXPECT_EQ(events.empty(), row.vendor == kVendorIntel);
  }
  EXPECT_EQ(GPUImplWin().GetGLMemoryMB(), 0u);
}

}  // namespace
