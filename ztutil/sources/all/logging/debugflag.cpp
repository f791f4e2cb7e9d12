#include "logging/logdirectory.h"
#include "logging/loggingmutex.h"
#include "logging/settingsfile.h"

#include <ztutil/debugflag.h>

#include <boost/filesystem/path.hpp>
#include <boost/thread/lock_guard.hpp>

#include <map>

namespace ztutil {

std::int32_t DebugFlagTable[kDebugFlagTableSize];

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

constexpr char kSettingsFile[] = "ztlogSettings.txt";

std::atomic<bool> gReady{false};

// What names without a slot share.
std::int32_t DebugFlagFallback = 0;

// The slots by name. Never freed: threads may still log while the process ends. Guarded by LoggingMutex.
std::map<std::string, std::int32_t>& DebugFlagNames() {
  static auto* const names = new std::map<std::string, std::int32_t>;
  return *names;
}

// The slot of that name, a new one with the default value if it has none yet; 0 if there is no room.
std::int32_t RegisterDebugFlag(const std::string& name, std::int32_t defaultValue) {
  const Lock lock(LoggingMutex());
  const auto known = DebugFlagNames().find(name);
  if (known != DebugFlagNames().end()) return known->second;
  const auto index = static_cast<std::int32_t>(DebugFlagNames().size() + 1);
  if (index >= kDebugFlagTableSize) return 0;
  DebugFlagNames().emplace(name, index);
  DebugFlagTable[index] = defaultValue;
  return index;
}

}  // namespace

std::int32_t& ResolveDebugFlag(DebugFlag& flag) noexcept {
  DebugFlagsInitialize();
  try {
    const std::int32_t index = RegisterDebugFlag(flag.fName, flag.fDefault);
    if (index != 0) {
      flag.fIndex.store(index, std::memory_order_release);
      return DebugFlagTable[index];
    }
  } catch (...) {
  }
  return DebugFlagFallback;
}

void DebugFlagsInitialize() noexcept {
  if (gReady) return;
  try {
    const Lock lock(LoggingMutex());
    if (gReady) return;
    // First of all, so that a flag that is read on the way doesn't come back here.
    gReady = true;
    const std::string path = (boost::filesystem::path(LogDirectory()) / kSettingsFile).string();
    ReadSettings(path, [](const std::string& name, std::int32_t value) { RegisterDebugFlag(name, value); });
  } catch (...) {
  }
}

bool DebugFlagsReady() noexcept { return gReady; }

}  // namespace ztutil
