// Why something that one would expect isn't there. Each reason has a code for programs; README.md lists them.
#ifndef GPUPROWLER_REASONS_H_
#define GPUPROWLER_REASONS_H_

#include "machine.h"

namespace gpuprowler {

// Adds to the answer's reasons what its runs and drivers show beyond what the machine does: drivers that
// misbehaved, and cards behind which only software renders. Takes away what its GPUs disprove. Attribute must
// have been there.
void AddReasons(Answer& answer);

// Adds a reason if the interface has no driver, and one for each driver whose library is missing.
void AddMissingDrivers(Interface interface, Machine& machine);

}  // namespace gpuprowler

#endif  // GPUPROWLER_REASONS_H_
