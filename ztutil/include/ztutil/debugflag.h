// Named integers by which parts of the program are told to say more, or to wait longer. Their values come
// from one file of the user's, "ztlogSettings.txt", which is read once, before the first flag is. Without the
// file every flag is 0. Nothing here throws, and any thread may call it.
#ifndef ZTUTIL_DEBUGFLAG_H_
#define ZTUTIL_DEBUGFLAG_H_

#include <atomic>
#include <cstdint>
#include <string>

namespace ztutil {

// A module declares one for each flag that it reads, at namespace scope: `ztutil::DebugFlag
// gFlag{"GPUProwler"};`. Two with one name, in different modules, are one flag.
struct DebugFlag {
  const char* fName;                    // never null, compared byte for byte
  std::int32_t fDefault = 0;            // the value when the name is met first
  std::atomic<std::int32_t> fIndex{0};  // the flag's slot in the table; 0 before the first read
};

// The values by slot. Slot 0 stays empty, the others are handed out in the order in which names are met.
// Slots never move or go.
constexpr std::int32_t kDebugFlagTableSize = 1025;
extern std::int32_t DebugFlagTable[kDebugFlagTableSize];

// DebugFlagValue for a flag that isn't resolved yet. A name for which there is no slot left gets a word that
// all such names share.
std::int32_t& ResolveDebugFlag(DebugFlag& flag) noexcept;

// The flag's value. Takes no lock but at the first read. To be asked at each use: a flag may change.
inline std::int32_t& DebugFlagValue(DebugFlag& flag) noexcept {
  const std::int32_t index = flag.fIndex.load(std::memory_order_acquire);
  return index != 0 ? DebugFlagTable[index] : ResolveDebugFlag(flag);
}

// Reads the file if that hasn't been done. It is done at the first read of a flag and at the making of a
// logger.
void DebugFlagsInitialize() noexcept;

// True from the moment at which DebugFlagsInitialize has begun.
bool DebugFlagsReady() noexcept;

}  // namespace ztutil

#endif  // ZTUTIL_DEBUGFLAG_H_
