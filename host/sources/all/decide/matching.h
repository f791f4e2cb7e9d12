// Whether what a rule asks for is so.
#ifndef GPUPROWLER_MATCHING_H_
#define GPUPROWLER_MATCHING_H_

#include "facts.h"
#include "ruleset.h"

#include <string>
#include <vector>

namespace gpuprowler {

// Where it's unknown, the members that would have to be known are put behind those that are there.
Truth Applies(const Entry& entry, const Facts& facts, std::vector<std::string>& unknown);

}  // namespace gpuprowler

#endif  // GPUPROWLER_MATCHING_H_
