#include <ztutil/fmt.h>
#include <ztutil/gpuimplwin.h>
#include <ztutil/ztlogging.h>

#include <exception>
#include <optional>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// Another escape than that of Fmt: quotes and backslashes stand for themselves.
std::string RowText(const std::u16string& wide) {
  std::string text;
  for (const char16_t unit : wide) {
    if (unit == 0) break;
    if (unit >= ' ' && unit <= '~') {
      text += static_cast<char>(unit);
    } else {
      text += "\\x" + ztutil::FmtUInt16(unit, "%04x");
    }
  }
  return text;
}

// The property, if it can be read and is of that type.
std::optional<ztutil::RowProperty> GetProperty(ztutil::AdapterRow& row, const char* name,
                                               std::uint16_t type) {
  ztutil::RowProperty property = row.Get(name);
  if (property.status >= 0 && property.type == type) return property;
  ZT_LOG(gGPUProwler,
         "WIData::GetProperty L\"" << name << "\": hr=" << property.status << ", type=" << property.type);
  return std::nullopt;
}

// The ids of the adapter at that place, for a row that knows only its own texts.
ztutil::DXGI_ADAPTER_DESC AdapterAt(ztutil::AdapterFactory& factory, std::size_t place) {
  ztutil::DXGI_ADAPTER_DESC desc{};
  const auto adapter = factory.EnumAdapters(static_cast<unsigned>(place));
  if (adapter != nullptr && !adapter->GetDesc(desc)) FailRequirement("theIDXGIAdapter->GetDesc");
  return desc;
}

bool IsToBeSkipped(ztutil::AdapterRow& row) {
  std::string status;
  WMIData::GetStrProperty(row, "Status", status);
  if (status != "OK") {
    ZT_LOG(gGPUProwler, "WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"" << status << "\"");
  }
  return status == "Error";
}

void ReadRows(ztutil::AdapterInventory& inventory, std::vector<WMIData>& devices) {
  const auto factory = inventory.CreateFactory();
  if (factory == nullptr) return FailRequirement("CreateDXGIFactory");
  const auto rows = inventory.QueryRows();
  if (rows == nullptr) return;
  while (const auto row = rows->Next()) {
    if (IsToBeSkipped(*row)) continue;
    const ztutil::DXGI_ADAPTER_DESC desc = AdapterAt(*factory, devices.size());
    devices.emplace_back(*row, desc.VendorId, desc.DeviceId);
  }
}

}  // namespace

std::vector<WMIData> WMIData::GetAllDevices() { return GetAllDevices(*ztutil::CreateAdapterInventory()); }

std::vector<WMIData> WMIData::GetAllDevices(ztutil::AdapterInventory& inventory) {
  std::vector<WMIData> devices;
  try {
    ReadRows(inventory, devices);
  } catch (const std::exception& e) {
    ZT_LOG(gGPUProwler, "WMIData::GetAllDevices() exception: " << e.what());
  } catch (...) {
    ZT_LOG(gGPUProwler, "WMIData::GetAllDevices() exception");
  }
  return devices;
}

WMIData::WMIData(ztutil::AdapterRow& row, std::uint32_t vendorID, std::uint32_t deviceID)
    : fVendorID(vendorID), fDeviceID(deviceID) {
  GetIntProperty(row, "AdapterRAM", fAdapterRAM);
  GetStrProperty(row, "Name", fName);
  GetStrProperty(row, "Caption", fCaption);
  GetStrProperty(row, "InstalledDisplayDrivers", fInstalledDisplayDrivers);
  GetStrProperty(row, "VideoModeDescription", fVideoModeDescription);
  GetStrProperty(row, "DriverVersion", fDriverVersion);
  GetStrProperty(row, "DriverDate", fDriverDate);
}

bool WMIData::GetIntProperty(ztutil::AdapterRow& row, const char* name, std::uint32_t& out) {
  const auto property = GetProperty(row, name, ztutil::RowProperty::kInt32);
  if (property) out = static_cast<std::uint32_t>(property->number);
  return property.has_value();
}

bool WMIData::GetStrProperty(ztutil::AdapterRow& row, const char* name, std::string& out) {
  const auto property = GetProperty(row, name, ztutil::RowProperty::kText);
  if (property) out = RowText(property->text);
  return property.has_value();
}
