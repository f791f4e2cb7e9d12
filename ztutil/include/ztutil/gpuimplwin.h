// GPUs (gpuimpl.h) with what the operating system's inventory knows of their adapters, and the rules that
// join the two. The records are those that Windows keeps; other systems fill the same ones from their own
// sources.
#ifndef ZTUTIL_GPUIMPLWIN_H_
#define ZTUTIL_GPUIMPLWIN_H_

#include "adapterinventory.h"
#include "gpuimplhardware.h"

#include <kgx/context.h>

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
  // The rows of all adapters, as far as they could be read: what goes wrong ends the reading and is told to
  // the log. A row whose status is "Error" is left out. The ids are those of the adapter at the row's place
  // among the rows kept, which may be another adapter; both are 0 where there is none.
  static std::vector<WMIData> GetAllDevices();
  static std::vector<WMIData> GetAllDevices(ztutil::AdapterInventory& inventory);

  WMIData() = default;
  // What can't be read of the row stays 0 or empty.
  WMIData(ztutil::AdapterRow& row, std::uint32_t vendorID, std::uint32_t deviceID);

  // The value of a property, if it can be read and is of that type; else tells the log, leaves `out` as it is
  // and gives false. A text ends at its first NUL; units that aren't printable ASCII become \x and four
  // digits.
  static bool GetIntProperty(ztutil::AdapterRow& row, const char* name, std::uint32_t& out);
  static bool GetStrProperty(ztutil::AdapterRow& row, const char* name, std::string& out);

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
  // The adapters that drive a display, as far as they could be read: what goes wrong ends the reading and is
  // told to the log.
  static std::vector<DXGIData> GetAllDevices();
  static std::vector<DXGIData> GetAllDevices(ztutil::AdapterInventory& inventory);

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

  // The memory of an integrated GPU that has and shares so many bytes, on a machine with so much RAM.
  static std::uint64_t AddSharedMemory(std::uint64_t numBytes, std::uint64_t shared,
                                       std::uint64_t installedRam);

  ztutil::DXGI_ADAPTER_DESC fAdapterDesc{};
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
