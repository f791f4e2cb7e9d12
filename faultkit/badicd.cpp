// An OpenCL driver that ends the process while the loader loads it or asks for its platforms, which is before
// any layer is asked. RIG_BAD_ICD says where and how: see README.md.

#include "ends.h"
#include "settings.h"

#include <CL/cl.h>

#include <cstring>

namespace {

void Pass(const std::string& place) {
  const std::string setting = rig::Setting("RIG_BAD_ICD");
  const auto [where, how] = rig::Halve(setting.empty() ? "load=segv" : setting, '=');
  const auto [action, number] = rig::Halve(how, ':');
  if (where == place) rig::EndBy(action, std::atoi(number.c_str()));
}

__attribute__((constructor)) void Load() { Pass("load"); }

cl_int CL_API_CALL GetPlatformIDs(cl_uint, cl_platform_id*, cl_uint* count) {
  Pass("enumerate");
  if (count != nullptr) *count = 0;
  return -1001;  // CL_PLATFORM_NOT_FOUND_KHR
}

// ocl-icd takes no driver without it.
cl_int CL_API_CALL GetPlatformInfo(cl_platform_id, cl_platform_info, std::size_t, void*, std::size_t*) {
  return CL_INVALID_PLATFORM;
}

}  // namespace

#pragma GCC visibility push(default)

// What a loader asks every driver for.
extern "C" void* CL_API_CALL clGetExtensionFunctionAddress(const char* name) {
  if (std::strcmp(name, "clIcdGetPlatformIDsKHR") == 0) return reinterpret_cast<void*>(&GetPlatformIDs);
  if (std::strcmp(name, "clGetPlatformInfo") == 0) return reinterpret_cast<void*>(&GetPlatformInfo);
  return nullptr;
}

#pragma GCC visibility pop
