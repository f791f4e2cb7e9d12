#include "steps.h"

#include <ztutil/gpuprowlerappandhost.h>

#include <map>
#include <tuple>

namespace gpuprowler {

namespace {

bool IsCapital(char c) { return 'A' <= c && c <= 'Z'; }

char Lower(char c) { return IsCapital(c) ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

const std::vector<Step>& Steps() {
  using namespace ProwlerKey;
  constexpr bool kOptional = true;
  static const std::vector<Step> steps = {
      {Scope::kRun, Form::kText, kTester, "starting up"},
      {Scope::kRun, Form::kText, kProwlerStart, "the time"},
      {Scope::kRun, Form::kFlag, kKGXCoreInitialized, "starting the graphics layer"},
      {Scope::kRun, Form::kFlag, kKGXOGLInitialized, "loading OpenGL and its drivers"},
      {Scope::kRun, Form::kFlag, kOGLContextCreated, "an offscreen context on the primary display device"},
      {Scope::kRun, Form::kNumber, kNumGLGPUs, "listing the GPUs that OpenGL reaches"},

      {Scope::kGLGPU, Form::kText, kGLVersion, "the newest OpenGL that the driver supports"},
      {Scope::kGLGPU, Form::kFlag, kIsIntegratedGLGPU, "whether it is an integrated GPU"},
      {Scope::kGLGPU, Form::kNumber, kGLMemoryMB, "its memory"},
      {Scope::kGLGPU, Form::kText, kGLName, "its marketing name", kOptional},
      {Scope::kGLGPU, Form::kText, kGLVendor, "GL_VENDOR", kOptional},
      {Scope::kGLGPU, Form::kNumber, kGLVendorID, "its PCI vendor id"},
      {Scope::kGLGPU, Form::kText, kGLDriverVersion, "its driver's version", kOptional},
      {Scope::kGLGPU, Form::kNumber, kGLRectTextureSize, "GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB"},
      {Scope::kGLGPU, Form::kText, kGLRenderer, "GL_RENDERER"},
      {Scope::kGLGPU, Form::kNumber, kGLRendererID, "its PCI device id"},
      {Scope::kGLGPU, Form::kFlag, kHasGLNPOTSupport, "whether textures may have any size"},
      {Scope::kGLGPU, Form::kText, kGLDriver, "its driver's file", kOptional},
      {Scope::kGLGPU, Form::kText, kGLDriverDate, "its driver's date", kOptional},
      {Scope::kGLGPU, Form::kFlag, kCanCompileProgramGLSL, "compiling and linking a GLSL program"},
      {Scope::kGLGPU, Form::kFlag, kGLFrameBufferOK, "rendering to a texture"},
      {Scope::kGLGPU, Form::kText, "glGetString[GL_SHADING_LANGUAGE_VERSION]", ""},
      {Scope::kGLGPU, Form::kList,
       "glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][GL_MAX_PROGRAM_INSTRUCTIONS_ARB]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_TEXTURE_UNITS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_TEXTURE_IMAGE_UNITS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_DRAW_BUFFERS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_VERTEX_UNIFORM_COMPONENTS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_FRAGMENT_UNIFORM_COMPONENTS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_VARYING_FLOATS]", ""},
      {Scope::kGLGPU, Form::kList, "glGetIntegerv[GL_MAX_VERTEX_ATTRIBS]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_VERTEX_PROGRAM]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_FRAGMENT_PROGRAM]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_VERTEX_SHADER]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_FRAGMENT_SHADER]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_EXT_FRAMEBUFFER_OBJECT]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_TEXTURE_RECTANGLE]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_OCCLUSION_QUERY]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_VERTEX_BUFFER_OBJECT]", ""},
      {Scope::kGLGPU, Form::kFlag, "extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]", ""},

      // Without an OpenCL library there is no answer.
      {Scope::kRun, Form::kNumber, kNumCLGPUs, "loading OpenCL and its drivers, and listing its GPUs",
       kOptional},
      {Scope::kCLGPU, Form::kText, kCLPlatformVersion, "its platform's version"},
      {Scope::kCLGPU, Form::kText, kCLDeviceVersion, "its own version"},
      {Scope::kCLGPU, Form::kFlag, kIsIntegratedCLGPU, "whether it shares the host's memory"},
      {Scope::kCLGPU, Form::kNumber, kCLMemoryMB, "its memory"},
      {Scope::kCLGPU, Form::kText, kCLName, "its name", kOptional},
      {Scope::kCLGPU, Form::kText, kCLVendor, "its vendor's name", kOptional},
      {Scope::kCLGPU, Form::kNumber, kCLVendorID, "its vendor's id"},
      {Scope::kCLGPU, Form::kText, kCLDriverVersion, "its driver's version", kOptional},
      {Scope::kCLGPU, Form::kFlag, kCUDASupported, "whether it has CUDA"},
      {Scope::kCLGPU, Form::kText, kCUDAVersion, "its version of CUDA", kOptional},
      {Scope::kCLGPU, Form::kReal, kCLBandwidth, "measuring how fast it copies"},
      {Scope::kCLGPU, Form::kReal, kCLCompute, "measuring how fast it computes"},

      {Scope::kRun, Form::kNumber, kNumNativeGPUs, "listing native GPUs"},
      {Scope::kRun, Form::kText, kProwlerEnd, "the time"},
      {Scope::kRun, Form::kText, "", "letting the drivers go, and ending the process"},
  };
  return steps;
}

std::size_t FindStep(std::string_view key) {
  static const std::map<std::string_view, std::size_t> places = [] {
    std::map<std::string_view, std::size_t> made;
    for (std::size_t step = 0; step + 1 < Steps().size(); ++step) made.emplace(Steps()[step].key, step);
    return made;
  }();
  const auto found = places.find(key);
  return found != places.end() ? found->second : Steps().size();
}

bool Step::IsMeasurement() const { return key == ProwlerKey::kCLBandwidth || key == ProwlerKey::kCLCompute; }

std::string Step::PlainKey() const {
  std::string plain;
  const std::size_t symbol = key.rfind("GL_");
  if (symbol != std::string_view::npos) {  // GL_MAX_DRAW_BUFFERS
    bool begins = false;
    for (const char c : key.substr(symbol, key.find(']', symbol) - symbol)) {
      if (c != '_') plain += begins ? c : Lower(c);
      begins = c == '_';
    }
    return plain;
  }
  // GLVersion: of several capitals in front the last belongs to the next word.
  std::size_t capitals = 0;
  while (capitals < key.size() && IsCapital(key[capitals])) ++capitals;
  if (capitals > 1 && capitals < key.size()) --capitals;
  for (std::size_t i = 0; i < key.size(); ++i) plain += i < capitals ? Lower(key[i]) : key[i];
  return plain;
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

}  // namespace gpuprowler
