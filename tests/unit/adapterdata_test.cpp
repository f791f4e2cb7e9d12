// What is made of an inventory's rows and adapters, any call of which may fail.
#include "memorylogger.h"

#include <ztutil/debugflag.h>
#include <ztutil/gpuimplwin.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using ztutil::RowProperty;

// A text with the type and status that go with it.
RowProperty Text(const std::u16string& text) { return {0, RowProperty::kText, 0, text}; }

using FakeRow = std::map<std::string, RowProperty>;

// A vendor of 0 stands for an adapter that can't be read. An output is a letter each: 'd' is a display, 'o'
// isn't attached to the desktop, 'x' can't be read.
struct FakeAdapter {
  std::uint32_t vendor;
  std::string outputs;
};

// A machine, as a set of answers. `failure` names the call that fails.
struct FakeMachine : ztutil::AdapterInventory {
  struct Output : ztutil::AdapterOutput {
    explicit Output(char which) : kind(which) {}
    bool GetDesc(ztutil::DXGI_OUTPUT_DESC& desc) override {
      desc = {u"\\\\.\\D1", {-10, 0, 30, 20}, kind == 'd', 2, nullptr};
      return kind != 'x';
    }
    const char kind;
  };

  struct Adapter : ztutil::Adapter {
    explicit Adapter(FakeAdapter which) : fake(std::move(which)) {}
    bool GetDesc(ztutil::DXGI_ADAPTER_DESC& desc) override {
      desc = {u"A\u00ae", fake.vendor, 2, 3, 4, 5, 6, 7, 8};
      return fake.vendor != 0;
    }
    std::unique_ptr<ztutil::AdapterOutput> EnumOutputs(unsigned index) override {
      return index < fake.outputs.size() ? std::make_unique<Output>(fake.outputs[index]) : nullptr;
    }
    const FakeAdapter fake;
  };

  struct Factory : ztutil::AdapterFactory {
    explicit Factory(const FakeMachine& which) : machine(which) {}
    std::unique_ptr<ztutil::Adapter> EnumAdapters(unsigned index) override {
      return index < machine.adapters.size() ? std::make_unique<Adapter>(machine.adapters[index]) : nullptr;
    }
    const FakeMachine& machine;
  };

  struct Row : ztutil::AdapterRow {
    explicit Row(FakeRow which) : fake(std::move(which)) {}
    RowProperty Get(const char* name) override { return fake[name]; }
    FakeRow fake;
  };

  struct Rows : ztutil::AdapterRows {
    explicit Rows(const FakeMachine& which) : machine(which) {}
    std::unique_ptr<ztutil::AdapterRow> Next() override {
      if (next == machine.rows.size() && machine.failure == "Next") FailRequirement("pEnumerator->Next");
      if (next == machine.rows.size()) return nullptr;
      return std::make_unique<Row>(machine.rows[next++]);
    }
    const FakeMachine& machine;
    std::size_t next = 0;
  };

  std::unique_ptr<ztutil::AdapterFactory> CreateFactory() override {
    if (failure == "CreateFactory") return nullptr;
    return std::make_unique<Factory>(*this);
  }
  std::unique_ptr<ztutil::AdapterRows> QueryRows() override {
    if (failure == "odd") throw 1;
    if (failure == "QueryRows") FailRequirement("CoInitializeEx");
    if (failure == "nothing to read") return nullptr;
    return std::make_unique<Rows>(*this);
  }

  std::vector<FakeAdapter> adapters;
  std::vector<FakeRow> rows;
  std::string failure;
};

FakeRow NamedRow(const std::u16string& name, const std::u16string& status = u"OK") {
  return {{"Name", Text(name)}, {"Status", Text(status)}};
}

// Keeps the log, and what a requirement that fails would write on standard error.
class AdapterData : public testing::Test {
 protected:
  void SetUp() override {
    ztutil::DebugFlagValue(fFlag) = 1;
    SetMessageHook([](const std::string&) {});
  }
  void TearDown() override {
    ztutil::DebugFlagValue(fFlag) = 0;
    SetMessageHook(nullptr);
  }

  // "name:vendor" of each row.
  std::string Rows() {
    std::string text;
    for (const WMIData& data : WMIData::GetAllDevices(fMachine))
      text += data.GetMatchName() + ":" + std::to_string(data.GetVendorID()) + " ";
    return text;
  }

  // The vendor of each adapter.
  std::string Adapters() {
    std::string text;
    for (const DXGIData& data : DXGIData::GetAllDevices(fMachine))
      text += std::to_string(data.GetVendorID()) + " ";
    return text;
  }

  bool LogHas(const std::string& line) const {
    return ("\n" + fLog.text).find("\n" + line + "\n") != std::string::npos;
  }

  ztutil::DebugFlag fFlag{"GPUProwler"};
  MemoryLogger fLog;
  FakeMachine fMachine;
};

TEST_F(AdapterData, RowsTakeTheIdsOfTheAdaptersAtTheirPlaces) {
  // Adapters without a display count, and rows that are left out don't.
  fMachine.adapters = {{1, ""}, {2, "d"}, {3, ""}};
  fMachine.rows = {NamedRow(u"a"), NamedRow(u"b", u"Error"), NamedRow(u"c", u"Degraded"),
                   NamedRow(u"d", u"error"), NamedRow(u"e")};
  fMachine.rows[4].erase("Status");
  EXPECT_EQ(Rows(), "a:1 c:2 d:3 e:0 ");
  EXPECT_TRUE(LogHas("WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"Degraded\""));
  EXPECT_TRUE(LogHas("WIData::GetProperty L\"Status\": hr=0, type=1"));
  EXPECT_TRUE(LogHas("WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"\""));
  EXPECT_FALSE(LogHas("WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"OK\""));
}

TEST_F(AdapterData, RowsUpToAFailureAreKept) {
  const struct {
    const char* failure;
    const char* rows;
    const char* log;
  } table[] = {
      {"CreateFactory", "", "WMIData::GetAllDevices() exception: CreateDXGIFactory"},
      {"QueryRows", "", "WMIData::GetAllDevices() exception: CoInitializeEx"},
      {"nothing to read", "", ""},
      {"Next", "a:1 ", "WMIData::GetAllDevices() exception: pEnumerator->Next"},
      {"odd", "", "WMIData::GetAllDevices() exception"},
  };
  fMachine.adapters = {{1, "d"}, {0, "d"}, {3, "d"}};
  for (const auto& row : table) {
    fMachine.rows = {NamedRow(u"a")};
    fMachine.failure = row.failure;
    EXPECT_EQ(Rows(), row.rows) << row.failure;
    EXPECT_TRUE(*row.log == '\0' ? fLog.text.empty() : LogHas(row.log)) << row.failure << fLog.text;
    fLog.text.clear();
  }
  // An adapter that can't be read ends it.
  fMachine = {};
  fMachine.adapters = {{1, "d"}, {0, "d"}, {3, "d"}};
  fMachine.rows = {NamedRow(u"a"), NamedRow(u"b"), NamedRow(u"c")};
  EXPECT_EQ(Rows(), "a:1 ");
  EXPECT_TRUE(LogHas("WMIData::GetAllDevices() exception: theIDXGIAdapter->GetDesc"));
  EXPECT_EQ(Adapters(), "1 ");
  EXPECT_TRUE(LogHas("DXGIData::GetAllDevices() exception: pAdapter->GetDesc failed"));
  fMachine.failure = "CreateFactory";
  EXPECT_EQ(Adapters(), "");
  EXPECT_TRUE(LogHas("DXGIData::GetAllDevices() exception: CreateGXGIFactory failed"));
}

TEST_F(AdapterData, AdaptersWithoutAnAttachedDisplayAreLeftOut) {
  fMachine.adapters = {{1, ""}, {2, "ox"}, {3, "xod"}, {4, "dd"}};
  EXPECT_EQ(Adapters(), "3 4 ");
  EXPECT_TRUE(
      LogHas("adapter[3]{ VendorID=4 DeviceId=2 SubSysId=3 Revision=4 DedicatedVideoMemory=5 "
             "DedicatedSystemMemory=6 SharedSystemMemory=7 Description=A\\x00ae}"));
  const std::string monitor = (std::ostringstream() << static_cast<void*>(nullptr)).str();
  EXPECT_TRUE(
      LogHas("output[2]{ DesktopCoordinates={ L=-10 T=0 R=30 B=20 W=40 H=20 } AttachedToDesktop=1 Rotation=2 "
             "Monitor=" +
             monitor + " DeviceName=\\\\\\\\.\\\\D1"));
  EXPECT_TRUE(LogHas("adapter[2] displays: 1"));
  EXPECT_TRUE(LogHas("adapter[3] displays: 2"));
  EXPECT_FALSE(LogHas("adapter[1] displays: 0"));
}

TEST_F(AdapterData, ARowIsReadByTypeAndEscaped) {
  FakeMachine::Row row({{"AdapterRAM", {0, RowProperty::kInt32, -1048576, {}}},
                        {"Name", Text(std::u16string(u" ~\u0019\u007f\u00ae\u2122\"\\\0x", 10))},
                        {"Caption", {-2147217406, RowProperty::kText, 0, u"x"}},
                        {"DriverVersion", {1, RowProperty::kText, 0, u"10"}},
                        {"DriverDate", {0, RowProperty::kInt32, 5, {}}}});
  const WMIData data(row, 7, 8);
  EXPECT_EQ(data.GetMemory(), 4293918720u);
  EXPECT_EQ(data.GetName(), " ~\\x0019\\x007f\\x00ae\\x2122\"\\");
  EXPECT_EQ(data.fCaption + data.fInstalledDisplayDrivers + data.fVideoModeDescription, "");
  EXPECT_EQ(data.fDriverVersion, "10");
  EXPECT_EQ(data.GetVendorID() + data.GetDeviceID(), 15u);
  EXPECT_EQ(fLog.text,
            "WIData::GetProperty L\"Caption\": hr=-2147217406, type=8\n"
            "WIData::GetProperty L\"InstalledDisplayDrivers\": hr=0, type=1\n"
            "WIData::GetProperty L\"VideoModeDescription\": hr=0, type=1\n"
            "WIData::GetProperty L\"DriverDate\": hr=0, type=3\n");
  std::uint32_t number = 9;
  EXPECT_FALSE(WMIData::GetIntProperty(row, "Name", number));
  EXPECT_EQ(number, 9u);
}

}  // namespace
