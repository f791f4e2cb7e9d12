#include <ztutil/logdirectory.h>
#include <ztutil/platform.h>

namespace ztutil {

std::string LogDirectory() { return platform::UserDirectory(); }

}  // namespace ztutil
