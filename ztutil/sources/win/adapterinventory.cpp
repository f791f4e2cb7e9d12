// The adapters of a Windows machine: DXGI's, and WMI's rows of Win32_VideoController.
#include "windowsheader.h"

#include <ztutil/adapterinventory.h>
#include <ztutil/gpuimpl.h>

#include <dxgi.h>
#include <objbase.h>
#include <oleauto.h>
#include <wbemidl.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace ztutil {

namespace {

struct Release {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using ComPtr = std::unique_ptr<Interface, Release>;

// What the call gives, or null if it fails. It takes the address of a plain pointer.
template <class Interface, class Call>
ComPtr<Interface> Get(Call call) {
  Interface* object = nullptr;
  return ComPtr<Interface>(SUCCEEDED(call(&object)) ? object : nullptr);
}

void Require(HRESULT status, const char* message) {
  if (FAILED(status)) FailRequirement(message);
}

// As Get, where a failure fails the requirement.
template <class Interface, class Call>
ComPtr<Interface> Require(const char* message, Call call) {
  Interface* object = nullptr;
  Require(call(&object), message);
  return ComPtr<Interface>(object);
}

// Copies a text field of a record.
template <std::size_t size>
void Copy(const WCHAR (&from)[size], char16_t (&to)[size]) {
  std::copy(std::begin(from), std::end(from), to);
}

class DXGIOutput : public AdapterOutput {
 public:
  explicit DXGIOutput(ComPtr<IDXGIOutput> output) : fOutput(std::move(output)) {}

  bool GetDesc(DXGI_OUTPUT_DESC& desc) override {
    ::DXGI_OUTPUT_DESC system{};
    if (FAILED(fOutput->GetDesc(&system))) return false;
    Copy(system.DeviceName, desc.DeviceName);
    const RECT& place = system.DesktopCoordinates;
    desc.DesktopCoordinates = {place.left, place.top, place.right, place.bottom};
    desc.AttachedToDesktop = system.AttachedToDesktop;
    desc.Rotation = system.Rotation;
    desc.Monitor = system.Monitor;
    return true;
  }

 private:
  const ComPtr<IDXGIOutput> fOutput;
};

class DXGIAdapter : public Adapter {
 public:
  explicit DXGIAdapter(ComPtr<IDXGIAdapter> adapter) : fAdapter(std::move(adapter)) {}

  bool GetDesc(DXGI_ADAPTER_DESC& desc) override {
    ::DXGI_ADAPTER_DESC system{};
    if (FAILED(fAdapter->GetDesc(&system))) return false;
    Copy(system.Description, desc.Description);
    desc.VendorId = system.VendorId;
    desc.DeviceId = system.DeviceId;
    desc.SubSysId = system.SubSysId;
    desc.Revision = system.Revision;
    desc.DedicatedVideoMemory = system.DedicatedVideoMemory;
    desc.DedicatedSystemMemory = system.DedicatedSystemMemory;
    desc.SharedSystemMemory = system.SharedSystemMemory;
    static_assert(sizeof desc.AdapterLuid == sizeof system.AdapterLuid);
    std::memcpy(&desc.AdapterLuid, &system.AdapterLuid, sizeof desc.AdapterLuid);
    return true;
  }

  std::unique_ptr<AdapterOutput> EnumOutputs(unsigned index) override {
    auto output = Get<IDXGIOutput>([&](auto out) { return fAdapter->EnumOutputs(index, out); });
    if (output == nullptr) return nullptr;
    return std::make_unique<DXGIOutput>(std::move(output));
  }

 private:
  const ComPtr<IDXGIAdapter> fAdapter;
};

class DXGIFactory : public AdapterFactory {
 public:
  explicit DXGIFactory(ComPtr<IDXGIFactory> factory) : fFactory(std::move(factory)) {}

  std::unique_ptr<Adapter> EnumAdapters(unsigned index) override {
    auto adapter = Get<IDXGIAdapter>([&](auto out) { return fFactory->EnumAdapters(index, out); });
    if (adapter == nullptr) return nullptr;
    return std::make_unique<DXGIAdapter>(std::move(adapter));
  }

 private:
  const ComPtr<IDXGIFactory> fFactory;
};

class Com {
 public:
  Com() { Require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx"); }
  ~Com() { CoUninitialize(); }
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
};

class Bstr {
 public:
  explicit Bstr(const wchar_t* text) : fText(SysAllocString(text)) {}
  ~Bstr() { SysFreeString(fText); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;

  BSTR Text() const { return fText; }

 private:
  BSTR const fText;
};

class Variant {
 public:
  Variant() { VariantInit(&fValue); }
  ~Variant() { VariantClear(&fValue); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;

  VARIANT* Address() { return &fValue; }
  const VARIANT* operator->() const { return &fValue; }

 private:
  VARIANT fValue;
};

class WMIRow : public AdapterRow {
 public:
  explicit WMIRow(ComPtr<IWbemClassObject> row) : fRow(std::move(row)) {}

  RowProperty Get(const char* name) override {
    Variant value;
    RowProperty property;
    const std::wstring wideName(name, name + std::strlen(name));
    property.status = fRow->Get(wideName.c_str(), 0, value.Address(), nullptr, nullptr);
    property.type = value->vt;
    if (value->vt == VT_I4) property.number = value->lVal;
    if (value->vt == VT_BSTR)
      property.text.assign(value->bstrVal, value->bstrVal + SysStringLen(value->bstrVal));
    return property;
  }

 private:
  const ComPtr<IWbemClassObject> fRow;
};

ComPtr<IWbemServices> Connect(IWbemLocator& locator) {
  auto services = Require<IWbemServices>("pLoc->ConnectServer", [&](auto out) {
    const Bstr resource(L"ROOT\\CIMV2");
    return locator.ConnectServer(resource.Text(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, out);
  });
  Require(CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                            RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE),
          "Could not set proxy blanket.");
  return services;
}

class WMIRows : public AdapterRows {
 public:
  WMIRows()
      : fLocator(Require<IWbemLocator>("CoCreateInstance",
                                       [](auto out) {
                                         return CoCreateInstance(__uuidof(WbemLocator), nullptr,
                                                                 CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                                                 __uuidof(IWbemLocator),
                                                                 reinterpret_cast<void**>(out));
                                       })),
        fServices(Connect(*fLocator)),
        fEnumerator(Require<IEnumWbemClassObject>("pSvc->ExecQuery", [this](auto out) {
          const Bstr language(L"WQL");
          const Bstr query(L"SELECT * FROM Win32_VideoController");
          return fServices->ExecQuery(language.Text(), query.Text(),
                                      WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, out);
        })) {}

  bool IsThereAnything() const { return fEnumerator != nullptr; }

  std::unique_ptr<AdapterRow> Next() override {
    auto row = Require<IWbemClassObject>("pEnumerator->Next", [this](auto out) {
      ULONG count = 0;
      return fEnumerator->Next(static_cast<LONG>(WBEM_INFINITE), 1, out, &count);
    });
    if (row == nullptr) return nullptr;
    return std::make_unique<WMIRow>(std::move(row));
  }

 private:
  const Com fCom;  // the others need it
  const ComPtr<IWbemLocator> fLocator;
  const ComPtr<IWbemServices> fServices;
  const ComPtr<IEnumWbemClassObject> fEnumerator;
};

class WindowsInventory : public AdapterInventory {
 public:
  std::unique_ptr<AdapterFactory> CreateFactory() override {
    auto factory = Get<IDXGIFactory>(
        [](auto out) { return CreateDXGIFactory(__uuidof(IDXGIFactory), reinterpret_cast<void**>(out)); });
    if (factory == nullptr) return nullptr;
    return std::make_unique<DXGIFactory>(std::move(factory));
  }

  std::unique_ptr<AdapterRows> QueryRows() override {
    auto rows = std::make_unique<WMIRows>();
    if (!rows->IsThereAnything()) return nullptr;
    return rows;
  }
};

}  // namespace

std::unique_ptr<AdapterInventory> CreateAdapterInventory() { return std::make_unique<WindowsInventory>(); }

}  // namespace ztutil
