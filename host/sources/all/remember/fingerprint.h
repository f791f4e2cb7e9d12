// What an answer depends on, as a short text.
#ifndef GPUPROWLER_FINGERPRINT_H_
#define GPUPROWLER_FINGERPRINT_H_

#include "look/machine.h"

#include <string>

namespace gpuprowler {

// Of this machine, that prober's file and what the request asks for. Equal ones have equal answers, as far as
// can be told without a run. Time of day, log files and the like aren't in it, nor what changes of an adapter
// from moment to moment: its displays, and whether it's asleep. Bounds of time count by their size to a power
// of two: what hung in a second needn't hang in a minute.
std::string FingerprintOf(const Machine& machine, const Request& request, const std::string& prober);

// Of a driver: its files, and what it rests on: the kernel, the kernel's drivers of the cards.
std::string FingerprintOf(const Machine& machine, const Driver& driver);

}  // namespace gpuprowler

#endif  // GPUPROWLER_FINGERPRINT_H_
