// Any bytes as what Linux and its databases say of an adapter.
#include "adaptertext.h"
#include "inventory/sysfstext.h"
#include "require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

void RequireReportable(std::string_view name) {
  const std::string reported = KGX::ReportableName(name);
  Require(reported.size() < 128, "a reportable name fits a DXGI description");
  Require(std::all_of(reported.begin(), reported.end(), [](char c) { return c >= ' ' && c <= '~'; }),
          "a reportable name is printable ASCII");
}

}  // namespace

// The first bytes are numbers to look for, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const std::uint64_t vendor = 0x1000u + data[0];
  const std::uint64_t device = data[1];
  const std::uint64_t revision = data[2];
  const std::string_view text(reinterpret_cast<const char*>(data) + 3, size - 3);

  RequireReportable(text);
  RequireReportable(KGX::NameInPCIIds(text, vendor, device));
  RequireReportable(KGX::NameInAMDGPUIds(text, device, revision));
  const std::string_view line = KGX::AttributeLine(text);
  Require(line.size() <= text.size(), "a line is a part of its file");
  KGX::ParseNumber(line);
  KGX::FieldValue(text, "GPU UUID");
  KGX::NumberOfName(text, "card");

  ztutil::PackedSlot(text);
  ztutil::DateOfBuild(text);
  ztutil::SumOfDeviceRegions(text, 16);
  ztutil::SumOfDeviceRegions(text, 8);
  return 0;
}
