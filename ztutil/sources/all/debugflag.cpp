#include "debugflag.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>

#include <cstring>

namespace ztutil {

namespace {

struct Slot {
  const char* name;
  std::int32_t value;
};

// Slot 0 stays empty, since index 0 means that a flag isn't resolved. Slots never move or go.
constexpr std::int32_t kNumSlots = 1024;
Slot gSlots[kNumSlots];
std::int32_t gUsedSlots = 1;

// What all flags share that find no slot.
std::int32_t gFallback = 0;

boost::mutex& RegistryMutex() {
  static auto* const mutex = new boost::mutex;
  return *mutex;
}

// The index of the flag's slot, a new one if the name has none yet; 0 if there is no room.
std::int32_t Register(const DebugFlag& flag) {
  const boost::lock_guard<boost::mutex> lock(RegistryMutex());
  for (std::int32_t index = 1; index < gUsedSlots; ++index) {
    if (std::strcmp(gSlots[index].name, flag.fName) == 0) return index;
  }
  if (gUsedSlots == kNumSlots) return 0;
  gSlots[gUsedSlots] = {flag.fName, flag.fDefault};
  return gUsedSlots++;
}

}  // namespace

std::int32_t& DebugFlagValue(DebugFlag& flag) noexcept {
  std::int32_t index = flag.fIndex.load(std::memory_order_acquire);
  if (index == 0) {
    index = Register(flag);
    if (index == 0) return gFallback;
    flag.fIndex.store(index, std::memory_order_release);
  }
  return gSlots[index].value;
}

}  // namespace ztutil
