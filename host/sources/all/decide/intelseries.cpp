#include "intelseries.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace gpuprowler {

namespace {

// By the ids that the kernel's drivers know.
constexpr IntelSeries kSeries[] = {
    {0x0042, 0x0046, "ironlake", 5},
    {0x0102, 0x0126, "sandybridge", 6},
    {0x0152, 0x016A, "ivybridge", 7},
    {0x0402, 0x042E, "haswell", 7},
    {0x0A02, 0x0A2E, "haswell", 7},
    {0x0A84, 0x0A84, "apollolake", 9},
    {0x0C02, 0x0C2E, "haswell", 7},
    {0x0D02, 0x0D2E, "haswell", 7},
    {0x0F30, 0x0F33, "baytrail", 7},
    {0x1602, 0x163E, "broadwell", 8},
    {0x1902, 0x193D, "skylake", 9},
    {0x1A84, 0x1A85, "apollolake", 9},
    {0x22B0, 0x22B3, "cherrytrail", 8},
    {0x2972, 0x29A2, "broadwater", 4},
    {0x2A02, 0x2A12, "", 4},
    {0x2A42, 0x2A42, "", 4},
    {0x2E02, 0x2E92, "eaglelake", 4},
    {0x3184, 0x3185, "geminilake", 9},
    {0x3E90, 0x3E9C, "coffeelake", 9},
    {0x3EA0, 0x3EA4, "whiskeylake", 9},
    {0x3EA5, 0x3EA9, "coffeelake", 9},
    {0x4541, 0x4571, "elkhartlake", 11},
    {0x4626, 0x462A, "alderlake", 12},
    {0x4680, 0x46D4, "alderlake", 12},
    {0x4905, 0x4909, "DG1", 12},
    {0x4C80, 0x4C9A, "rocketlake", 12},
    {0x4E51, 0x4E71, "jasperlake", 11},
    {0x5690, 0x56BF, "alchemist", 12},
    {0x5902, 0x591B, "kabylake", 9},
    {0x591C, 0x591C, "amberlake", 9},
    {0x591D, 0x593B, "kabylake", 9},
    {0x5A40, 0x5A5C, "cannonlake", 10},
    {0x5A84, 0x5A85, "apollolake", 9},
    {0x6420, 0x64B0, "lunarlake", 20},
    {0x7D40, 0x7D40, "meteorlake", 12},
    {0x7D41, 0x7D41, "arrowlake", 12},
    {0x7D45, 0x7D45, "meteorlake", 12},
    {0x7D51, 0x7D51, "arrowlake", 12},
    {0x7D55, 0x7D60, "meteorlake", 12},
    {0x7D67, 0x7D67, "arrowlake", 12},
    {0x7DD1, 0x7DD1, "arrowlake", 12},
    {0x7DD5, 0x7DD5, "meteorlake", 12},
    {0x87C0, 0x87CA, "amberlake", 9},
    {0x8A50, 0x8A71, "icelake", 11},
    {0x9A40, 0x9AF8, "tigerlake", 12},
    {0x9B21, 0x9BF6, "cometlake", 9},
    {0xA720, 0xA721, "raptorlake", 12},
    {0xA780, 0xA78B, "raptorlake", 12},
    {0xA7A0, 0xA7AD, "raptorlake", 12},
    {0xB080, 0xB0B0, "pantherlake", 30},
    {0xB640, 0xB640, "arrowlake", 12},
    {0xE202, 0xE216, "battlemage", 20},
};

}  // namespace

const IntelSeries* FindIntelSeries(std::uint32_t device) {
  const auto* const found = std::find_if(
      std::begin(kSeries), std::end(kSeries),
      [&](const IntelSeries& series) { return series.first <= device && device <= series.last; });
  return found != std::end(kSeries) ? found : nullptr;
}

bool IsIntelSeries(const char* name) {
  return std::any_of(std::begin(kSeries), std::end(kSeries), [&](const IntelSeries& series) {
    return *series.name != '\0' && std::strcmp(series.name, name) == 0;
  });
}

}  // namespace gpuprowler
