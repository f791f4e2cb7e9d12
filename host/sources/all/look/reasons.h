// Why something that one would expect isn't there.
#ifndef GPUPROWLER_REASONS_H_
#define GPUPROWLER_REASONS_H_

#include "machine.h"

namespace gpuprowler {

// Adds to the answer's reasons what its runs and drivers show beyond what the machine does.
void AddReasons(Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_REASONS_H_
