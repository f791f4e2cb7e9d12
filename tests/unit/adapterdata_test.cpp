// What is made of an inventory's rows and adapters, any call of which may fail.
#include "memorylogger.h"

#include <ztutil/debugflag.h>
#include <ztutil/gpuimplwin.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using ztutil::RowProperty;

RowProperty Text(const std::u16string& text) { return {0, RowProperty::kText, 0, text}; }

struct FakeRow : ztutil::AdapterRow {
  explicit FakeRow(std::map<std::string, RowProperty> values) : properties(std::move(values)) {}
  RowProperty Get(const char* name) override { return asked += std::string(" ") + name, properties[name]; }
  std::map<std::string, RowProperty> properties;
  std::string asked;
};

// 'd' is a display, 'o' isn't attached to the desktop, 'x' can't be read.
struct FakeOutput : ztutil::AdapterOutput {
  explicit FakeOutput(char which) : kind(which) {}
  bool GetDesc(ztutil::DXGI_OUTPUT_DESC& desc) override {
    desc = {u"\\\\.\\D1", {-10, 0, 30, 20}, kind == 'd', 2, nullptr};
    return kind != 'x';
  }
  const char kind;
};

// An output is a letter each. A vendor of 0 stands for an adapter that can't be read.
struct FakeAdapter : ztutil::Adapter {
  FakeAdapter(std::uint32_t id, std::string letters) : vendor(id), outputs(std::move(letters)) {}
  bool GetDesc(ztutil::DXGI_ADAPTER_DESC& desc) override {
    desc = {u"A\u00ae", vendor, 2, 3, 4, 5, 6, 7, 8};
    return vendor != 0;
  }
  std::unique_ptr<ztutil::AdapterOutput> EnumOutputs(unsigned index) override {
    return index < outputs.size() ? std::make_unique<FakeOutput>(outputs[index]) : nullptr;
  }
  std::uint32_t vendor;
  std::string outputs;
};

// All that an inventory gives is a copy of it. `failure` names the call that fails.
struct FakeMachine : ztutil::AdapterInventory, ztutil::AdapterFactory, ztutil::AdapterRows {
  std::unique_ptr<ztutil::AdapterFactory> CreateFactory() override {
    return failure == "CreateFactory" ? nullptr : std::make_unique<FakeMachine>(*this);
  }
  std::unique_ptr<ztutil::Adapter> EnumAdapters(unsigned index) override {
    if (failure == "odd adapter") throw 1;
    return index < adapters.size() ? std::make_unique<FakeAdapter>(adapters[index]) : nullptr;
  }
  std::unique_ptr<ztutil::AdapterRows> QueryRows() override {
    if (failure == "odd") throw 1;
    if (failure == "QueryRows") FailRequirement("CoInitializeEx");
    return failure == "nothing to read" ? nullptr : std::make_unique<FakeMachine>(*this);
  }
  std::unique_ptr<ztutil::AdapterRow> Next() override {
    if (next == 1 && failure == "Next") FailRequirement("pEnumerator->Next");
    return next < rows.size() ? std::make_unique<FakeRow>(rows[next++]) : nullptr;
  }

  std::vector<FakeAdapter> adapters;
  std::vector<FakeRow> rows;
  std::size_t next = 0;
  std::string failure;
};

class AdapterData : public testing::Test {
 protected:
  AdapterData() { ztutil::DebugFlagValue(fFlag) = 1; }
  ~AdapterData() override { ztutil::DebugFlagValue(fFlag) = 0; }

  // "name:vendor" of each record.
  template <class Data>
  std::string All() {
    std::string text;
    for (const Data& data : Data::GetAllDevices(fMachine))
      text += data.GetMatchName() + ":" + std::to_string(data.GetVendorID()) + " ";
    return text;
  }

  bool LogHas(const std::string& text) const { return fLog.text.find(text) != std::string::npos; }

  ztutil::DebugFlag fFlag{"GPUProwler"};
  MemoryLogger fLog;
  FakeMachine fMachine;
};

TEST_F(AdapterData, RowsTakeTheIdsOfTheAdaptersAtTheirPlaces) {
  // Adapters without a display count, and rows that are left out don't.
  fMachine.adapters = {{1, ""}, {2, "d"}, {3, ""}};
  for (const auto& [name, status] : std::vector<std::pair<std::u16string, std::u16string>>{
           {u"a", u"OK"}, {u"b", u"Error"}, {u"c", u"Degraded"}, {u"d", u"error"}})
    fMachine.rows.push_back(FakeRow({{"Name", Text(name)}, {"Status", Text(status)}}));
  fMachine.rows.push_back(FakeRow({{"Name", Text(u"e")}}));
  EXPECT_EQ(All<WMIData>(), "a:1 c:2 d:3 e:0 ");
  const std::string status = "WMIData::GetStrProperty(*pclsObj, L\"Status\") returns ";
  EXPECT_TRUE(LogHas(status + "\"Degraded\"\n"));
  EXPECT_TRUE(LogHas("WIData::GetProperty L\"Status\": hr=0, type=1\n" + status + "\"\"\n"));
  EXPECT_FALSE(LogHas(status + "\"OK\""));
}

TEST_F(AdapterData, WhatWasReadBeforeAFailureIsKept) {
  fMachine.adapters = {{1, "d"}, {0, "d"}, {3, "d"}};  // the second can't be read
  fMachine.rows.assign(2, FakeRow({{"Name", Text(u"a")}}));
  const struct {
    const char* failure;
    const char* rows;
    const char* log;
  } table[] = {{"CreateFactory", "", " exception: CreateDXGIFactory\n"},
               {"QueryRows", "", " exception: CoInitializeEx\n"},
               {"nothing to read", "", ""},
               {"odd", "", " exception\n"},
               {"Next", "a:1 ", " exception: pEnumerator->Next\n"},
               {"", "a:1 ", " exception: theIDXGIAdapter->GetDesc\n"}};
  for (const auto& row : table) {
    fMachine.failure = row.failure;
    EXPECT_EQ(All<WMIData>(), row.rows) << row.failure;
    EXPECT_TRUE(LogHas(std::string("WMIData::GetAllDevices()") + row.log)) << row.failure;
  }
  EXPECT_EQ(All<DXGIData>(), "A\\x00ae:1 ");
  EXPECT_TRUE(LogHas("DXGIData::GetAllDevices() exception: pAdapter->GetDesc failed\n"));
  for (const auto& [failure, log] :
       {std::pair("CreateFactory", ": CreateGXGIFactory failed\n"), {"odd adapter", "\n"}}) {
    fMachine.failure = failure;
    EXPECT_EQ(All<DXGIData>(), "");
    EXPECT_TRUE(LogHas(std::string("DXGIData::GetAllDevices() exception") + log)) << failure;
  }
}

TEST_F(AdapterData, AdaptersWithoutAnAttachedDisplayAreLeftOut) {
  fMachine.adapters = {{1, ""}, {2, "ox"}, {3, "xod"}, {4, "dd"}};
  EXPECT_EQ(All<DXGIData>(), "A\\x00ae:3 A\\x00ae:4 ");
  EXPECT_TRUE(
      LogHas("adapter[3]{ VendorID=4 DeviceId=2 SubSysId=3 Revision=4 DedicatedVideoMemory=5 "
             "DedicatedSystemMemory=6 SharedSystemMemory=7 Description=A\\x00ae}\n"));
  // How a handle looks is the platform's affair.
  EXPECT_TRUE(
      LogHas("output[2]{ DesktopCoordinates={ L=-10 T=0 R=30 B=20 W=40 H=20 } AttachedToDesktop=1 Rotation=2 "
             "Monitor="));
  EXPECT_TRUE(LogHas(" DeviceName=\\\\\\\\.\\\\D1\nadapter[2] displays: 1\n"));
  EXPECT_FALSE(LogHas("adapter[1] displays"));
}

TEST_F(AdapterData, ARowIsReadByTypeAndEscaped) {
  FakeRow row({{"AdapterRAM", {0, RowProperty::kInt32, -1048576, {}}},
               {"Name", Text(std::u16string(u" ~\u0019\u007f\u00ae\u2122\"\\\0x", 10))},
               {"Caption", {-2147217406, RowProperty::kText, 0, u"x"}},
               {"DriverVersion", {1, RowProperty::kText, 0, u"10"}},
               {"DriverDate", {0, RowProperty::kInt32, 5, {}}}});
  const WMIData data(row, 7, 8);
  EXPECT_EQ(data.GetMemory(), 4293918720u);
  EXPECT_EQ(data.GetName(), " ~\\x0019\\x007f\\x00ae\\x2122\"\\");
  EXPECT_EQ(data.fCaption + data.fDriverVersion + data.fDriverDate, "10");
  EXPECT_EQ(row.asked,
            " AdapterRAM Name Caption InstalledDisplayDrivers VideoModeDescription DriverVersion DriverDate");
  EXPECT_EQ(fLog.text,
            "WIData::GetProperty L\"Caption\": hr=-2147217406, type=8\n"
            "WIData::GetProperty L\"InstalledDisplayDrivers\": hr=0, type=1\n"
            "WIData::GetProperty L\"VideoModeDescription\": hr=0, type=1\n"
            "WIData::GetProperty L\"DriverDate\": hr=0, type=3\n");
}

}  // namespace
