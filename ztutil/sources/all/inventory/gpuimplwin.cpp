#include "system/standardstreams.h"

#include <kgx/opengltypes.h>
#include <ztutil/fmt.h>
#include <ztutil/gpuimplwin.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <ostream>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// A display device as the log shows it.
struct Shown {
  const KGX::OGL::DisplayDeviceKey& key;
};

std::ostream& operator<<(std::ostream& out, Shown shown) {
  return out << "{ DeviceName=" << ztutil::FmtString(shown.key.deviceName.c_str())
             << " DeviceString=" << ztutil::FmtString(shown.key.deviceString.c_str())
             << " DisplayID=" << ztutil::FmtString(shown.key.displayID.c_str()) << "}";
}

// Says the line in the log, where the flag is on, and on standard error.
void Report(const char* line) {
  ZT_LOG(gGPUProwler, line);
  ztutil::WriteStderrLine(line);
}

}  // namespace

boost::shared_ptr<GPUImpl> CreateGPUImpl() { return boost::make_shared<GPUImplWin>(); }

GPUContexts GPUImplWin::GetContexts() const {
  GPUContexts contexts;
  const unsigned count = KGX::OGL::Context::NumDisplayDevice();
  ZT_LOG(gGPUProwler, "kgxNumDevices=" << count);
  for (unsigned index = 0; index < count; ++index) {
    ZT_LOG(gGPUProwler, "kgxDeviceIndex=" << index);
    try {
      KGX::OGL::DisplayDeviceKey key;
      if (!KGX::OGL::Context::DisplayDevice(index, key)) continue;
      ZT_LOG(gGPUProwler, "creating ContextOffscreen for " << Shown{key});
      const auto context = boost::make_shared<KGX::OGL::ContextOffscreen>(key);
      ZT_LOG(gGPUProwler, "kgxDevice[" << index << "]=" << Shown{key});
      contexts[key.deviceString] = {context, key};
    } catch (...) {
      Report("ContextOffscreen exception caught and ignored.");
    }
  }
  return contexts;
}

std::vector<boost::shared_ptr<GPUImplWin>> GPUImplWin::MatchDevices(const GPUContexts& contexts,
                                                                    const std::vector<DXGIData>& dxgi,
                                                                    const std::vector<WMIData>& wmi) {
  std::vector<boost::shared_ptr<GPUImplWin>> impls;
  // The object of that name, a new one if there is none yet; null if the name has no context. An object made
  // for a WMI row has no DXGI name, so that another row of its name doesn't find it.
  const auto find = [&](const std::string& name) -> boost::shared_ptr<GPUImplWin> {
    const auto entry = contexts.find(name);
    if (entry == contexts.end()) return nullptr;
    for (const auto& impl : impls) {
      if (impl->GetGLName() == name) return impl;
    }
    impls.push_back(boost::make_shared<GPUImplWin>());
    impls.back()->fGLContext = entry->second.fContext;
    return impls.back();
  };

  for (const DXGIData& data : dxgi) {
    if (const auto impl = find(data.GetMatchName())) {
      impl->fDXGIData = data;
    } else {
      ZT_LOG(gGPUProwler, "KGX Device for DXGI " << data.GetMatchName() << " not found");
    }
  }
  for (const WMIData& data : wmi) {
    if (const auto impl = find(data.GetMatchName())) {
      impl->fWMIData = data;
    } else {
      ZT_LOG(gGPUProwler, "KGX Device for WMI " << data.GetMatchName() << " not found");
    }
  }
  return impls;
}

GLGPUList GPUImplWin::DoGetGPUs() const {
  GLGPUList gpus;
  GPUContexts contexts;
  try {
    const auto inventory = ztutil::CreateAdapterInventory();
    const std::vector<WMIData> wmi = WMIData::GetAllDevices(*inventory);
    ZT_LOG(gGPUProwler, "wmiNumDevices=" << wmi.size());
    const std::vector<DXGIData> dxgi = DXGIData::GetAllDevices(*inventory);
    ZT_LOG(gGPUProwler, "dxgiNumDevices=" << dxgi.size());
    contexts = GetContexts();
    ZT_LOG(gGPUProwler, "kgxNumContexts=" << contexts.size());
    for (const auto& impl : MatchDevices(contexts, dxgi, wmi))
      gpus.push_back(boost::make_shared<GLGPU>(impl));
  } catch (...) {
    Report("DoGetGPUs fails with exception");
  }
  if (gpus.empty() && !contexts.empty()) {
    ZT_LOG(gGPUProwler, "successful context creation but no matching WMI or DXGI devices found");
    const auto impl = boost::make_shared<GPUImplWin>();
    impl->fGLContext = contexts.begin()->second.fContext;
    gpus.push_back(boost::make_shared<GLGPU>(impl));
  }
  return gpus;
}

std::uint32_t GPUImplWin::DoGetGLMemoryMB() const {
  std::uint64_t glBytes = 0;
  const std::uint32_t vendor = fDXGIData.GetVendorID();
  if (vendor == kVendorAMD || vendor == kVendorNVIDIA) {
    const bool isAMD = vendor == kVendorAMD;
    try {
      // Both answers are in kilobytes, AMD's first value being the free memory.
      std::int32_t values[4] = {};
      DoGLGetIntegerv(
          isAMD ? KGX::OGL::kGL_TEXTURE_FREE_MEMORY_ATI : KGX::OGL::kGL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX,
          values);
      glBytes = static_cast<std::uint64_t>(std::int64_t{values[0]}) << 10;
    } catch (...) {
      ZT_LOG(gGPUProwler, "GPUImplWin::DoGetGLMemoryMB: vendorID=" << (isAMD ? "kVendorAMD" : "kVendorNVIDIA")
                                                                   << ", GLGetIntegerv failure");
    }
  }
  const auto wmiVRAM =
      static_cast<std::uint32_t>(std::max<std::uint64_t>(fWMIData.GetMemory(), glBytes) >> 20);
  const std::uint32_t dxgiVRAM = fDXGIData.GetMemory();
  ZT_LOG(gGPUProwler, "wmiVRAM=" << wmiVRAM << " dxgiVRAM=" << dxgiVRAM);
  return std::max(wmiVRAM, dxgiVRAM);
}

std::string GPUImplWin::DoGetGLName() const { return fDXGIData.GetName(); }

std::uint32_t GPUImplWin::DoGetGLVendorID() const { return fDXGIData.GetVendorID(); }

std::string GPUImplWin::DoGetGLDriverVersion() const { return fWMIData.fDriverVersion; }

std::uint32_t GPUImplWin::DoGetGLRendererID() const { return fDXGIData.GetDeviceID(); }

std::string GPUImplWin::DoGetGLDriver() const { return fWMIData.fInstalledDisplayDrivers; }

std::string GPUImplWin::DoGetGLDriverDate() const { return fWMIData.fDriverDate; }

std::string GPUImplWin::DoGetGLCaption() const { return fWMIData.fCaption; }

bool GPUImplWin::DoIsIntegratedGLGPU() const { return fDXGIData.IsIntegrated(); }

NativeGPUList GPUImplWin::DoGetNativeGPUs() const { return {}; }

std::string GPUImplWin::DoGetNativeName() const { return {}; }
