#include "logging/logdirectory.h"

#include "system/platform.h"

namespace ztutil {

std::string LogDirectory() { return platform::UserDirectory(); }

}  // namespace ztutil
