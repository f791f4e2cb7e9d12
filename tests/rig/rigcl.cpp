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
#include <optional>
#include <string>
#include <vector>

namespace rig {
namespace {

constexpr char kCpuAsGpuVariable[] = "RIG_CL_CPU_AS_GPU";
constexpr char kInfoVariable[] = "RIG_CL_INFO";
constexpr char kTimesVariable[] = "RIG_CL_NS";
constexpr char kWorkItemsVariable[] = "RIG_CL_WORK_ITEMS";

constexpr char kLayerName[] = "gpuprowler fault rig";
constexpr cl_ulong kScriptedStart = 1000;  // ns

namespace tag {

#define RIG_CL_TAG(call)                        \
  struct call {                                 \
    static constexpr const char* kName = #call; \
    static constexpr Api kApi = Api::kCl;       \
  };
RIG_CL_CALLS(RIG_CL_TAG)
#undef RIG_CL_TAG

}  // namespace tag

struct InfoAnswer {
  cl_uint fName;
  std::string fBytes;
};

struct Settings {
  bool fCpuAsGpu = false;
  std::vector<InfoAnswer> fInfoAnswers;
  std::optional<cl_ulong> fCopyTime;    // ns
  std::optional<cl_ulong> fKernelTime;  // ns
  std::optional<std::size_t> fWorkItems;
};

// All three are set while the layer starts and constant from then on. The settings are never destroyed:
// driver threads outlive the end of main.
Settings& gSettings = *new Settings;
cl_icd_dispatch gNext;
cl_icd_dispatch gLayer;

template <class Number>
std::string BytesOf(Number number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

// "TEXT", "#NUMBER" or "##NUMBER" as the bytes that a driver would give.
std::string ParseInfoValue(const std::string& value, const std::string& whole) {
  if (value.empty() || value[0] != '#') return value + '\0';
  const bool isWide = value.compare(0, 2, "##") == 0;
  const auto number = ParseNumber(value.substr(isWide ? 2 : 1));
  if (!number) Refuse(kInfoVariable, whole, "not a number behind #");
  if (isWide) return BytesOf(static_cast<cl_ulong>(*number));
  if (*number < std::numeric_limits<cl_int>::min() || *number > std::numeric_limits<cl_uint>::max())
    Refuse(kInfoVariable, whole, "the number needs 64 bits; write ##");
  return BytesOf(static_cast<cl_uint>(*number));
}

InfoAnswer ParseInfoAnswer(const std::string& text) {
  const auto halves = Halve(text, '=');
  const auto name = halves ? ParseNumber(halves->first) : std::nullopt;
  if (!name || *name < 0 || *name > std::numeric_limits<cl_uint>::max())
    Refuse(kInfoVariable, text, "an answer is NAME=TEXT, NAME=#NUMBER or NAME=##NUMBER, the name a number");
  return {static_cast<cl_uint>(*name), ParseInfoValue(halves->second, text)};
}

void ParseTime(const std::string& text, Settings* settings) {
  const auto halves = Halve(text, ':');
  const auto time = halves ? ParseNumber(halves->second) : std::nullopt;
  if (!time || *time < 0 || (halves->first != "copy" && halves->first != "kernel"))
    Refuse(kTimesVariable, text, "a time is copy:NS or kernel:NS");
  (halves->first == "copy" ? settings->fCopyTime : settings->fKernelTime) = static_cast<cl_ulong>(*time);
}

bool ParseSwitch(const char* variable) {
  const std::string value = Setting(variable);
  if (!value.empty() && value != "0" && value != "1") Refuse(variable, value, "must be 0 or 1");
  return value == "1";
}

void LoadSettings() {
  gSettings.fCpuAsGpu = ParseSwitch(kCpuAsGpuVariable);
  for (const std::string& text : Split(Setting(kInfoVariable), ';'))
    gSettings.fInfoAnswers.push_back(ParseInfoAnswer(text));
  for (const std::string& text : Split(Setting(kTimesVariable), ';')) ParseTime(text, &gSettings);
  const std::string workItems = Setting(kWorkItemsVariable);
  if (workItems.empty()) return;
  const auto number = ParseNumber(workItems);
  if (!number || *number < 1) Refuse(kWorkItemsVariable, workItems, "must be a number of 1 or more");
  gSettings.fWorkItems = static_cast<std::size_t>(*number);
}

// Answers an info query with these bytes, under the rules that all of OpenCL's info functions share.
cl_int GiveInfo(const std::string& bytes, std::size_t size, void* value, std::size_t* sizeRet) {
  if (value && size < bytes.size()) return CL_INVALID_VALUE;
  if (value) std::memcpy(value, bytes.data(), bytes.size());
  if (sizeRet) *sizeRet = bytes.size();
  return CL_SUCCESS;
}

const InfoAnswer* FindInfoAnswer(cl_uint name) {
  const auto& answers = gSettings.fInfoAnswers;
  const auto found = std::find_if(answers.begin(), answers.end(),
                                  [&](const InfoAnswer& answer) { return answer.fName == name; });
  return found == answers.end() ? nullptr : &*found;
}

// Nothing if the event's command has no scripted time.
std::optional<cl_ulong> ScriptedTime(cl_event event) {
  cl_command_type type = 0;
  if (gNext.clGetEventInfo(event, CL_EVENT_COMMAND_TYPE, sizeof type, &type, nullptr) != CL_SUCCESS)
    return std::nullopt;
  if (type == CL_COMMAND_COPY_BUFFER) return gSettings.fCopyTime;
  if (type == CL_COMMAND_NDRANGE_KERNEL) return gSettings.fKernelTime;
  return std::nullopt;
}

// Our own functions, between the wrappers and the loader's.

cl_int CL_API_CALL GetDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint capacity,
                                cl_device_id* devices, cl_uint* count) {
  if (gSettings.fCpuAsGpu && (type & CL_DEVICE_TYPE_GPU)) type |= CL_DEVICE_TYPE_CPU;
  return gNext.clGetDeviceIDs(platform, type, capacity, devices, count);
}

cl_int CL_API_CALL GetPlatformInfo(cl_platform_id platform, cl_platform_info name, std::size_t size,
                                   void* value, std::size_t* sizeRet) {
  if (const InfoAnswer* answer = FindInfoAnswer(name)) return GiveInfo(answer->fBytes, size, value, sizeRet);
  return gNext.clGetPlatformInfo(platform, name, size, value, sizeRet);
}

cl_int CL_API_CALL GetDeviceInfo(cl_device_id device, cl_device_info name, std::size_t size, void* value,
                                 std::size_t* sizeRet) {
  if (const InfoAnswer* answer = FindInfoAnswer(name)) return GiveInfo(answer->fBytes, size, value, sizeRet);
  return gNext.clGetDeviceInfo(device, name, size, value, sizeRet);
}

// The driver is asked all the same, so that it still refuses what's wrong: a queue that doesn't profile, or
// an event that isn't finished.
cl_int CL_API_CALL GetEventProfilingInfo(cl_event event, cl_profiling_info name, std::size_t size,
                                         void* value, std::size_t* sizeRet) {
  const cl_int status = gNext.clGetEventProfilingInfo(event, name, size, value, sizeRet);
  const auto time = status == CL_SUCCESS ? ScriptedTime(event) : std::nullopt;
  if (!time) return status;
  const bool isOver = name == CL_PROFILING_COMMAND_END || name == CL_PROFILING_COMMAND_COMPLETE;
  return GiveInfo(BytesOf(isOver ? kScriptedStart + *time : kScriptedStart), size, value, sizeRet);
}

// Only a launch in one dimension is cut, and none is made larger.
cl_int CL_API_CALL EnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
                                        const std::size_t* offset, const std::size_t* globalSize,
                                        const std::size_t* localSize, cl_uint waitCount,
                                        const cl_event* waitFor, cl_event* event) {
  std::size_t cutSize = 0;
  if (gSettings.fWorkItems && dimensions == 1 && globalSize) {
    cutSize = std::min(*gSettings.fWorkItems, *globalSize);
    globalSize = &cutSize;
  }
  return gNext.clEnqueueNDRangeKernel(queue, kernel, dimensions, offset, globalSize, localSize, waitCount,
                                      waitFor, event);
}

template <class Tag, class Function>
void Wrap(Function*& entry, std::vector<CallInfo>* calls) {
  using Wrapper = Wrapped<Tag, Function>;
  Wrapper::SetReal(entry);
  entry = &Wrapper::Call;
  calls->push_back(Wrapper::Info());
}

// Fills gLayer from gNext, and gives what it wraps.
std::vector<CallInfo> BuildLayer() {
  gLayer = gNext;
  gLayer.clGetDeviceIDs = &GetDeviceIDs;
  gLayer.clGetPlatformInfo = &GetPlatformInfo;
  gLayer.clGetDeviceInfo = &GetDeviceInfo;
  gLayer.clGetEventProfilingInfo = &GetEventProfilingInfo;
  gLayer.clEnqueueNDRangeKernel = &EnqueueNDRangeKernel;
  std::vector<CallInfo> calls;
#define RIG_WRAP(call) Wrap<tag::call>(gLayer.call, &calls);
  RIG_CL_CALLS(RIG_WRAP)
#undef RIG_WRAP
  return calls;
}

}  // namespace
}  // namespace rig

#pragma GCC visibility push(default)

// The two functions that the loader calls when it opens the layer.
extern "C" {

cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, std::size_t size, void* value, std::size_t* sizeRet) {
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  if (name == CL_LAYER_API_VERSION) return rig::GiveInfo(rig::BytesOf(version), size, value, sizeRet);
  if (name == CL_LAYER_NAME)
    return rig::GiveInfo(std::string(rig::kLayerName, sizeof rig::kLayerName), size, value, sizeRet);
  return CL_INVALID_VALUE;
}

cl_int CL_API_CALL clInitLayer(cl_uint count, const cl_icd_dispatch* target, cl_uint* countRet,
                               const cl_icd_dispatch** layerRet) {
  // The loader may know fewer functions than our headers, or more.
  const std::size_t size = std::min(count * sizeof(void*), sizeof rig::gNext);
  std::memcpy(&rig::gNext, target, size);
  rig::LoadFaults(rig::BuildLayer());
  rig::LoadSettings();
  *countRet = static_cast<cl_uint>(sizeof rig::gLayer / sizeof(void*));
  *layerRet = &rig::gLayer;
  return CL_SUCCESS;
}

}  // extern "C"

#pragma GCC visibility pop
