#include "steps.h"

#include <ztutil/gpuprowlerappandhost.h>

#include <map>
#include <tuple>

namespace prowl {

namespace {

// Where steps stand, by a name that those without an empty one have for themselves.
class Places {
 public:
  template <class Name>
  explicit Places(Name name) {
    for (std::size_t step = 0; step < Steps().size(); ++step)
      if (!name(Steps()[step]).empty()) fPlaces.emplace(name(Steps()[step]), step);
  }

  std::size_t Find(std::string_view name) const {
    const auto found = fPlaces.find(name);
    return found != fPlaces.end() ? found->second : Steps().size();
  }

 private:
  std::map<std::string_view, std::size_t> fPlaces;
};

}  // namespace

std::string_view Step::Symbol() const {
  const std::size_t bracket = key.rfind('[');
  return bracket == std::string_view::npos ? "" : key.substr(bracket + 1, key.size() - bracket - 2);
}

const std::vector<Step>& Steps() {
  using namespace ProwlerKey;
  constexpr bool kOptional = true;
  static const std::vector<Step> steps = {
      {Scope::kRun, kTester, "starting up"},
      {Scope::kRun, kProwlerStart, "the time"},
      {Scope::kRun, kKGXCoreInitialized, "starting the graphics layer"},
      {Scope::kRun, kKGXOGLInitialized, "loading OpenGL and its drivers"},
      {Scope::kRun, kOGLContextCreated, "an offscreen context on the primary display device"},
      {Scope::kRun, kNumGLGPUs, "listing the GPUs that OpenGL reaches"},

      {Scope::kGLGPU, kGLVersion, "the newest OpenGL that the driver supports"},
      {Scope::kGLGPU, kIsIntegratedGLGPU, "whether it is an integrated GPU"},
      {Scope::kGLGPU, kGLMemoryMB, "its memory"},
      {Scope::kGLGPU, kGLName, "its marketing name", kOptional},
      {Scope::kGLGPU, kGLVendor, "GL_VENDOR", kOptional},
      {Scope::kGLGPU, kGLVendorID, "its PCI vendor id"},
      {Scope::kGLGPU, kGLDriverVersion, "its driver's version", kOptional},
      {Scope::kGLGPU, kGLRectTextureSize, "GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB"},
      {Scope::kGLGPU, kGLRenderer, "GL_RENDERER"},
      {Scope::kGLGPU, kGLRendererID, "its PCI device id"},
      {Scope::kGLGPU, kHasGLNPOTSupport, "whether textures may have any size"},
      {Scope::kGLGPU, kGLDriver, "its driver's file", kOptional},
      {Scope::kGLGPU, kGLDriverDate, "its driver's date", kOptional},
      {Scope::kGLGPU, kCanCompileProgramGLSL, "compiling and linking a GLSL program"},
      {Scope::kGLGPU, kGLFrameBufferOK, "rendering to a texture"},
      {Scope::kGLGPU, "glGetString[GL_SHADING_LANGUAGE_VERSION]", ""},
      {Scope::kGLGPU, "glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][GL_MAX_PROGRAM_INSTRUCTIONS_ARB]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_TEXTURE_UNITS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_DRAW_BUFFERS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_VERTEX_UNIFORM_COMPONENTS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_FRAGMENT_UNIFORM_COMPONENTS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_VARYING_FLOATS]", ""},
      {Scope::kGLGPU, "glGetIntegerv[GL_MAX_VERTEX_ATTRIBS]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_VERTEX_PROGRAM]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_FRAGMENT_PROGRAM]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_VERTEX_SHADER]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_FRAGMENT_SHADER]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_EXT_FRAMEBUFFER_OBJECT]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_TEXTURE_RECTANGLE]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_OCCLUSION_QUERY]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_VERTEX_BUFFER_OBJECT]", ""},
      {Scope::kGLGPU, "extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]", ""},

      // Without an OpenCL library there is no answer.
      {Scope::kRun, kNumCLGPUs, "loading OpenCL and its drivers, and listing its GPUs", kOptional},
      {Scope::kCLGPU, kCLPlatformVersion, "its platform's version"},
      {Scope::kCLGPU, kCLDeviceVersion, "its own version"},
      {Scope::kCLGPU, kIsIntegratedCLGPU, "whether it shares the host's memory"},
      {Scope::kCLGPU, kCLMemoryMB, "its memory"},
      {Scope::kCLGPU, kCLName, "its name", kOptional},
      {Scope::kCLGPU, kCLVendor, "its vendor's name", kOptional},
      {Scope::kCLGPU, kCLVendorID, "its vendor's id"},
      {Scope::kCLGPU, kCLDriverVersion, "its driver's version", kOptional},
      {Scope::kCLGPU, kCUDASupported, "whether it has CUDA"},
      {Scope::kCLGPU, kCUDAVersion, "its version of CUDA", kOptional},
      {Scope::kCLGPU, kCLBandwidth, "measuring how fast it copies"},
      {Scope::kCLGPU, kCLCompute, "measuring how fast it computes"},

      {Scope::kRun, kNumNativeGPUs, "listing native GPUs"},
      {Scope::kRun, kProwlerEnd, "the time"},
      {Scope::kRun, "", "letting the drivers go, and ending the process"},
  };
  return steps;
}

std::size_t FindStep(std::string_view key) {
  static const Places places([](const Step& step) { return step.key; });
  return places.Find(key);
}

std::size_t FindSymbol(std::string_view symbol) {
  static const Places places([](const Step& step) { return step.Symbol(); });
  return places.Find(symbol);
}

std::string Question::Tag() const {
  const Scope scope = GetStep().scope;
  if (scope == Scope::kRun) return "";
  const char* const word = scope == Scope::kGLGPU ? ProwlerKey::kGLGPU : ProwlerKey::kCLGPU;
  return std::string(word) + "[" + std::to_string(gpu) + "]";
}

std::string Question::Name() const {
  const Step& asked = GetStep();
  if (asked.key.empty()) return "exit";
  return (asked.scope == Scope::kRun ? "" : Tag() + ".") + std::string(asked.key);
}

bool operator<(const Question& left, const Question& right) {
  return std::tie(left.step, left.gpu) < std::tie(right.step, right.gpu);
}

}  // namespace prowl
