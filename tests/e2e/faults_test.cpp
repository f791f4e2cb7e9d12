// Drivers that crash or give errors; tests/matrix has each function. Faults are rules of the rig; "glClear#1"
// is the function's first call in the step that stands beside it.
#include "report.h"

#include <algorithm>

namespace {

using std::string;

constexpr char kProgramKey[] =
    "glgpu[0].glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][GL_MAX_PROGRAM_INSTRUCTIONS_ARB]";

// A requirement that fails is told where it's found and where it ends the testing of the GPU.
string Requirement(const string& text) { return text + "\nexception: " + text + "\n"; }

const string kGLStatus = Requirement("Failed requirement: glStatus == GL_NO_ERROR");
const string kCLStatus = Requirement("Failed requirement: ciErrNum == CL_SUCCESS");
const string kLayer = "KGX::LogicalException: ";

// The graphics layer tells the call that it was refused, and the status.
string Told(const string& errors, const string& fault) {
  if (errors != kLayer) return errors;
  return kLayer + fault.substr(0, fault.find('#')) + " failed: " + fault.substr(fault.find(':') + 1) + "\n";
}

TEST(FaultsTest, AnErrorEndsTheTestingOfItsGPU) {
  const struct {
    string key, faults;  // each fault in a run of its own
    string errors;
    std::size_t keptLines = 0;
    string failedKey = {};  // where it isn't the same
  } rows[] = {
      {"glgpu[0].GLVersion",
       "glGetString=text:1.1.0 glGetString=text:OpenGL glGetString=text: glGetString=ret:0",
       "exception: Cannot determine OGL version\n"},
      {"glgpu[0].GLVendor", "glGetString#1=err:0x505 glGetError#1=ret:0x507", kGLStatus},
      // The second time its context can't be released, neither behind the step nor at its own end.
      {"glgpu[0].GLVendor",
       "glGetString#1=ret:0 glGetString#1=ret:0;eglMakeCurrent@4=ret:0;eglMakeCurrent@5=ret:0",
       Requirement("Failed requirement: text != NULL")},
      {"glgpu[0].GLRectTextureSize", "glGetIntegerv#1=err:0x500", kGLStatus},
      {"glgpu[0].glGetString[GL_SHADING_LANGUAGE_VERSION]", "glGetString#1=err:0x500", kGLStatus, 1},
      {kProgramKey, "glGetProgramivARB#1=err:0x502", kGLStatus, 2},
      {"glgpu[0].glGetIntegerv[GL_MAX_VERTEX_ATTRIBS]", "glGetIntegerv#1=err:0x500", kGLStatus},
      {"glgpu[0].extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT]", "eglMakeCurrent#1=ret:0",
       kLayer + "eglMakeCurrent failed: 0x3000\n", 1},
      // Steps that don't look for errors leave them to the next one that does.
      {"glgpu[0].GLVersion", "glGetString#1=err:0x505", kGLStatus, 0, "glgpu[0].GLVendor"},
      {"glgpu[0].GLFrameBufferOK", "glDeleteTextures#1=err:0x501", kGLStatus, 1,
       "glgpu[0].glGetString[GL_SHADING_LANGUAGE_VERSION]"},
      {"NumCLGPUs", "clGetPlatformIDs#1=fail:-6 clGetPlatformIDs#2=fail:-6", kLayer},
      {"clgpu[0].CLPlatformVersion",
       "clGetDeviceInfo#1=fail:-33 clGetPlatformInfo#1=fail:-32 clGetPlatformInfo#2=fail:-30", kLayer},
      {"clgpu[0].CLDeviceVersion", "clGetDeviceInfo#1=fail:-5 clGetDeviceInfo#2=fail:-5",
       Requirement("Failed requirement: status == CL_SUCCESS")},
      {"clgpu[0].CLMemoryMB", "clGetDeviceInfo#1=fail:-5", kLayer},
      {"clgpu[0].CLName", "clGetDeviceInfo#1=fail:-5 clGetDeviceInfo#2=fail:-5", kLayer},
      {"clgpu[0].CLDriverVersion", "clGetDeviceInfo#1=fail:-5 clGetDeviceInfo#2=fail:-5",
       Requirement("clGetDeviceInfo failed")},
      {"clgpu[0].CUDASupported", "clGetPlatformInfo#1=fail:-32", kLayer},
      {"clgpu[0].CLBandwidth", "clCreateContext#1=fail:-6 clCreateCommandQueue#1=fail:-35", kLayer},
      {"clgpu[0].CLBandwidth",
       "clCreateBuffer#1=fail:-61 clCreateBuffer#2=fail:-4 clEnqueueCopyBuffer#1=fail:-5 "
       "clEnqueueCopyBuffer#10=fail:-5",
       kCLStatus},
      {"clgpu[0].CLCompute", "clCreateContext#1=fail:-2 clCreateCommandQueue#1=fail:-6", kLayer},
      {"clgpu[0].CLCompute",
       "clCreateProgramWithSource#1=fail:-6 clBuildProgram#1=fail:-11 clCreateKernel#1=fail:-46 "
       "clCreateBuffer#1=fail:-4 clSetKernelArg#1=fail:-51 clSetKernelArg#2=fail:-51 "
       "clEnqueueNDRangeKernel#1=fail:-54 clWaitForEvents#1=fail:-14",
       kCLStatus},
  };
  for (const auto& row : rows) {
    const string& failedKey = row.failedKey.empty() ? row.key : row.failedKey;
    for (const string& fault : Words(row.faults))
      EXPECT_TRUE(
          Same(RunWithFault(FaultIn(row.key, fault)),
               Foretell(CleanSteps(), FailureIn(failedKey, {Told(row.errors, fault), row.keptLines}))))
          << row.key << " " << fault;
  }
}

TEST(FaultsTest, SomeErrorsAreAnswers) {
  for (const auto& [key, changes, faults] : Table<string, string, string>{
           {"glgpu[0].CanCompileProgramGLSL", "glgpu[0].CanCompileProgramGLSL=0",
            "eglMakeCurrent#1=ret:0 glCreateProgram#1=ret:0 glCreateShader#2=ret:0 "
            "glLinkProgram#1=ret:0 glCompileShader#1=ret:0 glCompileShader#2=ret:0"},
           // Compiling has a status of its own, so that an error is left to the framebuffer.
           {"glgpu[0].CanCompileProgramGLSL", "glgpu[0].GLFrameBufferOK=0", "glCompileShader#1=err:0x505"},
           {"glgpu[0].GLFrameBufferOK", "glgpu[0].GLFrameBufferOK=0",
            "glTexImage2D#1=err:0x505 glCheckFramebufferStatus#1=ret:0x8cd6 glClear#1=err:0x506"},
           {"glgpu[0].HasGLNPOTSupport", "glgpu[0].HasGLNPOTSupport=0", "glGetString#1=ret:0"},
           {"glgpu[0].HasGLNPOTSupport", "glgpu[0].GLFrameBufferOK=0", "glGetString#1=err:0x500"},
           {"glgpu[0].extension[KGX::OGL::GL_ARB_VERTEX_SHADER]", "", "glGetString#1=err:0x500"},
           {"glgpu[0].GLRectTextureSize", "glgpu[0].GLRectTextureSize=0", "glGetIntegerv#1=ret:0"},
           {"clgpu[0].IsIntegratedCLGPU", "clgpu[0].IsIntegratedCLGPU=0",
            "clGetDeviceInfo#1=fail:-30 clGetDeviceInfo#1=ret:0"},
           {kProgramKey, string(kProgramKey) + "=[0]", "glGetProgramivARB#1=ret:0"},
           {"", "clgpu[0].CLBandwidth=0 clgpu[0].CLCompute=0", "clGetEventProfilingInfo=fail:-7"},
           {"", "",
            "eglDestroyContext=ret:0 clReleaseEvent=fail:-58 clReleaseMemObject=fail:-38 "
            "clReleaseCommandQueue=fail:-36 clReleaseContext=fail:-34"}}) {
    Outcome expected = CleanRun();
    for (const string& change : Words(changes))
      for (string& line : expected.lines)
        if (line.substr(0, line.rfind('=')) == change.substr(0, change.rfind('='))) line = change;
    for (const string& fault : Words(faults))
      EXPECT_TRUE(Same(RunWithFault(FaultIn(key, fault)), expected)) << key << " " << fault;
  }
}

}  // namespace
