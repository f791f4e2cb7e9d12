#include "answerlimits.h"

#include <kgx/opencl.h>

#include <algorithm>
#include <cstdint>

namespace KGX::OCL {

namespace {

// CL_PLATFORM_NOT_FOUND_KHR, cl_khr_icd: the loader found no driver.
constexpr cl_int kPlatformNotFound = -1001;

const EntryPoints& Table() { return ExtensionManager::instance()->table(); }

void Require(cl_int status, const char* call) {
  if (status != CL_SUCCESS) throw LogicalException(std::string(call) + " failed: " + std::to_string(status));
}

// A text of the object, by one of the two query functions.
template <class Query, class Object>
std::string TextInfo(Query query, const char* call, Object object, cl_uint name) {
  std::size_t size = 0;
  Require(query(object, name, 0, nullptr, &size), call);
  RequireAtMost(size, kMaxText, call);
  std::string text(size, '\0');
  if (size > 0) Require(query(object, name, size, text.data(), nullptr), call);
  if (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

}  // namespace

std::string Platform::version() const {
  return TextInfo(Table().clGetPlatformInfo, "clGetPlatformInfo", fID, CL_PLATFORM_VERSION);
}

std::vector<Device> Platform::devices(cl_device_type type) const {
  cl_uint count = 0;
  const cl_int status = Table().clGetDeviceIDs(fID, type, 0, nullptr, &count);
  if (status == CL_DEVICE_NOT_FOUND || (status == CL_SUCCESS && count == 0)) return {};
  Require(status, "clGetDeviceIDs");
  RequireAtMost(count, kMaxObjects, "clGetDeviceIDs");
  std::vector<cl_device_id> ids(count);
  Require(Table().clGetDeviceIDs(fID, type, count, ids.data(), &count), "clGetDeviceIDs");
  ids.resize(std::min<std::size_t>(ids.size(), count));
  return std::vector<Device>(ids.begin(), ids.end());
}

std::vector<Platform> platforms() {
  cl_uint count = 0;
  const cl_int status = Table().clGetPlatformIDs(0, nullptr, &count);
  if (status == kPlatformNotFound || (status == CL_SUCCESS && count == 0)) return {};
  Require(status, "clGetPlatformIDs");
  RequireAtMost(count, kMaxObjects, "clGetPlatformIDs");
  std::vector<cl_platform_id> ids(count);
  Require(Table().clGetPlatformIDs(count, ids.data(), &count), "clGetPlatformIDs");
  ids.resize(std::min<std::size_t>(ids.size(), count));
  return std::vector<Platform>(ids.begin(), ids.end());
}

const char* Enum::GetPropertyTypeName(cl_device_info property) {
  switch (property) {
    case CL_DEVICE_GLOBAL_MEM_SIZE:
      return typeid(std::uint64_t).name();
    case CL_DEVICE_VENDOR_ID:
      return typeid(std::uint32_t).name();
    case CL_DEVICE_PLATFORM:
      return typeid(cl_platform_id).name();
    default:
      return "";
  }
}

std::string Device::name() const {
  return TextInfo(Table().clGetDeviceInfo, "clGetDeviceInfo", fID, CL_DEVICE_NAME);
}

std::string Device::vendor() const {
  return TextInfo(Table().clGetDeviceInfo, "clGetDeviceInfo", fID, CL_DEVICE_VENDOR);
}

Platform Device::platform() const { return Platform(GetInfo<cl_platform_id>(CL_DEVICE_PLATFORM)); }

void Device::getInfoImpl(cl_device_info property, std::size_t size, void* out, std::size_t* sizeOut) const {
  Require(Table().clGetDeviceInfo(fID, property, size, out, sizeOut), "clGetDeviceInfo");
}

Context::Context(const ContextProperties& properties, const Device& device, const NotifyCallback& notify) {
  const cl_device_id id = device.id();
  cl_int status = CL_SUCCESS;
  fHandle = Table().clCreateContext(properties.list(), 1, &id, notify.function, notify.userData, &status);
  Require(status, "clCreateContext");
}

Context::~Context() { Table().clReleaseContext(fHandle); }

CommandQueue::CommandQueue(const Context& context, const Device& device, bool outOfOrder, bool profiling) {
  cl_command_queue_properties properties = 0;
  if (outOfOrder) properties |= CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE;
  if (profiling) properties |= CL_QUEUE_PROFILING_ENABLE;
  cl_int status = CL_SUCCESS;
  fHandle = Table().clCreateCommandQueue(context.handle(), device.id(), properties, &status);
  Require(status, "clCreateCommandQueue");
}

CommandQueue::~CommandQueue() { Table().clReleaseCommandQueue(fHandle); }

}  // namespace KGX::OCL
