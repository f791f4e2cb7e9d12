// GPUs (gpuimpl.h) with what OpenGL and OpenCL alone tell of them.
#ifndef ZTUTIL_GPUIMPLHARDWARE_H_
#define ZTUTIL_GPUIMPLHARDWARE_H_

#include "gpuimpl.h"

#include <kgx/opencl.h>

#include <vector>

namespace KGX::OGL {
class Context;
}

// Stands for one GPU seen through OpenGL, with a context, or through OpenCL, with a device; never both. Every
// GL question makes its own context current and puts back the former one.
//
// The value getters throw what the layer throws, and std::runtime_error for a requirement that a driver
// breaks: a GL error, be it one that an earlier call left pending, or a failed OpenCL status. Errors are
// never read away. The two GL probes give false where the layer throws.
class GPUImplHardware : public GPUImpl {
 public:
  GPUImplHardware();
  ~GPUImplHardware() override;

 protected:
  // GPUImpl
  std::string DoGetGLVersion() const override;
  std::string DoGetGLName() const override;
  std::string DoGetGLVendor() const override;
  std::int32_t DoGetGLRectTextureSize() const override;
  std::string DoGetGLRenderer() const override;
  bool DoHasGLNPOTSupport() const override;
  std::string DoGetGLDriver() const override;
  std::string DoGetGLDriverDate() const override;
  std::string DoGetGLCaption() const override;
  bool DoCompileProgramGLSL() const override;
  bool DoGLFramebufferOK() const override;
  const char* DoGLGetString(std::uint32_t name) const override;
  void DoGLGetIntegerv(std::int32_t name, std::int32_t* out) const override;
  void DoGLGetProgramivARB(std::int32_t target, std::int32_t name, std::int32_t* out) const override;
  bool DoGLExtensionSupported(std::uint32_t id) const override;
  bool DoIsIntegratedGLGPU() const override;
  CLGPUList DoGetCLGPUs() const override;
  std::string DoGetCLPlatformVersion() const override;
  std::uint64_t DoGetCLMemoryMB() const override;
  std::string DoGetCLName() const override;
  std::string DoGetCLVendor() const override;
  std::uint32_t DoGetCLVendorID() const override;
  std::string DoGetCLDriverVersion() const override;
  bool DoIsCUDASupported() const override;
  std::string DoGetCUDAVersion() const override;
  double DoGetCLBandwidth() const override;
  double DoGetCLCompute() const override;
  double DoGetCLExtraMeasure() const override;
  std::string DoGetCLDeviceVersion() const override;
  bool DoIsIntegratedCLGPU() const override;

  boost::shared_ptr<KGX::OGL::Context> fGLContext;  // null where only OpenCL is asked
  KGX::OCL::Device fCLDevice;                       // a null device where only OpenGL is asked

 private:
  using Measurement = double (GPUImplHardware::*)(const KGX::OCL::Context& context,
                                                  const KGX::OCL::CommandQueue& queue) const;

  // The measurement's result, on a context and a profiling queue of its own. `name` and `label` are for the
  // log.
  double MeasureCL(const char* name, const char* label, Measurement measurement) const;

  // The best bandwidth of a few batches of copies, in bytes per second; 0 if the device tells no times.
  double checkBandwidthCL(const KGX::OCL::Context& context, const KGX::OCL::CommandQueue& queue) const;

  // The device time of one batch in seconds: a copy from `source` to `target` for each of the events, which
  // it makes.
  double timeBandwidthCL(const KGX::OCL::Context& context, const KGX::OCL::CommandQueue& queue,
                         std::vector<cl_event>& events, cl_mem source, cl_mem target) const;

  // The score of one run of the kernel; 0 if the device tells no times.
  double MeasureCLCompute(const KGX::OCL::Context& context, const KGX::OCL::CommandQueue& queue) const;
};

#endif  // ZTUTIL_GPUIMPLHARDWARE_H_
