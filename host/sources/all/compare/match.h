// Which entry of one list is which of another.
#ifndef GPUPROWLER_MATCH_H_
#define GPUPROWLER_MATCH_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace gpuprowler {

// What identifies an entry, the strictest first; each entry has as many. An empty one fits nothing.
using Keys = std::vector<std::string>;

// For each entry before, the place of the one after that is the same: all are tried by the first key, then
// those that are left by the second, and so on. Of equal ones the first is the first.
std::vector<std::optional<std::size_t>> Match(const std::vector<Keys>& before,
                                              const std::vector<Keys>& after);

}  // namespace gpuprowler

#endif  // GPUPROWLER_MATCH_H_
