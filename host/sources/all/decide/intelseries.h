// Intel's GPUs by the names and generations that rules have for them.
#ifndef GPUPROWLER_INTELSERIES_H_
#define GPUPROWLER_INTELSERIES_H_

#include <cstdint>

namespace gpuprowler {

struct IntelSeries {
  std::uint32_t first, last;  // PCI device ids
  const char* name;           // empty for those that rules have no name for
  int generation;
};

// Null for a GPU that isn't known here.
const IntelSeries* FindIntelSeries(std::uint32_t device);

// Whether any of them has that name.
bool IsIntelSeries(const char* name);

}  // namespace gpuprowler

#endif  // GPUPROWLER_INTELSERIES_H_
