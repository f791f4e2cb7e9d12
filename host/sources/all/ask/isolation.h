// Which driver it was, and what the others have to say, where a run with several of them has ended badly.
#ifndef GPUPROWLER_ISOLATION_H_
#define GPUPROWLER_ISOLATION_H_

#include "runs.h"

#include <gpuprowler/answer.h>

namespace gpuprowler {

// Whether the run didn't come to its end as it should, so that GPUs may have been lost.
bool HasEndedBadly(const Run& run);

// How its drivers have behaved in that run, taken together.
Behaviour BehaviourIn(const Run& run);

// Whether Isolate has something to do if the first run with those drivers ends badly.
bool CanIsolate(const Answer& answer, const Runs::Drivers& drivers);

// Behind a first run that has ended badly: asks each of its drivers alone, one after the other, since
// measurements would disturb each other. Whatever the cause, the culprit is which one ends its own run badly;
// unless all do, and the prober does so without any of them. Sets the drivers' behaviour and the answer's
// GPUs. What is to be said of it is a note of the first run's.
void Isolate(Runs& runs, Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_ISOLATION_H_
