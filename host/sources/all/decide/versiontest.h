// Versions of drivers and systems, and how rules compare them.
#ifndef GPUPROWLER_VERSIONTEST_H_
#define GPUPROWLER_VERSIONTEST_H_

#include "truth.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gpuprowler {

// "22.3.6" by its numbers, as their digits.
using Version = std::vector<std::string>;

// The text is nothing else, or only begins with one: "22.3.6-devel".
std::optional<Version> ParseVersion(std::string_view text);
std::optional<Version> LeadingVersion(std::string_view text);

// A version as an answer tells it.
struct FoundVersion {
  Version version;
  bool orNewer = false;
};

enum class Op { kAny, kEqual, kNotEqual, kLess, kLessEqual, kGreater, kGreaterEqual, kBetween };

// "<=", "between" and the like; not "!=", which no rule has.
std::optional<Op> ParseOp(std::string_view text);

// Which numbers of a driver's version count.
enum class Schema {
  kCommon,
  kIntel,   // the last two of four
  kNVIDIA,  // "31.0.15.3623" is 536.23
};

struct VersionTest {
  Op op = Op::kAny;
  Version value;
  Version value2;          // kBetween
  bool isLexical = false;  // behind the first point: 8.9 is above 8.76
  Schema schema = Schema::kCommon;

  // They are compared as far as the test's own go: 10.6.8 is equal to 10.6. Numbers that the one found lacks
  // are 0.
  Truth Holds(const FoundVersion& found) const;
};

// Whether that relation to the value, below 0, 0 or above, fulfils the operation.
bool Fulfils(Op op, int toValue, int toValue2 = 0);

}  // namespace gpuprowler

#endif  // GPUPROWLER_VERSIONTEST_H_
