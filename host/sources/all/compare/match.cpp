#include "match.h"

#include <deque>
#include <unordered_map>

namespace gpuprowler {

std::vector<std::optional<std::size_t>> Match(const std::vector<Keys>& before,
                                              const std::vector<Keys>& after) {
  std::vector<std::optional<std::size_t>> matches(before.size());
  std::vector<bool> isTaken(after.size());
  const std::size_t passes = before.empty() ? 0 : before.front().size();
  for (std::size_t pass = 0; pass < passes; ++pass) {
    std::unordered_map<std::string, std::deque<std::size_t>> places;
    for (std::size_t i = 0; i < after.size(); ++i)
      if (!isTaken[i] && !after[i][pass].empty()) places[after[i][pass]].push_back(i);
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (matches[i]) continue;
      const auto found = places.find(before[i][pass]);
      if (found == places.end() || found->second.empty()) continue;
      matches[i] = found->second.front();
      isTaken[found->second.front()] = true;
      found->second.pop_front();
    }
  }
  return matches;
}

}  // namespace gpuprowler
