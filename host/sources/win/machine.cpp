// What a Windows machine shows of its graphics from outside: the registry, and what the system knows of its
// devices without asking their drivers.
#include "look/machine.h"

#include "look/reasons.h"
#include "look/registrytext.h"
#include "look/variables.h"
#include "registry.h"

#include <windows.h>
// setupapi.h and devguid.h need windows.h before them.
#include <ztutil/widetext.h>

#include <devguid.h>
#include <setupapi.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>

namespace gpuprowler {

namespace {

// Components that come with a driver, of which OpenCL's is often one: SoftwareComponent.
constexpr GUID kSoftwareComponents = {
    0x5c4c3332, 0x344d, 0x483c, {0x87, 0x39, 0x25, 0x9e, 0x93, 0x4c, 0x9c, 0xc8}};
constexpr char kClasses[] = "SYSTEM\\CurrentControlSet\\Control\\Class\\";
constexpr char kOpenGLDrivers[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\OpenGLDrivers";

// --- Devices ---

// Those of a class that are plugged in.
class Devices {
 public:
  explicit Devices(const GUID& deviceClass)
      : fSet(SetupDiGetClassDevsW(&deviceClass, nullptr, nullptr, DIGCF_PRESENT)) {
    fDevice.cbSize = sizeof fDevice;
  }
  ~Devices() {
    if (fSet != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(fSet);
  }
  Devices(const Devices&) = delete;
  Devices& operator=(const Devices&) = delete;

  // Goes on to the next, at first to the first one; false behind the last.
  bool Next() {
    return fSet != INVALID_HANDLE_VALUE && SetupDiEnumDeviceInfo(fSet, fNext++, &fDevice) != FALSE;
  }

  // What the system knows of the device, false where that's nothing or doesn't fit.
  template <class Record>
  bool Get(DWORD property, Record& record) {
    return SetupDiGetDeviceRegistryPropertyW(fSet, &fDevice, property, nullptr,
                                             reinterpret_cast<BYTE*>(&record), sizeof record,
                                             nullptr) != FALSE;
  }

  // A text, or the first of several.
  std::string Text(DWORD property) {
    wchar_t text[1024] = {};
    Get(property, text);
    text[std::size(text) - 1] = L'\0';
    return ztutil::UTF8FromWide(text);
  }

  // Where its driver has written what it is.
  std::string ClassKey() { return kClasses + Text(SPDRP_DRIVER); }

 private:
  HDEVINFO fSet;
  SP_DEVINFO_DATA fDevice{};
  DWORD fNext = 0;
};

// As Linux writes it: "0000:03:00.0".
std::string BusAddress(Devices& device) {
  DWORD bus = 0;
  DWORD place = 0;  // the device's number in the upper half, the function's in the lower
  if (!device.Get(SPDRP_BUSNUMBER, bus) || !device.Get(SPDRP_ADDRESS, place)) return {};
  char text[32];
  std::snprintf(text, sizeof text, "%04lx:%02lx:%02lx.%lx", bus >> 8, bus & 0xFF, place >> 16 & 0x1F,
                place & 7);
  return text;
}

// The parts of the desktop that devices of that hardware id show.
std::vector<std::string> OutputsOf(const std::string& hardwareID) {
  std::vector<std::string> outputs;
  DISPLAY_DEVICEW device{};
  device.cb = sizeof device;
  for (DWORD index = 0; EnumDisplayDevicesW(nullptr, index, &device, 0); ++index) {
    if (!(device.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP)) continue;
    if (hardwareID.empty() || ztutil::UTF8FromWide(device.DeviceID) != hardwareID) continue;
    const std::string name = ztutil::UTF8FromWide(device.DeviceName);  // "\\.\DISPLAY1"
    outputs.push_back(name.substr(name.rfind('\\') + 1));
  }
  return outputs;
}

Adapter AdapterOf(Devices& device) {
  const RegistryKey key(device.ClassKey());
  const std::string hardwareID = device.Text(SPDRP_HARDWAREID);
  Adapter adapter;
  SetIDs(adapter, hardwareID);
  if (adapter.vendorID != 0) adapter.address = BusAddress(device);
  adapter.name = key.Text(L"DriverDesc");
  if (adapter.name.empty()) adapter.name = device.Text(SPDRP_DEVICEDESC);
  adapter.driver = device.Text(SPDRP_SERVICE);
  adapter.driverVersion = key.Text(L"DriverVersion");
  adapter.driverDate = ISODate(key.Text(L"DriverDate"));
  for (const wchar_t* const size : {L"HardwareInformation.MemorySize", L"HardwareInformation.qwMemorySize"}) {
    const std::uint64_t bytes = key.Number(size);
    if (bytes == 0) continue;
    adapter.memoryBytes = bytes;
    adapter.memorySource = ztutil::UTF8FromWide(size);
  }
  CM_POWER_DATA power{};
  adapter.asleep =
      device.Get(SPDRP_DEVICE_POWER_DATA, power) && power.PD_MostRecentPowerState == PowerDeviceD3;
  adapter.outputs = OutputsOf(hardwareID);
  return adapter;
}

// --- Drivers ---

std::string SystemFolder() {
  wchar_t folder[MAX_PATH] = {};
  GetSystemDirectoryW(folder, MAX_PATH);
  return ztutil::UTF8FromWide(folder);
}

// Size and time are set where the path is a file's.
bool ReadFileData(const std::string& path, std::uint64_t& bytes, std::int64_t& modified) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(ztutil::WideFromUTF8(path).c_str(), GetFileExInfoStandard, &data) ||
      data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
    return false;
  constexpr std::int64_t kUntil1970 = 116444736000000000;  // from 1601, in units of 100 ns
  bytes = std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
  const std::int64_t time =
      std::int64_t{data.ftLastWriteTime.dwHighDateTime} << 32 | data.ftLastWriteTime.dwLowDateTime;
  modified = (time - kUntil1970) * 100;
  return true;
}

// The drivers in the order in which they're added, each library once for an interface.
class DriverList {
 public:
  explicit DriverList(std::vector<Driver>& drivers) : fDrivers(drivers) {}

  void Add(Interface interface, const std::string& manifest, const std::string& library) {
    const std::string path = LibraryFile(library, fSystemFolder);
    if (library.empty() || !fKnown.insert({interface, path}).second) return;
    Driver driver;
    driver.interface = interface;
    driver.manifest = manifest;
    driver.library = library;
    if (ReadFileData(path, driver.bytes, driver.modified)) driver.path = path;
    fDrivers.push_back(driver);
  }

 private:
  std::vector<Driver>& fDrivers;
  std::set<std::pair<Interface, std::string>> fKnown;
  const std::string fSystemFolder = SystemFolder();
};

// What the drivers of devices name, and what stands in lists of the system's. Khronos' loader, and opengl32,
// find theirs so.
void AddDrivers(Machine& machine, std::vector<std::string> classKeys) {
  DriverList list(machine.drivers);
  for (const std::string& path : classKeys) {
    const RegistryKey key(path);
    list.Add(Interface::kOpenGL, key.Name(), key.Text(L"OpenGLDriverName"));
  }
  for (const std::string& name : RegistryKey(kOpenGLDrivers).SubkeyNames()) {
    const RegistryKey key(std::string(kOpenGLDrivers) + "\\" + name);
    list.Add(Interface::kOpenGL, key.Name(), key.Text(L"Dll"));
  }

  for (const auto& [name, value] : machine.variables) {
    if (name != "OCL_ICD_FILENAMES") continue;
    for (std::size_t begin = 0; begin < value.size();) {
      const std::size_t end = std::min(value.find(';', begin), value.size());
      list.Add(Interface::kOpenCL, "", value.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  for (Devices components(kSoftwareComponents); components.Next();)
    classKeys.push_back(components.ClassKey());
  for (const std::string& path : classKeys) {
    const RegistryKey key(path);
    list.Add(Interface::kOpenCL, key.Name(), key.Text(L"OpenCLDriverName"));
  }
  const RegistryKey vendors("SOFTWARE\\Khronos\\OpenCL\\Vendors");
  for (const std::string& library : vendors.ValueNames())
    if (vendors.Number(ztutil::WideFromUTF8(library).c_str()) == 0)
      list.Add(Interface::kOpenCL, vendors.Name(), library);
}

// --- The machine ---

// "10.0.19045.4291"; before Windows 10 "6.1.7601".
std::string WindowsRelease() {
  const RegistryKey key("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
  const std::uint64_t major = key.Number(L"CurrentMajorVersionNumber");
  std::string release =
      major == 0 ? key.Text(L"CurrentVersion")
                 : std::to_string(major) + "." + std::to_string(key.Number(L"CurrentMinorVersionNumber"));
  release += "." + key.Text(L"CurrentBuildNumber");
  if (const std::uint64_t update = key.Number(L"UBR")) release += "." + std::to_string(update);
  return release;
}

std::vector<std::pair<std::string, std::string>> Variables() {
  std::vector<std::pair<std::string, std::string>> variables;
  wchar_t* const block = GetEnvironmentStringsW();
  for (const wchar_t* entry = block; entry != nullptr && *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    const std::string text = ztutil::UTF8FromWide(entry);
    const std::string name = text.substr(0, text.find('=', 1));
    if (name.size() < text.size() && DriversObey(name))
      variables.emplace_back(name, text.substr(name.size() + 1));
  }
  FreeEnvironmentStringsW(block);
  std::sort(variables.begin(), variables.end());
  return variables;
}

// A service's windows, and those of a session that nobody is logged in to, are on none.
bool HasDesktop() {
  USEROBJECTFLAGS flags{};
  HWINSTA const station = GetProcessWindowStation();
  return station != nullptr && GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof flags, nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

void AddMachineReasons(Machine& machine) {
  const auto add = [&](const char* code, const char* text) {
    machine.reasons.push_back({code, text, {}, {}});
  };
  const auto& adapters = machine.adapters;
  const bool isBasic = std::all_of(adapters.begin(), adapters.end(),
                                   [](const Adapter& adapter) { return adapter.driver == "BasicDisplay"; });
  if (!HasDesktop()) add("no-desktop", "This runs without a desktop, as services do: OpenGL needs one.");
  if (GetSystemMetrics(SM_REMOTESESSION) != 0)
    add("remote-session", "This is a remote session, which may not get to the graphics card.");
  if (adapters.empty())
    add("no-card", "The system knows of no graphics card.");
  else if (isBasic)
    add("basic-display-adapter",
        "Only Windows' basic display adapter is there: no driver of the graphics card's maker is installed.");
  else
    AddMissingDrivers(Interface::kOpenGL, machine);

  std::uint64_t bytes = 0;
  std::int64_t modified = 0;
  if (!ReadFileData(SystemFolder() + "\\OpenCL.dll", bytes, modified))
    add("no-opencl-library", "There is no OpenCL library, OpenCL.dll.");
  else
    AddMissingDrivers(Interface::kOpenCL, machine);
}

}  // namespace

Machine LookAtMachine() {
  Machine machine;
  machine.systemType = "win";
  machine.system = WindowsRelease();
  machine.variables = Variables();
  std::vector<std::string> classKeys;
  for (Devices displays(GUID_DEVCLASS_DISPLAY); displays.Next();) {
    machine.adapters.push_back(AdapterOf(displays));
    classKeys.push_back(displays.ClassKey());
  }
  AddDrivers(machine, classKeys);
  AddMachineReasons(machine);
  return machine;
}

}  // namespace gpuprowler
