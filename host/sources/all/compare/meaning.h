// What it means that a value differs.
#ifndef GPUPROWLER_MEANING_H_
#define GPUPROWLER_MEANING_H_

#include <gpuprowler/compare.h>

#include <optional>
#include <string>

namespace gpuprowler {

// Of a value or a field of that key. Nothing where they are as good as equal, or don't matter.
std::optional<Effect> EffectOf(const std::string& key, const Datum& before, const Datum& after,
                               double measurementNoise);

// Of a value that only one of the two has.
Effect EffectOfNone(const std::string& key, const Datum& there, bool isAfter);

}  // namespace gpuprowler

#endif  // GPUPROWLER_MEANING_H_
