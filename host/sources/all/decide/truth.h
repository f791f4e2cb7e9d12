// What may be so, where an answer needn't know.
#ifndef GPUPROWLER_TRUTH_H_
#define GPUPROWLER_TRUTH_H_

#include <algorithm>

namespace gpuprowler {

enum class Truth { kNo, kUnknown, kYes };

inline Truth TruthOf(bool holds) { return holds ? Truth::kYes : Truth::kNo; }
inline Truth And(Truth one, Truth other) { return std::min(one, other); }
inline Truth Or(Truth one, Truth other) { return std::max(one, other); }
inline Truth Not(Truth truth) { return truth == Truth::kUnknown ? truth : TruthOf(truth == Truth::kNo); }

}  // namespace gpuprowler

#endif  // GPUPROWLER_TRUTH_H_
