#include <ztutil/gpuimplwin.h>

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
  const auto quarterMB = static_cast<std::uint32_t>(GetInstalledRAM() / 4 / kMB);
  EXPECT_EQ(DXGI("", kVendorIntel, 0, 64, 1u << 20).GetMemory(), std::min(quarterMB + 64, 2048u));
}

}  // namespace
