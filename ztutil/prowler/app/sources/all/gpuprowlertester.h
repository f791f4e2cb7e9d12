// The prober's sequence of steps, and the tests that it runs on each GPU. One thread.
//
// Every step writes its findings, one line each, before the next step begins. So when a driver takes the
// process down, the last line tells how far it got.
#ifndef GPUPROWLERTESTER_H_
#define GPUPROWLERTESTER_H_

#include <ztutil/gpuimpl.h>
#include <ztutil/gpuprowlerappandhost.h>

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

class GPUProwlerApp;
class GPUProwlerTester;

// A GPU under test. The tag, such as "glgpu[0]", stands in front of all of its lines and never changes.
struct TaggedGPU {
  std::string fTag;
  boost::shared_ptr<GPU> fGPU;
};

using TaggedGPUList = std::list<TaggedGPU>;

// What is told of a failure on standard error. To be called in a handler of the exception.
std::string TextOfCurrentException();

// Something to be asked of one GPU.
class GPUTest {
 public:
  virtual ~GPUTest() = default;

  // Writes the answer and counts the step. What it throws ends the testing of that GPU.
  virtual void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const = 0;
};

// The general tester. A product derives its own from it.
class GPUProwlerTester : public GPUProwlerAppAndHost {
 public:
  // The application isn't owned and may be null.
  explicit GPUProwlerTester(GPUProwlerApp* app);
  ~GPUProwlerTester() override;
  GPUProwlerTester(const GPUProwlerTester&) = delete;
  GPUProwlerTester& operator=(const GPUProwlerTester&) = delete;

  // Steps of the run. What one of them throws, a programmed failure for example, ends the run.
  virtual void DoRunTester();
  virtual void DoRunKGXCoreInitialize();
  virtual void DoRunKGXOGLInitialize();
  virtual void DoRunAnyGLGPU();
  virtual void DoRunEnumerateGLGPUs();
  virtual void DoRunGLTests();
  virtual void DoRunKGXOCLInitialize();
  virtual void DoRunEnumerateCLGPUs();
  virtual void DoRunCLTests();
  virtual void DoRunNativeTests();
  virtual void DoRunEnumerateNativeGPUs();

  // Counts one step. Throws std::runtime_error when a programmed failure is due: at every count from
  // `crashAfter` on by way of DoCrash, and at the one count `throwAfter`. Counts begin with 0.
  virtual void CountStep();
  virtual void DoCrash();

  // The local time, such as "2026-11-13_21:05:09". Seconds are rounded, so that they can read 60.
  virtual std::string GetTimestamp() const;
  virtual void DoRunTimestamp(const std::string& key);

  // Runs the test on each GPU of the list. A GPU on which it throws leaves the list, counts as a failure, and
  // is told on standard error.
  virtual void RunTestOnGPUs(TaggedGPUList& list, const GPUTest& test);

  // Tests of an OpenGL device. Each writes one line and counts a step; one marked "if any" writes none for an
  // empty text.
  virtual void DoRunGLVersion(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLName(const std::string& tag, const GLGPU& gpu);  // if any
  virtual void DoRunIsIntegratedGLGPU(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLMemoryMB(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLVendor(const std::string& tag, const GLGPU& gpu);  // if any
  virtual void DoRunGLVendorID(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLDriverVersion(const std::string& tag, const GLGPU& gpu);  // if any
  virtual void DoRunGLRectTextureSize(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLRenderer(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLRendererID(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunHasGLNPOTSupport(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLDriver(const std::string& tag, const GLGPU& gpu);      // if any
  virtual void DoRunGLDriverDate(const std::string& tag, const GLGPU& gpu);  // if any
  virtual void DoRunCanCompileProgramGLSL(const std::string& tag, const GLGPU& gpu);
  virtual void DoRunGLFrameBufferOK(const std::string& tag, const GLGPU& gpu);

  // Tests of an OpenCL device
  virtual void DoRunCLPlatformVersion(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunIsIntegratedCLGPU(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunCLMemoryMB(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunCLName(const std::string& tag, const CLGPU& gpu);    // if any
  virtual void DoRunCLVendor(const std::string& tag, const CLGPU& gpu);  // if any
  virtual void DoRunCLVendorID(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunCLDriverVersion(const std::string& tag, const CLGPU& gpu);  // if any
  virtual void DoRunCUDASupported(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunCUDAVersion(const std::string& tag, const CLGPU& gpu);  // if there is CUDA
  virtual void DoRunCLBandwidth(const std::string& tag, const CLGPU& gpu);
  virtual void DoRunCLDeviceVersion(const std::string& tag, const CLGPU& gpu);

  // Test of a native device
  virtual void DoRunNativeName(const std::string& tag, const NativeGPU& gpu);  // if any

  // Tests by GL symbol. A line "gputag.NAME=code" tells the symbol, and a second one the device's answer. The
  // first goes out before the device is asked, but for DoRunGLGetIntegerv. DoRunGLGetString counts no step.
  virtual void DoRunGLGetString(const std::string& tag, const GLGPU& gpu, const char* name,
                                std::uint32_t code);
  virtual void DoRunGLGetIntegerv(const std::string& tag, const GLGPU& gpu, const char* name,
                                  std::int32_t code, std::size_t count);
  virtual void DoRunGLGetProgramivARB(const std::string& tag, const GLGPU& gpu, const char* name,
                                      std::int32_t code, std::size_t count);
  virtual void DoRunExtension(const std::string& tag, const GLGPU& gpu, const char* name, std::uint32_t code);

  // Walks all steps, once.
  void Run();

  // The programmed failures, compared as unsigned numbers: -1 means never.
  std::int32_t GetCrashAfter() const { return static_cast<std::int32_t>(fCrashAfter); }
  void SetCrashAfter(std::int32_t count) { fCrashAfter = static_cast<std::uint32_t>(count); }
  std::int32_t GetThrowAfter() const { return static_cast<std::int32_t>(fThrowAfter); }
  void SetThrowAfter(std::int32_t count) { fThrowAfter = static_cast<std::uint32_t>(count); }

  // How many GPUs failed a test.
  std::int32_t GetFailures() const { return fFailures; }
  void AddFailure() { ++fFailures; }

  TaggedGPUList GetGLGPUs() const { return fGLGPUs; }
  TaggedGPUList GetCLGPUs() const { return fCLGPUs; }
  TaggedGPUList GetNativeGPUs() const { return fNativeGPUs; }

 protected:
  // Runs the test on a copy of the list, from which failing GPUs go, and takes the copy over if it has become
  // shorter. Tests of a product run so, all of them on one copy.
  template <class RunTests>
  void RunTestsOnCopy(TaggedGPUList& list, RunTests runTests) {
    TaggedGPUList copy = list;
    if (copy.empty()) return;
    runTests(copy);
    if (copy.size() < list.size()) list = copy;
  }

  bool fOpenCLAvailable = false;
  std::uint32_t fCrashAfter = static_cast<std::uint32_t>(-1);
  std::uint32_t fStepCount = 0;
  std::uint32_t fThrowAfter = static_cast<std::uint32_t>(-1);
  std::int32_t fFailures = 0;
  TaggedGPUList fGLGPUs;
  TaggedGPUList fCLGPUs;
  TaggedGPUList fNativeGPUs;
  GPUProwlerApp* const fApp;
};

#endif  // GPUPROWLERTESTER_H_
