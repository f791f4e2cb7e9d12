#include "crash.h"

#include <signal.h>
#include <unistd.h>

#include <cstdint>

namespace rig {

void AccessBadAddress() {
  // Out of the compiler's sight, which rejects a write to a constant address in the first page.
  volatile std::uintptr_t address = 8;
  *reinterpret_cast<volatile int*>(address) = 1;
  SleepForEver();
}

void KillProcess() {
  kill(getpid(), SIGKILL);
  SleepForEver();
}

void SleepForEver() {
  for (;;) pause();
}

void SpinForEver() {
  for (volatile unsigned turns = 0;;) turns = turns + 1;
}

}  // namespace rig
