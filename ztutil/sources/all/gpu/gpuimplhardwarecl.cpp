// The OpenCL side of GPUImplHardware: devices, their properties, and the two measurements.
#include "answerlimits.h"
#include "gpu/probeprogram.h"

#include <ztutil/gpuimplhardware.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// The bandwidth measurement: batches of copies from one buffer to another, up to a number of copies or until
// the device has spent long enough on them.
constexpr std::size_t kBandwidthBufferBytes = 16777216;
constexpr int kBandwidthCopiesPerBatch = 10;
constexpr int kBandwidthMaxIterations = 100;
constexpr double kBandwidthMinSeconds = 1.0;
// Each byte of a copy counts twice, once read and once written.
constexpr double kBandwidthBytesPerBatch = 2.0 * kBandwidthCopiesPerBatch * kBandwidthBufferBytes;

// The compute measurement: one work item an element. 2 x 4096 multiplications an element make 8 x 2^30 in
// all.
constexpr std::size_t kComputeElements = 1048576;
constexpr std::size_t kComputeBufferBytes = kComputeElements * sizeof(float);
constexpr std::size_t kComputeLocalSize = 64;
constexpr double kComputeScoreNumerator = 8.0;

const KGX::OCL::EntryPoints& CL() { return KGX::OCL::ExtensionManager::instance()->table(); }

void RequireSuccess(cl_int ciErrNum) {
  if (ciErrNum != CL_SUCCESS) FailRequirement("Failed requirement: ciErrNum == CL_SUCCESS");
}

// A text of the device; fails the requirement where the driver refuses, and throws LogicalException where its
// length is beyond all reason.
std::string DeviceText(cl_device_id device, cl_device_info property, const char* requirement) {
  std::size_t size = 0;
  if (CL().clGetDeviceInfo(device, property, 0, nullptr, &size) != CL_SUCCESS) FailRequirement(requirement);
  KGX::RequireAtMost(size, KGX::kMaxText, "clGetDeviceInfo");
  std::string text(size, '\0');
  if (size > 0 && CL().clGetDeviceInfo(device, property, size, text.data(), nullptr) != CL_SUCCESS) {
    FailRequirement(requirement);
  }
  return text;
}

std::string UpToNUL(const std::string& text) { return text.substr(0, text.find('\0')); }

// A version text less the "OpenCL " in front.
std::string WithoutPrefix(const std::string& text) {
  constexpr std::string_view kPrefix = "OpenCL ";
  return text.compare(0, kPrefix.size(), kPrefix) == 0 ? text.substr(kPrefix.size()) : text;
}

// Takes "OpenCL 1.2 CUDA 10.2.120" apart into "1.2" and "10.2.120"; without " CUDA " all of it is the
// version.
void SplitVersion(const std::string& text, std::string& version, std::string& cuda) {
  constexpr std::string_view kMark = " CUDA ";
  const std::string rest = WithoutPrefix(text);
  const std::size_t mark = rest.find(kMark);
  version = UpToNUL(rest.substr(0, mark));
  cuda = mark != std::string::npos ? UpToNUL(rest.substr(mark + kMark.size())) : "";
}

// What the device itself says it spent on a command, in seconds. A driver that has nothing to say leaves 0.
double DeviceSeconds(cl_event event) {
  cl_ulong end = 0;
  cl_ulong start = 0;
  CL().clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_END, sizeof end, &end, nullptr);
  CL().clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_START, sizeof start, &start, nullptr);
  return static_cast<double>(end - start) * 1e-9;
}

cl_mem CreateBuffer(const KGX::OCL::Context& context, cl_mem_flags flags, std::size_t bytes, void* data) {
  cl_int status = CL_SUCCESS;
  const cl_mem buffer = CL().clCreateBuffer(context.handle(), flags, bytes, data, &status);
  RequireSuccess(status);
  return buffer;
}

}  // namespace

CLGPUList GPUImplHardware::DoGetCLGPUs() const {
  CLGPUList gpus;
  for (const KGX::OCL::Platform& platform : KGX::OCL::platforms()) {
    try {
      for (const KGX::OCL::Device& device : platform.devices(CL_DEVICE_TYPE_GPU)) {
        try {
          const auto impl = boost::dynamic_pointer_cast<GPUImplHardware>(CreateGPUImpl());
          impl->fCLDevice = device;
          gpus.push_back(boost::make_shared<CLGPU>(impl));
        } catch (...) {
        }
      }
    } catch (...) {
    }
  }
  return gpus;
}

std::string GPUImplHardware::DoGetCLPlatformVersion() const {
  std::string version;
  std::string cuda;
  SplitVersion(fCLDevice.platform().version(), version, cuda);
  return version;
}

std::uint64_t GPUImplHardware::DoGetCLMemoryMB() const {
  return fCLDevice.GetInfo<std::uint64_t>(CL_DEVICE_GLOBAL_MEM_SIZE) >> 20;
}

std::string GPUImplHardware::DoGetCLName() const { return UpToNUL(fCLDevice.name()); }

std::string GPUImplHardware::DoGetCLVendor() const { return UpToNUL(fCLDevice.vendor()); }

std::uint32_t GPUImplHardware::DoGetCLVendorID() const {
  return fCLDevice.GetInfo<std::uint32_t>(CL_DEVICE_VENDOR_ID);
}

std::string GPUImplHardware::DoGetCLDriverVersion() const {
  return UpToNUL(DeviceText(fCLDevice.id(), CL_DRIVER_VERSION, "clGetDeviceInfo failed"));
}

bool GPUImplHardware::DoIsCUDASupported() const { return !DoGetCUDAVersion().empty(); }

std::string GPUImplHardware::DoGetCUDAVersion() const {
  std::string version;
  std::string cuda;
  SplitVersion(fCLDevice.platform().version(), version, cuda);
  return cuda;
}

double GPUImplHardware::DoGetCLBandwidth() const {
  return MeasureCL("GPUImplHardware::DoGetCLBandwidth",
                   "bytesPerSecond=", &GPUImplHardware::checkBandwidthCL);
}

double GPUImplHardware::MeasureCL(const char* name, const char* label, Measurement measurement) const {
  ZT_LOG_SCOPE(gGPUProwler, name);
  const KGX::OCL::Platform platform = fCLDevice.platform();
  const KGX::OCL::ContextProperties properties(platform);
  ZT_LOG(gGPUProwler, name << ": KGX::OCL::Context context(properties, *iDev);");
  const KGX::OCL::Context context(properties, fCLDevice, {});
  ZT_LOG(gGPUProwler, name << ": KGX::OCL::CommandQueue cq(context, *iDev, false, true);");
  const KGX::OCL::CommandQueue queue(context, fCLDevice, false, true);
  const double result = (this->*measurement)(context, queue);
  ZT_LOG(gGPUProwler, label << result);
  ZT_LOG(gGPUProwler, name << ": result=" << result);
  return result;
}

double GPUImplHardware::checkBandwidthCL(const KGX::OCL::Context& context,
                                         const KGX::OCL::CommandQueue& queue) const {
  ZT_LOG_SCOPE(gGPUProwler, "GPUImplHardware::checkBandwidthCL");
  ZT_LOG(gGPUProwler,
         "GPUImplHardware::checkBandwidthCL: clCreateBuffer d_idata nbytes=" << kBandwidthBufferBytes);
  const cl_mem source = CreateBuffer(context, CL_MEM_READ_ONLY, kBandwidthBufferBytes, nullptr);
  ZT_LOG(gGPUProwler,
         "GPUImplHardware::checkBandwidthCL: clCreateBuffer d_odata nbytes=" << kBandwidthBufferBytes);
  const cl_mem target = CreateBuffer(context, CL_MEM_WRITE_ONLY, kBandwidthBufferBytes, nullptr);
  ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: clFinish");
  CL().clFinish(queue.handle());

  ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: copy " << kBandwidthMaxIterations << " iterations");
  // Only the events of the last batch are released. There are ten batches at most, and the context takes the
  // others along.
  std::vector<cl_event> events(kBandwidthCopiesPerBatch, nullptr);
  double totalSeconds = 0.0;
  double maxBW = 0.0;
  for (int i = 0; totalSeconds < kBandwidthMinSeconds && i < kBandwidthMaxIterations;
       i += kBandwidthCopiesPerBatch) {
    ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: " << i << " of " << kBandwidthMaxIterations
                                                              << ", totalSeconds=" << totalSeconds);
    const double seconds = timeBandwidthCL(context, queue, events, source, target);
    ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: seconds=" << seconds);
    if (!(seconds > 0)) continue;
    totalSeconds += seconds;
    const double BW = kBandwidthBytesPerBatch / seconds;
    maxBW = std::max(maxBW, BW);
    ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: totalSeconds=" << totalSeconds << ", BW=" << BW
                                                                           << ", maxBW=" << maxBW);
  }

  ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: clFinish");
  CL().clFinish(queue.handle());
  for (const cl_event event : events) CL().clReleaseEvent(event);
  ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: releasing");
  CL().clReleaseMemObject(source);
  CL().clReleaseMemObject(target);
  ZT_LOG(gGPUProwler, "GPUImplHardware::checkBandwidthCL: result=" << maxBW);
  return maxBW;
}

double GPUImplHardware::timeBandwidthCL(const KGX::OCL::Context&, const KGX::OCL::CommandQueue& queue,
                                        std::vector<cl_event>& events, cl_mem source, cl_mem target) const {
  for (cl_event& event : events) {
    RequireSuccess(CL().clEnqueueCopyBuffer(queue.handle(), source, target, 0, 0, kBandwidthBufferBytes, 0,
                                            nullptr, &event));
  }
  CL().clFinish(queue.handle());
  double totalSeconds = 0.0;
  for (const cl_event event : events) totalSeconds += DeviceSeconds(event);
  ZT_LOG(gGPUProwler, "GPUImplHardware::timeBandwidthCL: totalSeconds=" << totalSeconds);
  return totalSeconds;
}

double GPUImplHardware::DoGetCLCompute() const {
  // The label says time, and the value is the score: that is how the log has it.
  return MeasureCL("GPUImplHardware::DoGetCLCompute",
                   "timeForKernelExecution=", &GPUImplHardware::MeasureCLCompute);
}

double GPUImplHardware::MeasureCLCompute(const KGX::OCL::Context& context,
                                         const KGX::OCL::CommandQueue& queue) const {
  ZT_LOG_SCOPE(gGPUProwler, "GPUImplHardware::MeasureCLCompute");
  std::vector<float> floats(kComputeElements);
  std::generate(floats.begin(), floats.end(), [] { return static_cast<float>(std::rand()); });

  // The event, the kernel and the program aren't released: the context takes them along.
  cl_int status = CL_SUCCESS;
  const char* source = kComputeKernelSource;
  const cl_program program = CL().clCreateProgramWithSource(context.handle(), 1, &source, nullptr, &status);
  RequireSuccess(status);
  RequireSuccess(CL().clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
  const cl_kernel kernel = CL().clCreateKernel(program, kComputeKernelName, &status);
  RequireSuccess(status);
  const cl_mem buffer =
      CreateBuffer(context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR, kComputeBufferBytes, floats.data());
  const cl_uint len = kComputeElements;
  RequireSuccess(CL().clSetKernelArg(kernel, 0, sizeof buffer, &buffer));
  RequireSuccess(CL().clSetKernelArg(kernel, 1, sizeof len, &len));
  const std::size_t global = kComputeElements;
  const std::size_t local = kComputeLocalSize;
  cl_event event = nullptr;
  RequireSuccess(
      CL().clEnqueueNDRangeKernel(queue.handle(), kernel, 1, nullptr, &global, &local, 0, nullptr, &event));
  RequireSuccess(CL().clWaitForEvents(1, &event));
  const double seconds = DeviceSeconds(event);

  ZT_LOG(gGPUProwler, "GPUImplHardware::MeasureCLCompute: clFinish");
  CL().clFinish(queue.handle());
  CL().clReleaseMemObject(buffer);
  ZT_LOG(gGPUProwler, "GPUImplHardware::MeasureCLCompute: result=" << seconds);
  return seconds > 0 ? kComputeScoreNumerator / seconds : 0.0;
}

double GPUImplHardware::DoGetCLExtraMeasure() const { return 0.0; }

std::string GPUImplHardware::DoGetCLDeviceVersion() const {
  constexpr char kRequirement[] = "Failed requirement: status == CL_SUCCESS";
  return UpToNUL(WithoutPrefix(DeviceText(fCLDevice.id(), CL_DEVICE_VERSION, kRequirement)));
}

bool GPUImplHardware::DoIsIntegratedCLGPU() const {
  cl_bool unified = 0;
  const cl_int status =
      CL().clGetDeviceInfo(fCLDevice.id(), CL_DEVICE_HOST_UNIFIED_MEMORY, sizeof unified, &unified, nullptr);
  return status == CL_SUCCESS && unified != 0;
}
