// What the report says of adapters that Wine is told to show: DXGI's and WMI's records of them are real.
#include "../report.h"

#include <windows.h>

#include <algorithm>
#include <regex>

namespace {

using std::string;

// A value of the registry, put back at the end.
class RegistryValue {
 public:
  RegistryValue(HKEY root, string key, string name)
      : fRoot(root), fKey(std::move(key)), fName(std::move(name)) {
    if (RegGetValueA(fRoot, fKey.c_str(), fName.c_str(), RRF_RT_ANY, &fType, fFormer, &fSize) != 0) fSize = 0;
  }
  ~RegistryValue() {
    fSize > 0 ? RegSetKeyValueA(fRoot, fKey.c_str(), fName.c_str(), fType, fFormer, fSize)
              : RegDeleteKeyValueA(fRoot, fKey.c_str(), fName.c_str());
  }
  RegistryValue(const RegistryValue&) = delete;
  RegistryValue& operator=(const RegistryValue&) = delete;

  void Set(const string& text) {
    EXPECT_EQ(RegSetKeyValueA(fRoot, fKey.c_str(), fName.c_str(), REG_SZ, text.c_str(),
                              static_cast<DWORD>(text.size() + 1)),
              0);
  }
  void Set(DWORD number) {
    EXPECT_EQ(RegSetKeyValueA(fRoot, fKey.c_str(), fName.c_str(), REG_DWORD, &number, sizeof number), 0);
  }
  string Text() const { return fSize > 0 ? fFormer : ""; }

 private:
  HKEY const fRoot;
  const string fKey;
  const string fName;
  DWORD fType = 0;
  char fFormer[512] = "";
  DWORD fSize = sizeof fFormer;  // 0 if there is none
};

// What an integrated GPU with 64 MB of its own may be said to have. Wine lets it share half of the RAM.
string IntegratedMemoryMB() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  GlobalMemoryStatusEx(&status);
  return std::to_string(std::min<std::uint64_t>((status.ullTotalPhys / 4 >> 20) + 64, 2048));
}

TEST(InventoryTest, AdaptersAreJoinedByName) {
  if (GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr)
    GTEST_SKIP() << "only Wine shows adapters that aren't there";
  const string wine = "Software\\Wine\\Direct3D";
  RegistryValue vendorID(HKEY_CURRENT_USER, wine, "VideoPciVendorID");
  RegistryValue deviceID(HKEY_CURRENT_USER, wine, "VideoPciDeviceID");
  RegistryValue megabytes(HKEY_CURRENT_USER, wine, "VideoMemorySize");
  const string root = "\\Registry\\Machine\\";
  const string key =
      RegistryValue(HKEY_LOCAL_MACHINE, "HARDWARE\\DEVICEMAP\\VIDEO", "\\Device\\Video0").Text();
  ASSERT_EQ(key.substr(0, root.size()), root);
  RegistryValue displayDevice(HKEY_LOCAL_MACHINE, key.substr(root.size()), "DriverDesc");

  const string refused =
      "Failed requirement: glStatus == GL_NO_ERROR\n";  // the question for the GPU's memory
  const struct {
    DWORD vendorID, deviceID;
    const char* megabytes;
    string name;  // of the display's device
    bool isJoined;
    string isIntegrated, memory, errors;
  } rows[] = {
      {0x8086, 0x1916, "64", "Intel(R) HD Graphics 520", true, "1", IntegratedMemoryMB(), ""},
      {0x1002, 0x67DF, "8192", "Radeon (TM) RX 480 Graphics", true, "0", "8192", refused},
      {0x10DE, 0x1B80, "8192", "NVIDIA GeForce GTX 1080", true, "0", "8192", refused},
      {0x10DE, 0x1B80, "8192", "nvidia geforce gtx 1080", false, "0", "0", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    vendorID.Set(row.vendorID);
    deviceID.Set(row.deviceID);
    megabytes.Set(row.megabytes);
    displayDevice.Set(row.name);
    const Outcome outcome = RunProber(Drivers());
    const auto value = [&](const char* name) { return ValueOf(outcome, string("glgpu[0].") + name); };
    EXPECT_EQ(value("IsIntegratedGLGPU"), row.isIntegrated);
    EXPECT_EQ(value("GLMemoryMB"), row.memory);
    EXPECT_EQ(value("GLName"), row.isJoined ? "\"" + row.name + "\"" : "none");
    EXPECT_EQ(value("GLVendorID"), std::to_string(row.isJoined ? row.vendorID : 0));
    EXPECT_EQ(value("GLRendererID"), std::to_string(row.isJoined ? row.deviceID : 0));
    const std::regex driver(row.isJoined ? R"-("\d+\.\d+\.\d+\.\d+""\d{8}000000\.000000-000")-" : "nonenone");
    EXPECT_TRUE(std::regex_match(value("GLDriverVersion") + value("GLDriverDate"), driver));
    Outcome expected = Foretell(StepsOf(outcome.lines), NoFailure);
    expected.errors = row.errors;
    EXPECT_TRUE(Same(outcome, expected));
  }
}

}  // namespace
