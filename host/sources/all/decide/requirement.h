// What somebody wants of a GPU, without a file of rules.
#ifndef GPUPROWLER_REQUIREMENT_H_
#define GPUPROWLER_REQUIREMENT_H_

#include "run/steps.h"
#include "versiontest.h"

#include <gpuprowler/answer.h>

#include <optional>
#include <string>
#include <variant>

namespace gpuprowler {

struct Requirement {
  std::string expression;      // as it was given
  std::string key;             // plain
  std::optional<Scope> scope;  // null: of what every GPU has beside its values
  Op op = Op::kEqual;
  std::variant<std::string, bool, double, Version> value;
};

// "GLVersion>=3.3". Throws std::invalid_argument, which says what is wrong.
Requirement ParseRequirement(const std::string& expression);

// Whether the GPU, or the machine where it's about that, fulfils it.
Truth Fulfils(const Requirement& requirement, const GPU& gpu, const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_REQUIREMENT_H_
