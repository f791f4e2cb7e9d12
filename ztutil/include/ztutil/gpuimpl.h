// The machine's GPUs, one object for each that OpenGL or OpenCL reaches, and the one interface behind which
// all asking of drivers lies. A driver may crash or hang where it is asked: a host has the prober ask, in a
// process of its own (consoleappaccessor.h), and these objects are the prober's.
//
// A GLGPU or a CLGPU is a thin object over a shared GPUImpl, which does the work. What a question throws is
// told at the implementations. All of this belongs to one thread.
#ifndef ZTUTIL_GPUIMPL_H_
#define ZTUTIL_GPUIMPL_H_

#include <ztutil/failurehook.h>

#include <boost/shared_ptr.hpp>

#include <cassert>
#include <cstdint>
#include <list>
#include <string>

class CLGPU;
class GLGPU;
class NativeGPU;

// PCI vendor ids.
inline constexpr std::uint32_t kVendorNVIDIA = 0x10DE;
inline constexpr std::uint32_t kVendorAMD = 0x1002;
inline constexpr std::uint32_t kVendorIntel = 0x8086;

using GLGPUList = std::list<boost::shared_ptr<GLGPU>>;
using CLGPUList = std::list<boost::shared_ptr<CLGPU>>;
using NativeGPUList = std::list<boost::shared_ptr<NativeGPU>>;

// What can be asked of a GPU. GetX is for callers, DoGetX for implementers. Values are the driver's own, raw.
class GPUImpl {
 public:
  // Enumeration and identity of OpenGL devices. The objects in the list keep what they need alive.
  GLGPUList GetGPUs() const { return DoGetGPUs(); }
  std::string GetGLVersion() const { return DoGetGLVersion(); }
  std::uint32_t GetGLMemoryMB() const { return DoGetGLMemoryMB(); }
  std::string GetGLName() const { return DoGetGLName(); }
  std::string GetGLVendor() const { return DoGetGLVendor(); }
  std::uint32_t GetGLVendorID() const { return DoGetGLVendorID(); }
  std::string GetGLDriverVersion() const { return DoGetGLDriverVersion(); }
  std::int32_t GetGLRectTextureSize() const { return DoGetGLRectTextureSize(); }
  std::string GetGLRenderer() const { return DoGetGLRenderer(); }
  std::uint32_t GetGLRendererID() const { return DoGetGLRendererID(); }
  bool HasGLNPOTSupport() const { return DoHasGLNPOTSupport(); }
  std::string GetGLDriver() const { return DoGetGLDriver(); }
  std::string GetGLDriverDate() const { return DoGetGLDriverDate(); }
  std::string GetGLCaption() const { return DoGetGLCaption(); }

  // OpenGL probes
  bool CompileProgramGLSL() const { return DoCompileProgramGLSL(); }
  bool GLFramebufferOK() const { return DoGLFramebufferOK(); }

  // OpenGL getters. The text is never null; it belongs to GL, and lives as long as the GPU's context. `out`
  // has room for all values of that name.
  const char* GLGetString(std::uint32_t name) const { return DoGLGetString(name); }
  void GLGetIntegerv(std::int32_t name, std::int32_t* out) const { DoGLGetIntegerv(name, out); }
  void GLGetProgramivARB(std::int32_t target, std::int32_t name, std::int32_t* out) const {
    DoGLGetProgramivARB(target, name, out);
  }
  bool GLExtensionSupported(std::uint32_t id) const { return DoGLExtensionSupported(id); }
  bool IsIntegratedGLGPU() const { return DoIsIntegratedGLGPU(); }

  // OpenCL devices
  CLGPUList GetCLGPUs() const { return DoGetCLGPUs(); }
  std::string GetCLPlatformVersion() const { return DoGetCLPlatformVersion(); }
  std::uint64_t GetCLMemoryMB() const { return DoGetCLMemoryMB(); }
  std::string GetCLName() const { return DoGetCLName(); }
  std::string GetCLVendor() const { return DoGetCLVendor(); }
  std::uint32_t GetCLVendorID() const { return DoGetCLVendorID(); }
  std::string GetCLDriverVersion() const { return DoGetCLDriverVersion(); }
  bool IsCUDASupported() const { return DoIsCUDASupported(); }
  std::string GetCUDAVersion() const { return DoGetCUDAVersion(); }

  // OpenCL measurements: bytes per second; 2^30 multiplications per second; a reserved one that gives 0.
  double GetCLBandwidth() const { return DoGetCLBandwidth(); }
  double GetCLCompute() const { return DoGetCLCompute(); }
  double GetCLExtraMeasure() const { return DoGetCLExtraMeasure(); }
  std::string GetCLDeviceVersion() const { return DoGetCLDeviceVersion(); }
  bool IsIntegratedCLGPU() const { return DoIsIntegratedCLGPU(); }

  // Native devices
  NativeGPUList GetNativeGPUs() const { return DoGetNativeGPUs(); }
  std::string GetNativeName() const { return DoGetNativeName(); }

  virtual ~GPUImpl() = default;

 protected:
  virtual GLGPUList DoGetGPUs() const = 0;
  virtual std::string DoGetGLVersion() const = 0;
  virtual std::uint32_t DoGetGLMemoryMB() const = 0;
  virtual std::string DoGetGLName() const = 0;
  virtual std::string DoGetGLVendor() const = 0;
  virtual std::uint32_t DoGetGLVendorID() const = 0;
  virtual std::string DoGetGLDriverVersion() const = 0;
  virtual std::int32_t DoGetGLRectTextureSize() const = 0;
  virtual std::string DoGetGLRenderer() const = 0;
  virtual std::uint32_t DoGetGLRendererID() const = 0;
  virtual bool DoHasGLNPOTSupport() const = 0;
  virtual std::string DoGetGLDriver() const = 0;
  virtual std::string DoGetGLDriverDate() const = 0;
  virtual std::string DoGetGLCaption() const = 0;
  virtual bool DoCompileProgramGLSL() const = 0;
  virtual bool DoGLFramebufferOK() const = 0;
  virtual const char* DoGLGetString(std::uint32_t name) const = 0;
  virtual void DoGLGetIntegerv(std::int32_t name, std::int32_t* out) const = 0;
  virtual void DoGLGetProgramivARB(std::int32_t target, std::int32_t name, std::int32_t* out) const = 0;
  virtual bool DoGLExtensionSupported(std::uint32_t id) const = 0;
  virtual bool DoIsIntegratedGLGPU() const = 0;
  virtual CLGPUList DoGetCLGPUs() const = 0;
  virtual std::string DoGetCLPlatformVersion() const = 0;
  virtual std::uint64_t DoGetCLMemoryMB() const = 0;
  virtual std::string DoGetCLName() const = 0;
  virtual std::string DoGetCLVendor() const = 0;
  virtual std::uint32_t DoGetCLVendorID() const = 0;
  virtual std::string DoGetCLDriverVersion() const = 0;
  virtual bool DoIsCUDASupported() const = 0;
  virtual std::string DoGetCUDAVersion() const = 0;
  virtual double DoGetCLBandwidth() const = 0;
  virtual double DoGetCLCompute() const = 0;
  virtual double DoGetCLExtraMeasure() const = 0;
  virtual std::string DoGetCLDeviceVersion() const = 0;
  virtual bool DoIsIntegratedCLGPU() const = 0;
  virtual NativeGPUList DoGetNativeGPUs() const = 0;
  virtual std::string DoGetNativeName() const = 0;
};

// A new object that stands for no GPU yet: it is there to be asked for the lists of GPUs. Never null.
boost::shared_ptr<GPUImpl> CreateGPUImpl();

// What OpenGL and OpenCL both tell of a GPU.
class GPU {
 public:
  virtual ~GPU() = default;

  virtual std::string GetVersion() const = 0;
  virtual std::uint32_t GetMemoryMB() const = 0;
  virtual std::string GetName() const = 0;
  virtual std::string GetVendor() const = 0;
  virtual std::uint32_t GetVendorID() const = 0;
  virtual std::string GetDriverVersion() const = 0;
  virtual bool IsIntegrated() const = 0;

 protected:
  explicit GPU(const boost::shared_ptr<GPUImpl>& impl) : fImpl(impl) {}

  const GPUImpl& Impl() const {
    assert(fImpl != nullptr);
    return *fImpl;
  }

 private:
  const boost::shared_ptr<GPUImpl> fImpl;
};

// A GPU seen through OpenGL.
class GLGPU : public GPU {
 public:
  explicit GLGPU(const boost::shared_ptr<GPUImpl>& impl) : GPU(impl) {}

  // GPU
  std::string GetVersion() const override { return Impl().GetGLVersion(); }
  std::uint32_t GetMemoryMB() const override { return Impl().GetGLMemoryMB(); }
  std::string GetName() const override { return Impl().GetGLName(); }
  std::string GetVendor() const override { return Impl().GetGLVendor(); }
  std::uint32_t GetVendorID() const override { return Impl().GetGLVendorID(); }
  std::string GetDriverVersion() const override { return Impl().GetGLDriverVersion(); }
  bool IsIntegrated() const override { return Impl().IsIntegratedGLGPU(); }

  std::int32_t GetRectTextureSize() const { return Impl().GetGLRectTextureSize(); }
  std::string GetRenderer() const { return Impl().GetGLRenderer(); }
  std::uint32_t GetRendererID() const { return Impl().GetGLRendererID(); }
  bool HasNPOTSupport() const { return Impl().HasGLNPOTSupport(); }
  std::string GetDriver() const { return Impl().GetGLDriver(); }
  std::string GetDriverDate() const { return Impl().GetGLDriverDate(); }
  std::string GetCaption() const { return Impl().GetGLCaption(); }
  bool CanCompileProgramGLSL() const { return Impl().CompileProgramGLSL(); }
  bool GLFrameBufferOK() const { return Impl().GLFramebufferOK(); }
  const char* GLGetString(std::uint32_t name) const { return Impl().GLGetString(name); }
  void GLGetIntegerv(std::int32_t name, std::int32_t* out) const { Impl().GLGetIntegerv(name, out); }
  // Always of the target GL_FRAGMENT_PROGRAM_ARB.
  void GLGetProgramivARB(std::int32_t name, std::int32_t* out) const;
  bool IsExtensionSupported(std::uint32_t id) const { return Impl().GLExtensionSupported(id); }
};

// A GPU seen through OpenCL.
class CLGPU : public GPU {
 public:
  explicit CLGPU(const boost::shared_ptr<GPUImpl>& impl) : GPU(impl) {}

  // GPU
  std::string GetVersion() const override { return Impl().GetCLPlatformVersion(); }
  // The low 32 bits of the figure.
  std::uint32_t GetMemoryMB() const override { return static_cast<std::uint32_t>(Impl().GetCLMemoryMB()); }
  std::string GetName() const override { return Impl().GetCLName(); }
  std::string GetVendor() const override { return Impl().GetCLVendor(); }
  std::uint32_t GetVendorID() const override { return Impl().GetCLVendorID(); }
  std::string GetDriverVersion() const override { return Impl().GetCLDriverVersion(); }
  bool IsIntegrated() const override { return Impl().IsIntegratedCLGPU(); }

  virtual bool IsCUDASupported() const { return Impl().IsCUDASupported(); }
  virtual std::string GetCUDAVersion() const { return Impl().GetCUDAVersion(); }
  virtual double GetCLBandwidth() const { return Impl().GetCLBandwidth(); }
  virtual double GetCLExtraMeasure() const { return Impl().GetCLExtraMeasure(); }
  virtual std::string GetCLDeviceVersion() const { return Impl().GetCLDeviceVersion(); }

  double GetCLCompute() const { return Impl().GetCLCompute(); }

 private:
  [[maybe_unused]] std::int32_t fIndex = -1;  // reserved
};

// A GPU of an interface that one platform alone has. No platform makes one yet; the tester would ask it for
// its name.
class NativeGPU : public GPU {
 protected:
  using GPU::GPU;
};

// The machine's physical memory in bytes. Throws std::runtime_error with "GlobalMemoryStatusEx failed".
std::uint64_t GetInstalledRAM();

#endif  // ZTUTIL_GPUIMPL_H_
