// Named integers by which parts of the program are told to say more. Any thread.
#ifndef ZTUTIL_DEBUGFLAG_H_
#define ZTUTIL_DEBUGFLAG_H_

#include <atomic>
#include <cstdint>

namespace ztutil {

// A module declares one for each flag that it reads, at namespace scope: `ztutil::DebugFlag
// gFlag{"GPUProwler"};`. Two with one name, in different modules, are one flag.
struct DebugFlag {
  const char* fName;                    // never null, compared byte for byte
  std::int32_t fDefault = 0;            // the value when the name is met first
  std::atomic<std::int32_t> fIndex{0};  // the flag's slot in the registry; 0 before the first read
};

// The flag's value, 0 where nothing has set it. Takes no lock but at the first read. To be asked at each use:
// a flag may change.
std::int32_t& DebugFlagValue(DebugFlag& flag) noexcept;

}  // namespace ztutil

#endif  // ZTUTIL_DEBUGFLAG_H_
