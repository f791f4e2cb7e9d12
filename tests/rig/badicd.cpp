// An OpenCL driver that dies while the loader starts it, which is before any layer is asked. RIG_ICD_FAULT
// says where, RIG_ICD_ACTION how. Without RIG_ICD_FAULT it's a sound driver that has no platform.

#include "crash.h"
#include "settings.h"

#include <CL/cl.h>
#include <CL/cl_ext.h>

#include <cstdlib>
#include <string>

namespace {

using rig::Setting;

constexpr char kPlaceVariable[] = "RIG_ICD_FAULT";
constexpr char kActionVariable[] = "RIG_ICD_ACTION";

// The places, in the order in which a loader comes by.
constexpr char kConstructor[] = "constructor";
constexpr char kExtension[] = "extension";
constexpr char kPlatforms[] = "platforms";

// The variables are read at each place, since there is none before the constructor.
void CheckSettings() {
  const std::string place = Setting(kPlaceVariable);
  if (!place.empty() && place != kConstructor && place != kExtension && place != kPlatforms)
    rig::Refuse(kPlaceVariable, place, "must be constructor, extension or platforms");
  const std::string action = Setting(kActionVariable);
  if (place.empty() ? !action.empty() : action != "segv" && action != "abort" && action != "hang")
    rig::Refuse(kActionVariable, action, "must be segv, abort or hang, together with RIG_ICD_FAULT");
}

void Reach(const char* place) {
  if (Setting(kPlaceVariable) != place) return;
  const std::string action = Setting(kActionVariable);
  if (action == "segv") rig::AccessBadAddress();
  if (action == "abort") std::abort();
  rig::SleepForEver();
}

__attribute__((constructor)) void ReachConstructor() {
  CheckSettings();
  Reach(kConstructor);
}

}  // namespace

#pragma GCC visibility push(default)

// What a loader needs of a driver.
extern "C" {

cl_int CL_API_CALL clIcdGetPlatformIDsKHR(cl_uint /*capacity*/, cl_platform_id* /*platforms*/,
                                          cl_uint* count) {
  Reach(kPlatforms);
  if (count) *count = 0;
  return CL_PLATFORM_NOT_FOUND_KHR;
}

cl_int CL_API_CALL clGetPlatformInfo(cl_platform_id /*platform*/, cl_platform_info /*name*/,
                                     std::size_t /*size*/, void* /*value*/, std::size_t* /*sizeRet*/) {
  return CL_INVALID_PLATFORM;
}

void* CL_API_CALL clGetExtensionFunctionAddress(const char* name) {
  Reach(kExtension);
  if (name != std::string("clIcdGetPlatformIDsKHR")) return nullptr;
  return reinterpret_cast<void*>(&clIcdGetPlatformIDsKHR);
}

}  // extern "C"

#pragma GCC visibility pop
