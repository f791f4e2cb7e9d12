// How a driver ends a process, or its progress.

#ifndef RIG_ENDS_H
#define RIG_ENDS_H

#include "crash.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace rig {

// Returns for another action than these.
inline void EndBy(const std::string& action, int status) {
  if (action == "segv") AccessBadAddress();
  if (action == "abort") std::abort();
  if (action == "exit") _exit(status);
  while (action == "hang") pause();
}

}  // namespace rig

#endif
