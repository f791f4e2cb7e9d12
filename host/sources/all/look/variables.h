// The environment variables by which people steer graphics drivers.
#ifndef GPUPROWLER_VARIABLES_H_
#define GPUPROWLER_VARIABLES_H_

#include <string_view>

namespace gpuprowler {

// Whether a loader or a driver may obey the variable of that name. Rather one too many: whoever compares two
// machines by their variables asks once more than needed then.
bool DriversObey(std::string_view name);

}  // namespace gpuprowler

#endif  // GPUPROWLER_VARIABLES_H_
