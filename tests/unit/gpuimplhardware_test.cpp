#include "fakedrivers.h"
#include "memorylogger.h"
#include "outcome.h"

#include <kgx/exception.h>
#include <kgx/framebuffer.h>
#include <kgx/program.h>
#include <kgx/texture.h>
#include <ztutil/debugflag.h>
#include <ztutil/gpuimplhardware.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace {

using namespace KGX::OGL;
using namespace std::string_literals;
using Texts = std::vector<std::string>;

// One GPU with a context, or with a null device.
class Hardware : public GPUImplWin {
 public:
  explicit Hardware(const boost::shared_ptr<Context>& context = nullptr) { fGLContext = context; }

  // What drivers alone tell. NOLINTBEGIN(bugprone-parent-virtual-call)
  Texts WithoutInventory() const {
    return {GPUImplHardware::DoGetGLName(), GPUImplHardware::DoGetGLDriver(),
            GPUImplHardware::DoGetGLDriverDate() + GPUImplHardware::DoGetGLCaption(),
            GPUImplHardware::DoIsIntegratedGLGPU() ? "integrated" : "", std::to_string(GetCLExtraMeasure())};
  }  // NOLINTEND(bugprone-parent-virtual-call)
};

TEST(GLGetters, RunInTheirOwnContextAndPutTheFormerOneBack) {
  FakeGL gl;
  gl.texts = {{kGL_VENDOR, "Vendor"}, {kGL_RENDERER, "Renderer"}};
  Texts events;
  const auto a = boost::make_shared<FakeContext>("a", events);
  const GLGPU gpuA(boost::make_shared<Hardware>(a));
  const GLGPU gpuB(boost::make_shared<Hardware>(boost::make_shared<FakeContext>("b", events)));

  EXPECT_EQ(gpuA.GetVendor(), "Vendor");
  EXPECT_EQ(events, (Texts{"current a", "none"}));
  EXPECT_EQ(Hardware(a).WithoutInventory(), (Texts{"Renderer", "", "", "", "0.000000"}));
  EXPECT_EQ(Outcome([&] { gpuA.GetVersion(); }),
            "runtime: KGX::OGL::ExtensionManager::Instance() returned NULL");
  events.clear();
  a->makeCurrent();
  EXPECT_EQ(gpuA.GetVendor(), "Vendor");
  EXPECT_EQ(gpuB.GetVendor(), "Vendor");
  EXPECT_THROW(gpuB.GetRectTextureSize(), std::runtime_error);  // a name that the driver doesn't know
  EXPECT_EQ(events, (Texts{"current a", "current a", "current b", "current a", "current b", "current a"}));
}

TEST(GLContexts, AreCurrentUntilTheyAreReleasedOrGone) {
  Texts events;
  auto context = boost::make_shared<FakeContext>("", events);
  ScopedContextWrapper(false), context->makeCurrent();
  boost::make_shared<FakeContext>("another", events);
  EXPECT_EQ(Context::Current(), context.get());
  class Refused : public FakeContext {
    using FakeContext::FakeContext;
    void DoMakeCurrent() override { throw KGX::LogicalException(); }
  };
  EXPECT_THROW(Refused("", events).makeCurrent(), KGX::LogicalException);
  EXPECT_EQ(Context::Current(), context.get());
  context.reset();
  EXPECT_EQ(Context::Current(), nullptr);
  Context::ReleaseCurrent();
}

// A real driver, but for the functions that it hasn't.
TEST(GLProbes, SurviveADriverThatCannotDelete) {
  using Exception = KGX::LogicalException;
  class Undeleting : public OpenGLInterceptor {
   public:
    void glDeleteTextures(const char*, int, GLsizei, const GLuint*) override { throw Exception(); }
    void glDeleteFramebuffers(const char*, int, GLsizei, const GLuint*) override { throw Exception(); }
    void glDeleteShader(const char*, int, GLuint) override { throw Exception(); }
    void glGetShaderiv(const char* file, int line, GLuint shader, GLenum name, GLint* out) override {
      OpenGLInterceptor::glGetShaderiv(file, line, shader, name, out);
      if (name == kGL_INFO_LOG_LENGTH) *out = logLength;
    }
    void glGetShaderInfoLog(const char*, int, GLuint, GLsizei size, GLsizei*, GLchar* log) override {
      std::fill_n(log, size, '\r');
    }
    GLint logLength = 65537;
  };
  Library::Initialize({});
  const GLGPU gpu(
      boost::make_shared<Hardware>(boost::make_shared<ContextOffscreen>(Context::PrimaryDisplayDevice())));
  Undeleting gl;
  const auto former = OpenGLInterceptor::SetInstance(&gl);
  const MemoryLogger log;
  ztutil::DebugFlag flag{"GPUProwler"};
  ztutil::DebugFlagValue(flag) = 1;
  EXPECT_TRUE(gpu.GLFrameBufferOK());
  EXPECT_FALSE(gpu.CanCompileProgramGLSL());  // the program's linking ends with a deletion
  ztutil::DebugFlagValue(flag) = 0;
  EXPECT_EQ(log.text, "DoCompileProgramGLSL: <NULL>\n");
  OpenGLInterceptor::SetInstance(former);
  {
    ContextOffscreen current(Context::PrimaryDisplayDevice());
    current.makeCurrent();
    const Texture2D texture(Texture::kRGBA8, 1, 1, false, nullptr, -1);
    Framebuffer framebuffer;
    framebuffer.bind();
    EXPECT_EQ(Message([&] { framebuffer.attach(texture, 0, 1); }), "a 2D texture has one layer");
    EXPECT_EQ(Message([&] { framebuffer.attach(texture, 7, 0); }), "framebuffer isn't complete: 0x8cd6");
    Program program;
    const char *const bad = "bad\n", *const lacking = "void f();\nvoid main() { f(); }\n";
    const std::string shader = Message([&] { program.loadVertexShader(1, &bad, nullptr); });
    program.loadVertexShader(1, &lacking, nullptr);
    const std::string linked = Message([&] { program.link(true); });
    // And the lines of the driver's log, as many as there may be.
    EXPECT_TRUE(std::regex_match(shader, std::regex("vertex shader refused: .*error.*"))) << shader;
    EXPECT_TRUE(std::regex_match(linked, std::regex("program refused: .*error.*"))) << linked;
    OpenGLInterceptor::SetInstance(&gl);
    for (const auto& [length, words] : {std::pair(65537, ": " + std::string(65536, ' ')), {-1, ""}}) {
      gl.logLength = length;
      EXPECT_EQ(Message([&] { program.loadVertexShader(1, &bad, nullptr); }),
                "vertex shader refused" + words);
    }
    OpenGLInterceptor::SetInstance(former);
  }
  EXPECT_EQ(former->glGetString(KGX_HERE, kGL_VERSION), nullptr);  // it has been released
}

TEST(GLObjects, TellWhatTheyRefuse) {
  Library::Initialize({});
  struct : FakeGL {
    void glGenFramebuffersEXT(const char*, int, GLsizei, GLuint*) override {
      throw KGX::LogicalException("EXT");
    }
  } gl;  // of no version
  Texts events;
  const GLGPU gpu(boost::make_shared<Hardware>(boost::make_shared<FakeContext>("", events)));
  EXPECT_EQ(Outcome([&] { gpu.GetVersion(); }), "runtime: Cannot determine OGL version");
  EXPECT_EQ(Message([] { Program(); }), "no GLSL programs");
  EXPECT_EQ(Message([] { Framebuffer(); }), "no framebuffer objects");
  gl.texts[kGL_EXTENSIONS] = "GL_EXT_framebuffer_object";
  EXPECT_EQ(Message([] { Framebuffer(); }), "EXT");
  gl.texts[kGL_EXTENSIONS] = "GL_EXT_framebuffer_object GL_ARB_framebuffer_object";
  EXPECT_NE(Message([] { Framebuffer(); }), "EXT");
  EXPECT_EQ(Message([] { Texture2D(Texture::kRGBA8, 1, 1, true, nullptr, -1); }),
            "mipmapped textures aren't supported");
  EXPECT_EQ(Message([] { Texture2D(Texture::InternalFormat{}, 1, 1, false, nullptr, -1); }),
            "unknown internal format");
}

TEST(FailureHook, ShowsThePlaceAndLetsANonfatalFailurePass) {
  static Texts messages;
  const MessageHook formerMessageHook =
      SetMessageHook([](const std::string& text) { messages.push_back(text); });
  const FailureHook fail = GetFailureHook();
  EXPECT_NO_THROW(fail("file.cpp", 7, "text", false));
  EXPECT_THROW(fail(nullptr, 7, nullptr, true), std::runtime_error);
  EXPECT_THROW(FailRequirement("condition"), std::runtime_error);
  EXPECT_EQ(messages, (Texts{"file.cpp(7): text", "<NULL>", "condition"}));
  SetMessageHook(formerMessageHook);

  SetFailureHook([](const char*, int, const char*, bool) { throw 5; });
  EXPECT_THROW(FailRequirement("condition"), int);
  SetFailureHook(nullptr);
  EXPECT_EQ(GetFailureHook(), fail);
}

TEST(CLTexts, AreCutAtANULAndTakenApart) {
  const struct {
    cl_uint property;
    std::string answer;
    std::string (CLGPU::*get)() const;
    const char* text;
  } rows[] = {
      {CL_DEVICE_NAME, "Card\0\0more\0"s, &CLGPU::GetName, "Card"},
      {CL_DRIVER_VERSION, "4", &CLGPU::GetDriverVersion, "4"},  // without a NUL
      {CL_DEVICE_VERSION, "\0"s, &CLGPU::GetCLDeviceVersion, ""},
      {CL_DEVICE_VERSION, "OpenCL 1.2 CUDA\0junk"s, &CLGPU::GetCLDeviceVersion, "1.2 CUDA"},
      {CL_PLATFORM_VERSION, "OpenCL 2.1 AMD-APP (3004.6)\0"s, &CLGPU::GetVersion, "2.1 AMD-APP (3004.6)"},
      {CL_PLATFORM_VERSION, "OpenCL 1.2 CUDA\0"s, &CLGPU::GetCUDAVersion, ""},
      {CL_PLATFORM_VERSION, "OpenCL 1.2\0 CUDA 9"s, &CLGPU::GetCUDAVersion, "9"},
      {CL_PLATFORM_VERSION, "OpenCL 1.2\0 CUDA 9"s, &CLGPU::GetVersion, "1.2"},
  };
  const FakeCL cl;
  const CLGPU gpu(boost::make_shared<Hardware>());
  for (const auto& row : rows) {
    FakeCL::answers[row.property] = row.answer;
    EXPECT_EQ((gpu.*row.get)(), row.text) << row.answer;
  }
  FakeCL::answers[CL_DRIVER_VERSION] = FakeCL::answers[CL_DEVICE_NAME] = std::string(1048577, '9');
  for (const auto get : {&CLGPU::GetDriverVersion, &CLGPU::GetName})
    EXPECT_EQ(Message([&] { (gpu.*get)(); }), "clGetDeviceInfo gives a size of 1048577");
}

}  // namespace
