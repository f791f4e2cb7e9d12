// This machine as it looks from outside its drivers: no device is opened and none is woken, and no driver is
// loaded.
#ifndef GPUPROWLER_MACHINE_H_
#define GPUPROWLER_MACHINE_H_

#include <gpuprowler/answer.h>

#include <string>
#include <utility>
#include <vector>

namespace gpuprowler {

struct Machine {
  std::vector<Adapter> adapters;
  std::vector<Driver> drivers;
  std::vector<Reason> reasons;  // what can be told without a run
  std::string systemType;       // "linux" or "win"
  std::string system;           // the release of the kernel, or of Windows
  // Those variables that loaders and drivers obey, and their values, by name.
  std::vector<std::pair<std::string, std::string>> variables;
};

// Each platform's folder defines it. It throws nothing for what the system says, or doesn't.
Machine LookAtMachine();

}  // namespace gpuprowler

#endif  // GPUPROWLER_MACHINE_H_
