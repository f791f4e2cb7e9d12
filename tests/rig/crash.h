// The ways in which a driver takes its process down or keeps it. All are real: nothing is simulated by an
// exit code.

#ifndef RIG_CRASH_H
#define RIG_CRASH_H

namespace rig {

// Writes to an address that no process has.
[[noreturn]] void AccessBadAddress();

// SIGKILL, which nothing can catch.
[[noreturn]] void KillProcess();

// Sleeps for ever, whatever signals are handled meanwhile.
[[noreturn]] void SleepForEver();

// Keeps one core busy for ever.
[[noreturn]] void SpinForEver();

}  // namespace rig

#endif
