// The memory as a host sees it from outside.
#include "memory.h"

namespace gpuprowler {

namespace {

Memory MemoryIn(const std::string& folder) { return Memory(folder.empty() ? UsersMemoryFolder() : folder); }

}  // namespace

std::vector<Driver> GetSetAside(const std::string& memoryFolder) {
  std::vector<Driver> drivers;
  for (const SetAside& kept : MemoryIn(memoryFolder).GetSetAside()) {
    Driver& driver = drivers.emplace_back();
    driver.interface = kept.interface;
    driver.manifest = kept.manifest;
    driver.behaviour = kept.behaviour;
    driver.question = kept.question;
    driver.since = kept.since;
  }
  return drivers;
}

std::size_t Forget(const std::string& manifest, const std::string& memoryFolder) {
  return MemoryIn(memoryFolder).Forget(manifest);
}

}  // namespace gpuprowler
