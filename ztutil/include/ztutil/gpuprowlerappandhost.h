// The words that the prober and its host share: the names of the command line's options, the keys of the
// report, and the two functions through which the prober's lines go out.
#ifndef ZTUTIL_GPUPROWLERAPPANDHOST_H_
#define ZTUTIL_GPUPROWLERAPPANDHOST_H_

#include <string>

class GPUProwlerAppAndHost {
 public:
  virtual ~GPUProwlerAppAndHost();
};

// Writes the line and a line feed on standard output, and flushes. Every line of the report goes through
// here. Never throws: a line that can't be written is lost as a whole, and "DoStdout failed" goes to standard
// error instead.
void DoStdout(const std::string& line) noexcept;

// The same on standard error. A line that can't be written is tried once more, and then lost.
void DoStderr(const std::string& line) noexcept;

// Names of options: the prober is told `-name=value`.
namespace ProwlerOption {
inline constexpr char kCrashAfter[] = "crashAfter";
inline constexpr char kThrowAfter[] = "throwAfter";
inline constexpr char kApp[] = "app";
inline constexpr char kStdout[] = "stdout";
inline constexpr char kStderr[] = "stderr";
inline constexpr char kExit[] = "exit";
inline constexpr char kVerbose[] = "verbose";
inline constexpr char kTimeout[] = "timeout";
inline constexpr char kComment[] = "comment";
inline constexpr char kHang[] = "hang";
inline constexpr char kHelp[] = "help";
}  // namespace ProwlerOption

// Keys and words of the report.
namespace ProwlerKey {
// The run
inline constexpr char kTester[] = "Tester";
inline constexpr char kProwlerStart[] = "prowlerStart";
inline constexpr char kProwlerEnd[] = "prowlerEnd";
inline constexpr char kKGXCoreInitialized[] = "KGXCoreInitialized";
inline constexpr char kKGXOGLInitialized[] = "KGXOGLInitialized";
inline constexpr char kOGLContextCreated[] = "OGLContextCreated";
inline constexpr char kNumGLGPUs[] = "NumGLGPUs";
inline constexpr char kNumCLGPUs[] = "NumCLGPUs";
inline constexpr char kNumNativeGPUs[] = "NumNativeGPUs";
// Tags: a device of a kind, with its number in brackets, and GL's own symbols
inline constexpr char kGLGPU[] = "glgpu";
inline constexpr char kCLGPU[] = "clgpu";
inline constexpr char kGPUTag[] = "gputag";
// OpenGL devices
inline constexpr char kGLVersion[] = "GLVersion";
inline constexpr char kIsIntegratedGLGPU[] = "IsIntegratedGLGPU";
inline constexpr char kGLMemoryMB[] = "GLMemoryMB";
inline constexpr char kGLName[] = "GLName";
inline constexpr char kGLVendor[] = "GLVendor";
inline constexpr char kGLVendorID[] = "GLVendorID";
inline constexpr char kGLDriverVersion[] = "GLDriverVersion";
inline constexpr char kGLRectTextureSize[] = "GLRectTextureSize";
inline constexpr char kGLRenderer[] = "GLRenderer";
inline constexpr char kGLRendererID[] = "GLRendererID";
inline constexpr char kHasGLNPOTSupport[] = "HasGLNPOTSupport";
inline constexpr char kGLDriver[] = "GLDriver";
inline constexpr char kGLDriverDate[] = "GLDriverDate";
inline constexpr char kCanCompileProgramGLSL[] = "CanCompileProgramGLSL";
inline constexpr char kGLFrameBufferOK[] = "GLFrameBufferOK";
inline constexpr char kGLGetString[] = "glGetString";
inline constexpr char kGLGetIntegerv[] = "glGetIntegerv";
inline constexpr char kGLGetProgramivARB[] = "glGetProgramivARB";
inline constexpr char kExtension[] = "extension";
// OpenCL devices
inline constexpr char kCLPlatformVersion[] = "CLPlatformVersion";
inline constexpr char kCLDeviceVersion[] = "CLDeviceVersion";
inline constexpr char kIsIntegratedCLGPU[] = "IsIntegratedCLGPU";
inline constexpr char kCLMemoryMB[] = "CLMemoryMB";
inline constexpr char kCLName[] = "CLName";
inline constexpr char kCLVendor[] = "CLVendor";
inline constexpr char kCLVendorID[] = "CLVendorID";
inline constexpr char kCLDriverVersion[] = "CLDriverVersion";
inline constexpr char kCUDASupported[] = "CUDASupported";
inline constexpr char kCUDAVersion[] = "CUDAVersion";
inline constexpr char kCLBandwidth[] = "CLBandwidth";
inline constexpr char kCLCompute[] = "CLCompute";
// Native devices
inline constexpr char kNativeName[] = "NativeName";
}  // namespace ProwlerKey

// Words for the host: the prober itself makes no use of them.
inline constexpr char kGLCaption[] = "GLCaption";
inline constexpr char kNativeGPU[] = "nativegpu";
inline constexpr char kMinCLBandwidth[] = "MinCLBandwidth";
inline constexpr char ProwlerDebugFlags[] = "ProwlerDebugFlags";
inline constexpr char ProwlerDebugHangMSec[] = "ProwlerDebugHangMSec";

#endif  // ZTUTIL_GPUPROWLERAPPANDHOST_H_
