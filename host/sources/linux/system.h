// A Linux machine as files and variables, so that a test can make one.
#ifndef GPUPROWLER_SYSTEM_H_
#define GPUPROWLER_SYSTEM_H_

#include "adaptername.h"
#include "look/machine.h"

#include <map>
#include <string>

namespace gpuprowler {

struct System {
  KGX::SystemRoots roots;
  std::string root;  // in front of all other absolute paths
  std::map<std::string, std::string> variables;

  // Where that file of the machine's stands.
  std::string At(const std::string& path) const { return path.rfind('/', 0) == 0 ? root + path : path; }

  // Null where it isn't set.
  const std::string* Variable(const std::string& name) const {
    const auto found = variables.find(name);
    return found != variables.end() ? &found->second : nullptr;
  }
};

Machine LookAt(const System& system);

}  // namespace gpuprowler

#endif  // GPUPROWLER_SYSTEM_H_
