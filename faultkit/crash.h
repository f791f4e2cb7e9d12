// How a driver, or a child process, crashes: a real access violation, nothing simulated by an exit code.

#ifndef RIG_CRASH_H
#define RIG_CRASH_H

#include <cstdint>
#include <cstdlib>

namespace rig {

// Writes to an address that no process has.
[[noreturn]] inline void AccessBadAddress() {
  // Out of the compiler's sight, which rejects a write to a constant address in the first page.
  volatile std::uintptr_t address = 8;
  *reinterpret_cast<volatile int*>(address) = 1;
  std::abort();
}

}  // namespace rig

#endif
