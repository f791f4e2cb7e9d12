// How two answers differ, mostly of one machine: what an update of a driver has cost, and what it has
// brought.
//
//   gpuprowler::Comparison comparison = gpuprowler::Compare(*AnswerOf(yesterday), gpuprowler::Ask({}));
//   if (HasLost(comparison)) std::cout << AsText(comparison);
#ifndef GPUPROWLER_COMPARE_H_
#define GPUPROWLER_COMPARE_H_

#include <gpuprowler/answer.h>

#include <optional>
#include <string>
#include <vector>

namespace gpuprowler {

using Datum = decltype(Value::value);

enum class Effect {
  kLost,     // what was there is gone, or less
  kWon,      // the other way round
  kChanged,  // for neither better nor worse, as far as anybody can say
};

// A word for programs: "lost", "won" or "changed".
const char* EffectName(Effect effect);

// A difference. One that has no key is about something as a whole, which came or went.
struct Change {
  Effect effect = Effect::kChanged;
  std::string subject;  // "answer", "gpu", "adapter", "driver" or "reason"
  std::string name;     // which one of these, for people; empty of the answer
  std::string key;      // what of it, as in the document: "behaviour", or of a GPU's values "glVersion"
  std::optional<Datum> before;  // nothing where it wasn't known, or there
  std::optional<Datum> after;
};

struct Comparison {
  std::string before, after;    // when the two were asked
  std::vector<Change> changes;  // of the answer, then of GPUs, adapters, drivers and reasons, in their order
};

// Measured values are taken for equal up to this factor, unless a caller has another one. Beside other work a
// CPU's were seen to differ by up to 2.35 from run to run.
constexpr double kMeasurementNoise = 1.5;

// And memory up to this one: firmware and kernels keep a little of it for themselves, and not always the
// same.
constexpr double kMemoryNoise = 1.02;

// GPUs are the same if their interface is, and what else identifies them: PCI ids and address, driver and
// name, as far as these are known and agree; of equal ones the first is the first. Adapters, drivers and
// reasons go by the like.
//
// Lost are: a GPU, an adapter, a driver; a verdict, a behaviour that was better; a flag, a limit, a version,
// memory or a measurement that was higher. So is what a GPU that was asked all questions no longer tells, and
// a reason that is new. A software renderer that a card has replaced isn't. Names, ids, files, drivers'
// versions and dates only change. When the answers were asked and how long that took, what was printed, and
// whether a card was asleep is left out. No user name, home folder or host name is in it.
Comparison Compare(const Answer& before, const Answer& after, double measurementNoise = kMeasurementNoise);

bool HasLost(const Comparison& comparison);

// For people, in lines: what was lost, won and has changed.
std::string AsText(const Comparison& comparison);

// A document with a line end: "schema" is "gpuprowler-comparison-1", "lost" tells whether anything was, and
// "changes" has the members of Change, without those that aren't there. No user name, home folder or host
// name is in it.
std::string AsJSON(const Comparison& comparison);

}  // namespace gpuprowler

#endif  // GPUPROWLER_COMPARE_H_
