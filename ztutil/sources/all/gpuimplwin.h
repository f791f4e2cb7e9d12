// GPUs with what the operating system's inventory knows of their adapters. The records are those that Windows
// keeps; other systems fill the same ones from their own sources.
#ifndef ZTUTIL_GPUIMPLWIN_H_
#define ZTUTIL_GPUIMPLWIN_H_

#include "gpuimplhardware.h"

#include <kgx/context.h>

#include <cstddef>
#include <map>
#include <vector>

// An adapter's record.
class GPUData {
 public:
  virtual ~GPUData() = default;

  // The name by which the record finds its display device.
  virtual std::string GetMatchName() const = 0;
  // Bytes in a WMIData, MB in a DXGIData.
  virtual std::uint32_t GetMemory() const = 0;
  virtual std::uint32_t GetVendorID() const = 0;
  virtual std::uint32_t GetDeviceID() const = 0;
  virtual std::string GetName() const = 0;
};

// A row of Win32_VideoController.
class WMIData : public GPUData {
 public:
  // The rows of all adapters, as far as they could be read. Never throws what reading them throws.
  static std::vector<WMIData> GetAllDevices();

  // GPUData
  std::string GetMatchName() const override { return GetName(); }
  std::uint32_t GetMemory() const override { return fAdapterRAM; }
  std::uint32_t GetVendorID() const override { return fVendorID; }
  std::uint32_t GetDeviceID() const override { return fDeviceID; }
  std::string GetName() const override { return fName; }

  std::uint32_t fAdapterRAM = 0;  // bytes
  std::uint32_t fVendorID = 0;
  std::uint32_t fDeviceID = 0;
  std::string fName;
  std::string fCaption;
  std::string fInstalledDisplayDrivers;
  std::string fVideoModeDescription;
  std::string fDriverVersion;
  std::string fDriverDate;
};

// A display adapter as DXGI describes it.
class DXGIData : public GPUData {
 public:
  // DXGI's own record in plain types.
  struct DXGI_ADAPTER_DESC {
    char16_t Description[128];
    std::uint32_t VendorId;
    std::uint32_t DeviceId;
    std::uint32_t SubSysId;
    std::uint32_t Revision;
    std::size_t DedicatedVideoMemory;
    std::size_t DedicatedSystemMemory;
    std::size_t SharedSystemMemory;
    std::uint64_t AdapterLuid;
  };

  // The adapters that drive a display, as far as they could be read. Never throws what reading them throws.
  static std::vector<DXGIData> GetAllDevices();

  // GPUData
  std::string GetMatchName() const override { return GetName(); }
  // Dedicated memory in MB. An integrated GPU with less than 1 GiB is given credit for a quarter of the
  // installed RAM, up to what it shares and up to 2 GiB in all. Throws std::runtime_error if the system
  // doesn't tell how much RAM there is.
  std::uint32_t GetMemory() const override;
  std::uint32_t GetVendorID() const override { return fAdapterDesc.VendorId; }
  std::uint32_t GetDeviceID() const override { return fAdapterDesc.DeviceId; }
  std::string GetName() const override;

  // A rule of thumb: an AMD or Intel GPU with less than 128 MB of its own.
  bool IsIntegrated() const;

  DXGI_ADAPTER_DESC fAdapterDesc{};
};

// A context and the display device that it was made on.
struct GPUContextEntry {
  boost::shared_ptr<KGX::OGL::Context> fContext;
  KGX::OGL::DisplayDeviceKey fKey;
};

// By device string, so that of equal cards one is left.
using GPUContexts = std::map<std::string, GPUContextEntry>;

class GPUImplWin : public GPUImplHardware {
 public:
  // Joins the records with the contexts by name, exactly: an object for each name that has a context, in the
  // order of the DXGI records and then of the WMI rows. What finds no context is told to the log.
  static std::vector<boost::shared_ptr<GPUImplWin>> MatchDevices(const GPUContexts& contexts,
                                                                 const std::vector<DXGIData>& dxgi,
                                                                 const std::vector<WMIData>& wmi);

 protected:
  // GPUImpl
  GLGPUList DoGetGPUs() const override;
  std::uint32_t DoGetGLMemoryMB() const override;
  std::string DoGetGLName() const override;
  std::uint32_t DoGetGLVendorID() const override;
  std::string DoGetGLDriverVersion() const override;
  std::uint32_t DoGetGLRendererID() const override;
  std::string DoGetGLDriver() const override;
  std::string DoGetGLDriverDate() const override;
  std::string DoGetGLCaption() const override;
  bool DoIsIntegratedGLGPU() const override;
  NativeGPUList DoGetNativeGPUs() const override;
  std::string DoGetNativeName() const override;

 private:
  // A context for each display device on which one can be made. A device that fails is told to the log and to
  // standard error, and left out.
  GPUContexts GetContexts() const;

  WMIData fWMIData;
  DXGIData fDXGIData;
};

#endif  // ZTUTIL_GPUIMPLWIN_H_
