#include <ztutil/fmt.h>
#include <ztutil/gpuimplwin.h>
#include <ztutil/ztlogging.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <ostream>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// Below this a GPU of the vendors that make both kinds is taken as integrated.
constexpr std::int32_t minDedicatedMBforDiscreteGPU = 128;

// The memory rule: where RAM is added, how much of it, and the bound of the sum.
constexpr std::uint64_t kMinNumBytesForDiscrete = 0x40000000;
constexpr std::uint64_t kMaxGPUMemoryBytes = 0x80000000;
constexpr double kRamShareForGPU = 0.25;

// The text of a field that may be full.
template <std::size_t size>
std::string FieldText(const char16_t (&field)[size]) {
  return ztutil::QuoteWideString(std::u16string(std::begin(field), std::end(field)).c_str());
}

// The records as the log shows them.

std::ostream& operator<<(std::ostream& out, const ztutil::DXGI_ADAPTER_DESC& desc) {
  return out << "{ VendorID=" << desc.VendorId << " DeviceId=" << desc.DeviceId
             << " SubSysId=" << desc.SubSysId << " Revision=" << desc.Revision
             << " DedicatedVideoMemory=" << desc.DedicatedVideoMemory
             << " DedicatedSystemMemory=" << desc.DedicatedSystemMemory
             << " SharedSystemMemory=" << desc.SharedSystemMemory
             << " Description=" << FieldText(desc.Description) << "}";
}

// The outer brace stays open: nothing follows the name.
std::ostream& operator<<(std::ostream& out, const ztutil::DXGI_OUTPUT_DESC& desc) {
  const auto& place = desc.DesktopCoordinates;
  return out << "{ DesktopCoordinates={ L=" << place.left << " T=" << place.top << " R=" << place.right
             << " B=" << place.bottom << " W=" << std::int64_t{place.right} - place.left
             << " H=" << std::int64_t{place.bottom} - place.top
             << " } AttachedToDesktop=" << desc.AttachedToDesktop << " Rotation=" << desc.Rotation
             << " Monitor=" << desc.Monitor << " DeviceName=" << FieldText(desc.DeviceName);
}

unsigned CountDisplays(ztutil::Adapter& adapter) {
  unsigned count = 0;
  for (unsigned index = 0; const auto output = adapter.EnumOutputs(index); ++index) {
    ztutil::DXGI_OUTPUT_DESC desc{};
    if (!output->GetDesc(desc)) continue;
    ZT_LOG(gGPUProwler, "output[" << index << "]" << desc);
    if (desc.AttachedToDesktop != 0) ++count;
  }
  return count;
}

void ReadAdapters(ztutil::AdapterInventory& inventory, std::vector<DXGIData>& devices) {
  const auto factory = inventory.CreateFactory();
  if (factory == nullptr) return FailRequirement("CreateGXGIFactory failed");
  for (unsigned index = 0; const auto adapter = factory->EnumAdapters(index); ++index) {
    DXGIData device;
    if (!adapter->GetDesc(device.fAdapterDesc)) FailRequirement("pAdapter->GetDesc failed");
    ZT_LOG(gGPUProwler, "adapter[" << index << "]" << device.fAdapterDesc);
    const unsigned displays = CountDisplays(*adapter);
    if (displays == 0) continue;
    ZT_LOG(gGPUProwler, "adapter[" << index << "] displays: " << displays);
    devices.push_back(device);
  }
}

}  // namespace

std::vector<DXGIData> DXGIData::GetAllDevices() { return GetAllDevices(*ztutil::CreateAdapterInventory()); }

std::vector<DXGIData> DXGIData::GetAllDevices(ztutil::AdapterInventory& inventory) {
  std::vector<DXGIData> devices;
  try {
    ReadAdapters(inventory, devices);
  } catch (const std::exception& e) {
    ZT_LOG(gGPUProwler, "DXGIData::GetAllDevices() exception: " << e.what());
  } catch (...) {
    ZT_LOG(gGPUProwler, "DXGIData::GetAllDevices() exception");
  }
  return devices;
}

std::uint32_t DXGIData::GetMemory() const {
  std::uint64_t numBytes = fAdapterDesc.DedicatedVideoMemory + fAdapterDesc.DedicatedSystemMemory;
  if (numBytes < kMinNumBytesForDiscrete && fAdapterDesc.SharedSystemMemory > 0 && IsIntegrated()) {
    numBytes = AddSharedMemory(numBytes, fAdapterDesc.SharedSystemMemory, GetInstalledRAM());
  }
  const auto megabytes = static_cast<std::uint32_t>(numBytes >> 20);
  ZT_LOG(gGPUProwler, "DXGI RAM=" << megabytes << "MB");
  return megabytes;
}

std::string DXGIData::GetName() const { return FieldText(fAdapterDesc.Description); }

bool DXGIData::IsIntegrated() const {
  ZT_LOG(gGPUProwler, "fAdapterDesc.VendorId=" << fAdapterDesc.VendorId);
  bool integrated = false;
  if (fAdapterDesc.VendorId == kVendorAMD || fAdapterDesc.VendorId == kVendorIntel) {
    ZT_LOG(gGPUProwler, "minDedicatedMBforDiscreteGPU=" << minDedicatedMBforDiscreteGPU);
    const auto dedicatedMB = static_cast<std::int32_t>(fAdapterDesc.DedicatedVideoMemory >> 20);
    ZT_LOG(gGPUProwler, "dedicatedMB=" << dedicatedMB);
    integrated = dedicatedMB < minDedicatedMBforDiscreteGPU;
  }
  ZT_LOG(gGPUProwler, "Looks like " << (integrated ? "an integrated" : "a discrete") << " GPU");
  return integrated;
}

std::uint64_t DXGIData::AddSharedMemory(std::uint64_t numBytes, std::uint64_t shared,
                                        std::uint64_t installedRam) {
  ZT_LOG(gGPUProwler, "installedRam=" << installedRam);
  const auto considered = static_cast<std::uint64_t>(static_cast<double>(installedRam) * kRamShareForGPU);
  ZT_LOG(gGPUProwler, "installedRamToConsiderForGPU=" << considered);
  const std::uint64_t usable = std::min(considered, kMaxGPUMemoryBytes);
  ZT_LOG(gGPUProwler, "installedRamThatGPUCanUse=" << usable);
  numBytes += std::min(usable, shared);
  ZT_LOG(gGPUProwler, "numBytes=" << numBytes);
  return std::min(numBytes, kMaxGPUMemoryBytes);
}
