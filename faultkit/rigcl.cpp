// An OpenCL layer (OPENCL_LAYERS) that hands everything on to whatever drivers there are and misbehaves on
// the way, as RIG_FAULT says. It can also make a CPU's driver look like a GPU's: see README.md for the
// RIG_CL_... variables.
//
// The layers of a wrapped call, from the outside: the wrapper with the faults, our own function of that name
// where there is one, the loader's.

#include "calls.h"
#include "fault.h"
#include "settings.h"
#include "wrap.h"

#include <CL/cl_layer.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <string>

namespace rig {
namespace {

constexpr char kAnswersVariable[] = "RIG_CL_INFO";
constexpr char kTimesVariable[] = "RIG_CL_NS";
constexpr char kWorkItemsVariable[] = "RIG_CL_WORK_ITEMS";

constexpr cl_ulong kScriptedStart = 1000;  // ns

struct Settings {
  bool fCpuAsGpu = false;
  std::map<cl_uint, std::string> fAnswers;     // of the info queries, as the bytes that a driver would give
  std::map<cl_command_type, cl_ulong> fTimes;  // ns
  std::size_t fMostWorkItems = std::numeric_limits<std::size_t>::max();
};

// All three are set while the layer starts and constant from then on. The settings are never destroyed:
// driver threads outlive the end of main.
Settings& gSettings = *new Settings;
cl_icd_dispatch gNext;
cl_icd_dispatch gLayer;

cl_command_type ParseCommand(const std::string& name) {
  if (name == "copy") return CL_COMMAND_COPY_BUFFER;
  if (name == "kernel") return CL_COMMAND_NDRANGE_KERNEL;
  Refuse(kTimesVariable, name, "a time is copy:NS or kernel:NS");
}

void LoadSettings() {
  gSettings.fCpuAsGpu = Setting("RIG_CL_CPU_AS_GPU") == "1";
  gSettings.fAnswers = ParseAnswers(kAnswersVariable, Setting(kAnswersVariable), "cl");
  for (const std::string& text : Split(Setting(kTimesVariable), ';')) {
    const auto [command, time] = Halve(text, ':');
    gSettings.fTimes[ParseCommand(command)] = static_cast<cl_ulong>(ParseNumber(kTimesVariable, time));
  }
  const std::string workItems = Setting(kWorkItemsVariable);
  if (!workItems.empty())
    gSettings.fMostWorkItems = static_cast<std::size_t>(ParseNumber(kWorkItemsVariable, workItems));
}

// Answers an info query with these bytes, under the rules that all of OpenCL's info functions share.
cl_int GiveInfo(const std::string& bytes, std::size_t size, void* value, std::size_t* sizeRet) {
  if (value && size < bytes.size()) return CL_INVALID_VALUE;
  if (value) std::memcpy(value, bytes.data(), bytes.size());
  if (sizeRet) *sizeRet = bytes.size();
  return CL_SUCCESS;
}

// Our own functions, between the wrappers and the loader's.

cl_int CL_API_CALL GetDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint capacity,
                                cl_device_id* devices, cl_uint* count) {
  if (gSettings.fCpuAsGpu && (type & CL_DEVICE_TYPE_GPU)) type |= CL_DEVICE_TYPE_CPU;
  return gNext.clGetDeviceIDs(platform, type, capacity, devices, count);
}

// Of a platform or a device.
template <auto cl_icd_dispatch::*next, class Object>
cl_int CL_API_CALL GetInfo(Object object, cl_uint name, std::size_t size, void* value, std::size_t* sizeRet) {
  const auto answer = gSettings.fAnswers.find(name);
  if (answer != gSettings.fAnswers.end()) return GiveInfo(answer->second, size, value, sizeRet);
  return (gNext.*next)(object, name, size, value, sizeRet);
}

// The driver is asked all the same, so that it still refuses what's wrong: a queue that doesn't profile, or
// an event that isn't finished.
cl_int CL_API_CALL GetEventProfilingInfo(cl_event event, cl_profiling_info name, std::size_t size,
                                         void* value, std::size_t* sizeRet) {
  const cl_int status = gNext.clGetEventProfilingInfo(event, name, size, value, sizeRet);
  cl_command_type command = 0;
  gNext.clGetEventInfo(event, CL_EVENT_COMMAND_TYPE, sizeof command, &command, nullptr);
  const auto time = gSettings.fTimes.find(command);
  if (status != CL_SUCCESS || time == gSettings.fTimes.end()) return status;
  const bool isOver = name == CL_PROFILING_COMMAND_END || name == CL_PROFILING_COMMAND_COMPLETE;
  return GiveInfo(BytesOf(isOver ? kScriptedStart + time->second : kScriptedStart), size, value, sizeRet);
}

// Only a launch in one dimension is cut, and none is made larger.
cl_int CL_API_CALL EnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
                                        const std::size_t* offset, const std::size_t* globalSize,
                                        const std::size_t* localSize, cl_uint waitCount,
                                        const cl_event* waitFor, cl_event* event) {
  const std::size_t fewer = std::min(gSettings.fMostWorkItems, *globalSize);
  if (dimensions == 1) globalSize = &fewer;
  return gNext.clEnqueueNDRangeKernel(queue, kernel, dimensions, offset, globalSize, localSize, waitCount,
                                      waitFor, event);
}

// Fills gLayer from gNext.
void BuildLayer() {
  gLayer = gNext;
  gLayer.clGetDeviceIDs = &GetDeviceIDs;
  gLayer.clGetPlatformInfo = &GetInfo<&cl_icd_dispatch::clGetPlatformInfo, cl_platform_id>;
  gLayer.clGetDeviceInfo = &GetInfo<&cl_icd_dispatch::clGetDeviceInfo, cl_device_id>;
  gLayer.clGetEventProfilingInfo = &GetEventProfilingInfo;
  gLayer.clEnqueueNDRangeKernel = &EnqueueNDRangeKernel;
#define RIG_WRAP(call, form) gLayer.call = Wrapped<&::call>::Around(#call, form, gLayer.call);
  RIG_CL_CALLS(RIG_WRAP)
#undef RIG_WRAP
}

}  // namespace
}  // namespace rig

#pragma GCC visibility push(default)

// The two functions that the loader calls when it opens the layer.
extern "C" {

cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size, void* value, std::size_t* sizeRet) {
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  if (name == CL_LAYER_API_VERSION) return rig::GiveInfo(rig::BytesOf(version), size, value, sizeRet);
  return CL_INVALID_VALUE;
}

cl_int CL_API_CALL clInitLayer(cl_uint count, const cl_icd_dispatch* target, cl_uint* countRet,
                               const cl_icd_dispatch** layerRet) {
  // The loader may know fewer functions than our headers, or more.
  const std::size_t size = std::min(count * sizeof(void*), sizeof rig::gNext);
  std::memcpy(&rig::gNext, target, size);
  rig::LoadFaults();
  rig::LoadSettings();
  rig::BuildLayer();
  *countRet = static_cast<cl_uint>(sizeof rig::gLayer / sizeof(void*));
  *layerRet = &rig::gLayer;
  return CL_SUCCESS;
}

}  // extern "C"

#pragma GCC visibility pop
