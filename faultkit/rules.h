// Which call misbehaves, when and how: the rules as a user writes them. The drivers read them from a
// variable, the launcher from its command line.

#ifndef RIG_RULES_H
#define RIG_RULES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace rig {

struct Rule {
  std::string fCall;
  unsigned long fCount = 0;  // 0: every call
  std::string fAction;
  std::string fText;  // what stands behind the action's colon
  std::intptr_t fNumber = 0;
};

// The names of all functions that a faulty driver wraps.
const std::set<std::string>& WrappedCalls();

// The rules of a text "call[@n]=action;..." in their order. Refuses what can't be understood as a part of
// `source`.
std::vector<Rule> ParseRules(const char* source, const std::string& text);

}  // namespace rig

#endif
