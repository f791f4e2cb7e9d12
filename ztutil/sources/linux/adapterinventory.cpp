// A Linux machine's adapters as rows and as DXGI's adapters. Both come in one order, so that a row's place is
// that of its adapter.
#include "sysfsadapters.h"
#include "sysfsinventory.h"

#include <ztutil/adapterinventory.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace ztutil {

namespace {

using Adapters = std::vector<SysfsAdapter>;

// Copies as much as there is room for.
template <std::size_t size>
void Copy(const std::string& text, char16_t (&field)[size]) {
  std::copy_n(text.begin(), std::min(text.size(), size - 1), field);
}

class Output : public AdapterOutput {
 public:
  explicit Output(const std::string& name) : fName(name) {}

  bool GetDesc(DXGI_OUTPUT_DESC& desc) override {
    desc = {};
    Copy(fName, desc.DeviceName);
    desc.AttachedToDesktop = 1;
    return true;
  }

 private:
  const std::string& fName;
};

class ListedAdapter : public Adapter {
 public:
  explicit ListedAdapter(const SysfsAdapter& adapter) : fAdapter(adapter) {}

  bool GetDesc(DXGI_ADAPTER_DESC& desc) override {
    desc = {};
    Copy(fAdapter.name, desc.Description);
    desc.VendorId = fAdapter.vendor;
    desc.DeviceId = fAdapter.device;
    desc.SubSysId = fAdapter.subsystem;
    desc.Revision = fAdapter.revision;
    desc.DedicatedVideoMemory = fAdapter.dedicatedMemory;
    desc.SharedSystemMemory = fAdapter.sharedMemory;
    desc.AdapterLuid = fAdapter.slot;
    return true;
  }

  std::unique_ptr<AdapterOutput> EnumOutputs(unsigned index) override {
    if (index >= fAdapter.displays.size()) return nullptr;
    return std::make_unique<Output>(fAdapter.displays[index]);
  }

 private:
  const SysfsAdapter& fAdapter;
};

// Has the adapters that are driven, as a row of another is one of status "Error", which has no place.
class Factory : public AdapterFactory {
 public:
  explicit Factory(const Adapters& adapters) {
    for (const SysfsAdapter& adapter : adapters) {
      if (adapter.isDriven) fAdapters.push_back(&adapter);
    }
  }

  std::unique_ptr<Adapter> EnumAdapters(unsigned index) override {
    if (index >= fAdapters.size()) return nullptr;
    return std::make_unique<ListedAdapter>(*fAdapters[index]);
  }

 private:
  std::vector<const SysfsAdapter*> fAdapters;
};

class Row : public AdapterRow {
 public:
  explicit Row(const SysfsAdapter& adapter) : fAdapter(adapter) {}

  RowProperty Get(const char* name) override {
    const std::string property = name;
    if (property == "Status") return Text(fAdapter.isDriven ? "OK" : "Error");
    if (property == "AdapterRAM") return Memory();
    if (property == "Name" || property == "Caption") return Text(fAdapter.name);
    if (property == "InstalledDisplayDrivers") return Text(fAdapter.driver);
    if (property == "VideoModeDescription") return Text(fAdapter.videoMode);
    if (property == "DriverVersion") return Text(fAdapter.driverVersion);
    if (property == "DriverDate") return Text(fAdapter.driverDate);
    return {};
  }

 private:
  // As Windows, which has no more digits: a MiB less than 4 GiB for all that is larger.
  RowProperty Memory() const {
    constexpr std::uint64_t kMost = 4293918720;
    const std::uint64_t bytes = std::min(fAdapter.dedicatedMemory, kMost);
    return {0, RowProperty::kInt32, static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes)), {}};
  }

  // What is unknown has no value.
  static RowProperty Text(const std::string& text) {
    if (text.empty()) return {};
    return {0, RowProperty::kText, 0, std::u16string(text.begin(), text.end())};
  }

  const SysfsAdapter& fAdapter;
};

class Rows : public AdapterRows {
 public:
  explicit Rows(const Adapters& adapters) : fAdapters(adapters) {}

  std::unique_ptr<AdapterRow> Next() override {
    return fNext < fAdapters.size() ? std::make_unique<Row>(fAdapters[fNext++]) : nullptr;
  }

 private:
  const Adapters& fAdapters;
  std::size_t fNext = 0;
};

class SysfsInventory : public AdapterInventory {
 public:
  explicit SysfsInventory(KGX::SystemRoots roots) : fRoots(std::move(roots)) {}

  std::unique_ptr<AdapterFactory> CreateFactory() override { return std::make_unique<Factory>(Listed()); }
  std::unique_ptr<AdapterRows> QueryRows() override { return std::make_unique<Rows>(Listed()); }

 private:
  // Read once, so that rows and adapters are those of one moment.
  const Adapters& Listed() {
    if (!fAdapters) fAdapters = FindSysfsAdapters(fRoots);
    return *fAdapters;
  }

  const KGX::SystemRoots fRoots;
  std::optional<Adapters> fAdapters;
};

}  // namespace

std::unique_ptr<AdapterInventory> CreateAdapterInventory() { return CreateSysfsInventory({}); }

std::unique_ptr<AdapterInventory> CreateSysfsInventory(const KGX::SystemRoots& roots) {
  return std::make_unique<SysfsInventory>(roots);
}

}  // namespace ztutil
