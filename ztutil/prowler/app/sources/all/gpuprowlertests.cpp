// The tests that are run on each GPU.
#include "gpuprowlertester.h"
#include "gputests.h"
#include "reportlines.h"

#include <kgx/opengltypes.h>
#include <ztutil/ztlogging.h>

#include <vector>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};
ztutil::DebugFlag gGPUProwlerOCLDelay{"GPUProwlerOCLDelay"};

using GLTest = TestFunc<GPUProwlerTester, GLGPU>;
using CLTest = TestFunc<GPUProwlerTester, CLGPU>;
using NativeTest = TestFunc<GPUProwlerTester, NativeGPU>;

void PutTextIfAny(const std::string& tag, const char* key, const std::string& text) {
  if (!text.empty()) PutText(tag, key, text);
}

void PutGPUTag(const char* name, std::int64_t code) { PutValue(ProwlerKey::kGPUTag, name, code); }

std::string Indexed(const std::string& key, const char* name) { return key + "[" + name + "]"; }

// "[8]", "[8, 0]"; the bracket opens with the first number, so that no number at all gives "]".
std::string ListText(const std::vector<std::int32_t>& values) {
  std::string text;
  for (const std::int32_t value : values) text += (text.empty() ? "[" : ", ") + std::to_string(value);
  return text + "]";
}

}  // namespace

// The order in which the tests are run is that of the report. It isn't that of the operations.

void GPUProwlerTester::DoRunGLTests() {
  for (const GLTest::Function test : {
           &GPUProwlerTester::DoRunGLVersion,
           &GPUProwlerTester::DoRunIsIntegratedGLGPU,
           &GPUProwlerTester::DoRunGLMemoryMB,
           &GPUProwlerTester::DoRunGLName,
           &GPUProwlerTester::DoRunGLVendor,
           &GPUProwlerTester::DoRunGLVendorID,
           &GPUProwlerTester::DoRunGLDriverVersion,
           &GPUProwlerTester::DoRunGLRectTextureSize,
           &GPUProwlerTester::DoRunGLRenderer,
           &GPUProwlerTester::DoRunGLRendererID,
           &GPUProwlerTester::DoRunHasGLNPOTSupport,
           &GPUProwlerTester::DoRunGLDriver,
           &GPUProwlerTester::DoRunGLDriverDate,
           &GPUProwlerTester::DoRunCanCompileProgramGLSL,
           &GPUProwlerTester::DoRunGLFrameBufferOK,
       }) {
    RunTestOnGPUs(fGLGPUs, GLTest(test));
  }
}

void GPUProwlerTester::DoRunCLTests() {
  for (const CLTest::Function test : {
           &GPUProwlerTester::DoRunCLPlatformVersion,
           &GPUProwlerTester::DoRunCLDeviceVersion,
           &GPUProwlerTester::DoRunIsIntegratedCLGPU,
           &GPUProwlerTester::DoRunCLMemoryMB,
           &GPUProwlerTester::DoRunCLName,
           &GPUProwlerTester::DoRunCLVendor,
           &GPUProwlerTester::DoRunCLVendorID,
           &GPUProwlerTester::DoRunCLDriverVersion,
           &GPUProwlerTester::DoRunCUDASupported,
           &GPUProwlerTester::DoRunCUDAVersion,
           &GPUProwlerTester::DoRunCLBandwidth,
       }) {
    RunTestOnGPUs(fCLGPUs, CLTest(test));
  }
}

void GPUProwlerTester::DoRunNativeTests() {
  RunTestOnGPUs(fNativeGPUs, NativeTest(&GPUProwlerTester::DoRunNativeName));
}

void GPUProwlerTester::DoRunGLVersion(const std::string& tag, const GLGPU& gpu) {
  PutText(tag, ProwlerKey::kGLVersion, gpu.GetVersion());
  CountStep();
}

void GPUProwlerTester::DoRunGLName(const std::string& tag, const GLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kGLName, gpu.GetName());
  CountStep();
}

void GPUProwlerTester::DoRunIsIntegratedGLGPU(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kIsIntegratedGLGPU, gpu.IsIntegrated());
  CountStep();
}

void GPUProwlerTester::DoRunGLMemoryMB(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kGLMemoryMB, gpu.GetMemoryMB());
  CountStep();
}

void GPUProwlerTester::DoRunGLVendor(const std::string& tag, const GLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kGLVendor, gpu.GetVendor());
  CountStep();
}

void GPUProwlerTester::DoRunGLVendorID(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kGLVendorID, gpu.GetVendorID());
  CountStep();
}

void GPUProwlerTester::DoRunGLDriverVersion(const std::string& tag, const GLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kGLDriverVersion, gpu.GetDriverVersion());
  CountStep();
}

void GPUProwlerTester::DoRunGLRectTextureSize(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kGLRectTextureSize, static_cast<std::uint32_t>(gpu.GetRectTextureSize()));
  CountStep();
}

void GPUProwlerTester::DoRunGLRenderer(const std::string& tag, const GLGPU& gpu) {
  PutText(tag, ProwlerKey::kGLRenderer, gpu.GetRenderer());
  CountStep();
}

void GPUProwlerTester::DoRunGLRendererID(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kGLRendererID, gpu.GetRendererID());
  CountStep();
}

void GPUProwlerTester::DoRunHasGLNPOTSupport(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kHasGLNPOTSupport, gpu.HasNPOTSupport());
  CountStep();
}

void GPUProwlerTester::DoRunGLDriver(const std::string& tag, const GLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kGLDriver, gpu.GetDriver());
  CountStep();
}

void GPUProwlerTester::DoRunGLDriverDate(const std::string& tag, const GLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kGLDriverDate, gpu.GetDriverDate());
  CountStep();
}

void GPUProwlerTester::DoRunCanCompileProgramGLSL(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kCanCompileProgramGLSL, gpu.CanCompileProgramGLSL());
  CountStep();
}

void GPUProwlerTester::DoRunGLFrameBufferOK(const std::string& tag, const GLGPU& gpu) {
  PutValue(tag, ProwlerKey::kGLFrameBufferOK, gpu.GLFrameBufferOK());
  CountStep();
}

void GPUProwlerTester::DoRunCLPlatformVersion(const std::string& tag, const CLGPU& gpu) {
  PutText(tag, ProwlerKey::kCLPlatformVersion, gpu.GetVersion());
  CountStep();
}

void GPUProwlerTester::DoRunIsIntegratedCLGPU(const std::string& tag, const CLGPU& gpu) {
  PutValue(tag, ProwlerKey::kIsIntegratedCLGPU, gpu.IsIntegrated());
  CountStep();
}

void GPUProwlerTester::DoRunCLMemoryMB(const std::string& tag, const CLGPU& gpu) {
  PutValue(tag, ProwlerKey::kCLMemoryMB, gpu.GetMemoryMB());
  CountStep();
}

void GPUProwlerTester::DoRunCLName(const std::string& tag, const CLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kCLName, gpu.GetName());
  CountStep();
}

void GPUProwlerTester::DoRunCLVendor(const std::string& tag, const CLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kCLVendor, gpu.GetVendor());
  CountStep();
}

void GPUProwlerTester::DoRunCLVendorID(const std::string& tag, const CLGPU& gpu) {
  PutValue(tag, ProwlerKey::kCLVendorID, gpu.GetVendorID());
  CountStep();
}

void GPUProwlerTester::DoRunCLDriverVersion(const std::string& tag, const CLGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kCLDriverVersion, gpu.GetDriverVersion());
  CountStep();
}

void GPUProwlerTester::DoRunCUDASupported(const std::string& tag, const CLGPU& gpu) {
  PutValue(tag, ProwlerKey::kCUDASupported, gpu.IsCUDASupported());
  CountStep();
}

void GPUProwlerTester::DoRunCUDAVersion(const std::string& tag, const CLGPU& gpu) {
  if (gpu.IsCUDASupported()) PutTextIfAny(tag, ProwlerKey::kCUDAVersion, gpu.GetCUDAVersion());
  CountStep();
}

void GPUProwlerTester::DoRunCLBandwidth(const std::string& tag, const CLGPU& gpu) {
  ZT_LOG_SCOPE(gGPUProwler, "GPUProwlerTester::DoRunCLBandwidth");
  const double end = ztutil::Now() + ztutil::DebugFlagValue(gGPUProwlerOCLDelay);
  while (ztutil::Now() < end) continue;
  PutValue(tag, ProwlerKey::kCLBandwidth, gpu.GetCLBandwidth());
  CountStep();
}

void GPUProwlerTester::DoRunCLDeviceVersion(const std::string& tag, const CLGPU& gpu) {
  PutText(tag, ProwlerKey::kCLDeviceVersion, gpu.GetCLDeviceVersion());
  CountStep();
}

void GPUProwlerTester::DoRunNativeName(const std::string& tag, const NativeGPU& gpu) {
  PutTextIfAny(tag, ProwlerKey::kNativeName, gpu.GetName());
  CountStep();
}

void GPUProwlerTester::DoRunGLGetString(const std::string& tag, const GLGPU& gpu, const char* name,
                                        std::uint32_t code) {
  PutGPUTag(name, code);
  PutText(tag, Indexed(ProwlerKey::kGLGetString, name), gpu.GLGetString(code));
}

void GPUProwlerTester::DoRunGLGetIntegerv(const std::string& tag, const GLGPU& gpu, const char* name,
                                          std::int32_t code, std::size_t count) {
  std::vector<std::int32_t> values(count, 0);
  gpu.GLGetIntegerv(code, values.data());
  PutGPUTag(name, code);
  PutValue(tag, Indexed(ProwlerKey::kGLGetIntegerv, name), ListText(values));
  CountStep();
}

void GPUProwlerTester::DoRunGLGetProgramivARB(const std::string& tag, const GLGPU& gpu, const char* name,
                                              std::int32_t code, std::size_t count) {
  std::vector<std::int32_t> values(count, 0);
  PutGPUTag("GL_FRAGMENT_PROGRAM_ARB", KGX::OGL::kGL_FRAGMENT_PROGRAM_ARB);
  PutGPUTag(name, code);
  gpu.GLGetProgramivARB(code, values.data());
  PutValue(tag, Indexed(Indexed(ProwlerKey::kGLGetProgramivARB, "GL_FRAGMENT_PROGRAM_ARB"), name),
           ListText(values));
  CountStep();
}

void GPUProwlerTester::DoRunExtension(const std::string& tag, const GLGPU& gpu, const char* name,
                                      std::uint32_t code) {
  PutGPUTag(name, code);
  PutValue(tag, Indexed(ProwlerKey::kExtension, name), gpu.IsExtensionSupported(code));
  CountStep();
}

void GLStringTest::operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const {
  const auto& gpu = dynamic_cast<const GLGPU&>(*taggedGPU.fGPU);
  tester.DoRunGLGetString(taggedGPU.fTag, gpu, fName, fCode);
}

void IntegervTest::operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const {
  const auto& gpu = dynamic_cast<const GLGPU&>(*taggedGPU.fGPU);
  tester.DoRunGLGetIntegerv(taggedGPU.fTag, gpu, fName, fCode, fCount);
}

void ProgramvTest::operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const {
  const auto& gpu = dynamic_cast<const GLGPU&>(*taggedGPU.fGPU);
  tester.DoRunGLGetProgramivARB(taggedGPU.fTag, gpu, fName, fCode, fCount);
}

void ExtensionTest::operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const {
  const auto& gpu = dynamic_cast<const GLGPU&>(*taggedGPU.fGPU);
  tester.DoRunExtension(taggedGPU.fTag, gpu, fName, fCode);
}
