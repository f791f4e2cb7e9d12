#include "fakedrivers.h"

#include <kgx/exception.h>
#include <kgx/extensionmanager.h>
#include <ztutil/gpuimplhardware.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace {

// One GPU with the fakes for its context and its device.
class Hardware : public GPUImplWin {
 public:
  explicit Hardware(const boost::shared_ptr<KGX::OGL::Context>& context) { fGLContext = context; }
  explicit Hardware(std::intptr_t device) {
    fCLDevice = KGX::OCL::Device(reinterpret_cast<cl_device_id>(device));
  }
};

std::vector<std::string> gMessages;

// The text of the exception that the function throws; the message hook has got the same.
template <class Function>
std::string Failure(Function function) {
  gMessages.clear();
  const MessageHook former = SetMessageHook([](const std::string& text) { gMessages.push_back(text); });
  std::string failure = "nothing thrown";
  try {
    function();
  } catch (const std::runtime_error& exception) {
    failure = exception.what();
    EXPECT_EQ(gMessages, std::vector<std::string>{failure});
  }
  SetMessageHook(former);
  return failure;
}

TEST(GLGetters, RunInTheirOwnContextAndPutTheFormerOneBack) {
  FakeGL gl;
  gl.texts[KGX::OGL::kGL_VENDOR] = "Vendor";
  std::vector<std::string> events;
  const auto a = boost::make_shared<FakeContext>("a", events);
  const auto b = boost::make_shared<FakeContext>("b", events);
  const GLGPU gpuA(boost::make_shared<Hardware>(a));
  const GLGPU gpuB(boost::make_shared<Hardware>(b));

  EXPECT_EQ(gpuA.GetVendor(), "Vendor");
  EXPECT_EQ(events, (std::vector<std::string>{"current a", "none"}));
  events.clear();
  a->makeCurrent();
  EXPECT_EQ(gpuB.GetVendor(), "Vendor");
  EXPECT_THROW(gpuB.GetRectTextureSize(), std::runtime_error);  // a name that the driver doesn't know
  EXPECT_EQ(events,
            (std::vector<std::string>{"current a", "current b", "current a", "current b", "current a"}));
}

TEST(GLGetters, AnErrorFailsTheGetterThatMeetsIt) {
  FakeGL gl;
  gl.texts[KGX::OGL::kGL_VENDOR] = "Vendor";
  gl.errors = {0x0505};  // left behind by somebody
  std::vector<std::string> events;
  const GLGPU gpu(boost::make_shared<Hardware>(boost::make_shared<FakeContext>("a", events)));
  const std::string expected = "Failed requirement: glStatus == GL_NO_ERROR";
  EXPECT_EQ(Failure([&] { gpu.GetVendor(); }), expected);
  EXPECT_EQ(gpu.GetVendor(), "Vendor");
  EXPECT_EQ(Failure([&] { gpu.GetRectTextureSize(); }), expected);
  EXPECT_EQ(Failure([&] { gpu.GetRenderer(); }), "Failed requirement: text != NULL");
  gl.integers[0x84F8] = -1;
  EXPECT_EQ(gpu.GetRectTextureSize(), -1);
}

TEST(GLGetters, CapabilitiesNeedAnInitializedLibrary) {
  if (KGX::OGL::ExtensionManager::Instance() != nullptr)
    GTEST_SKIP() << "another test has initialized OpenGL";
  FakeGL gl;
  std::vector<std::string> events;
  const GLGPU gpu(boost::make_shared<Hardware>(boost::make_shared<FakeContext>("a", events)));
  EXPECT_EQ(Failure([&] { gpu.GetVersion(); }), "KGX::OGL::ExtensionManager::Instance() returned NULL");
  EXPECT_FALSE(gpu.GLFrameBufferOK());
}

// A real driver, but for the functions that it hasn't.
TEST(GLProbes, SurviveADriverThatCannotDelete) {
  class Undeleting : public KGX::OGL::OpenGLInterceptor {
   public:
    void glDeleteTextures(KGX_GL_CALLER, KGX::OGL::GLsizei, const KGX::OGL::GLuint*) override {
      Fail(file, line);
    }
    void glDeleteFramebuffers(KGX_GL_CALLER, KGX::OGL::GLsizei, const KGX::OGL::GLuint*) override {
      Fail(file, line);
    }
    void glDeleteShader(KGX_GL_CALLER, KGX::OGL::GLuint) override { Fail(file, line); }
    void glDeleteProgram(KGX_GL_CALLER, KGX::OGL::GLuint) override { Fail(file, line); }

   private:
    static void Fail(const char* file, int line) { throw KGX::InternalException("it can", file, line); }
  };
  KGX::OGL::Library::Initialize({});
  const GLGPU gpu(boost::make_shared<Hardware>(
      boost::make_shared<KGX::OGL::ContextOffscreen>(KGX::OGL::Context::PrimaryDisplayDevice())));
  EXPECT_TRUE(gpu.GLFrameBufferOK());
  EXPECT_TRUE(gpu.CanCompileProgramGLSL());
  Undeleting gl;
  const auto former = KGX::OGL::OpenGLInterceptor::SetInstance(&gl);
  EXPECT_TRUE(gpu.GLFrameBufferOK());
  EXPECT_FALSE(gpu.CanCompileProgramGLSL());  // the program's linking ends with a deletion
  KGX::OGL::OpenGLInterceptor::SetInstance(former);
}

TEST(FailureHook, ShowsThePlaceAndLetsANonfatalFailurePass) {
  EXPECT_EQ(Failure([] { GetFailureHook()("file.cpp", 7, "text", true); }), "file.cpp(7): text");
  EXPECT_EQ(Failure([] { GetFailureHook()(nullptr, 7, nullptr, true); }), "<NULL>");
  EXPECT_EQ(Failure([] { GetFailureHook()("file.cpp", 7, "text", false); }), "nothing thrown");
  EXPECT_EQ(gMessages, std::vector<std::string>{"file.cpp(7): text"});

  const FailureHook former = SetFailureHook([](const char*, int, const char*, bool) { throw 5; });
  EXPECT_THROW(FailRequirement("text"), int);
  SetFailureHook(nullptr);
  EXPECT_EQ(GetFailureHook(), former);
}

TEST(CLVersions, AreTakenApart) {
  const struct {
    std::string text;
    const char* version;
    const char* cuda;
  } rows[] = {
      {"OpenCL 1.2 CUDA 10.2.120", "1.2", "10.2.120"},
      {"OpenCL 2.1 AMD-APP (3004.6)", "2.1 AMD-APP (3004.6)", ""},
      {"OpenCL 3.0 ", "3.0 ", ""},
      {"1.2 CUDA 9", "1.2", "9"},
      {"OpenCL 1.2 CUDA", "1.2 CUDA", ""},
      {"OpenCL 1.2 CUDA ", "1.2", ""},
      {"opencl 1.2", "opencl 1.2", ""},
      {"OpenCL ", "", ""},
      {"", "", ""},
      {std::string("OpenCL 1.2\0 CUDA 9", 18), "1.2", "9"},
  };
  FakeCL cl;
  cl.UseAnswers();
  const CLGPU gpu(boost::make_shared<Hardware>(1));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    FakeCL::Answers()[CL_PLATFORM_VERSION] = row.text + '\0';
    EXPECT_EQ(gpu.GetVersion(), row.version);
    EXPECT_EQ(gpu.GetCUDAVersion(), row.cuda);
    EXPECT_EQ(gpu.IsCUDASupported(), *row.cuda != '\0');
  }
}

TEST(CLProperties, OddAnswers) {
  FakeCL cl;
  cl.UseAnswers();
  auto& answers = FakeCL::Answers();
  const CLGPU gpu(boost::make_shared<Hardware>(1));

  EXPECT_FALSE(gpu.IsIntegrated());  // refused, and no failure
  EXPECT_EQ(Failure([&] { gpu.GetDriverVersion(); }), "clGetDeviceInfo failed");
  EXPECT_EQ(Failure([&] { gpu.GetCLDeviceVersion(); }), "Failed requirement: status == CL_SUCCESS");
  EXPECT_THROW(gpu.GetName(), KGX::LogicalException);

  answers[CL_DRIVER_VERSION] = "";
  EXPECT_EQ(gpu.GetDriverVersion(), "");
  answers[CL_DRIVER_VERSION] = "442.50";  // without a NUL
  EXPECT_EQ(gpu.GetDriverVersion(), "442.50");
  answers[CL_DEVICE_VERSION] = std::string(1, '\0');
  EXPECT_EQ(gpu.GetCLDeviceVersion(), "");
  answers[CL_DEVICE_VERSION] = std::string("OpenCL 1.2 CUDA\0junk", 20);
  EXPECT_EQ(gpu.GetCLDeviceVersion(), "1.2 CUDA");
  answers[CL_DEVICE_NAME] = std::string("Card\0\0more\0", 11);
  EXPECT_EQ(gpu.GetName(), "Card");

  const auto setMemory = [&](std::uint64_t bytes) {
    answers[CL_DEVICE_GLOBAL_MEM_SIZE].assign(reinterpret_cast<const char*>(&bytes), sizeof bytes);
    return gpu.GetMemoryMB();
  };
  EXPECT_EQ(setMemory((1u << 20) - 1), 0u);
  EXPECT_EQ(setMemory(1u << 20), 1u);
  EXPECT_EQ(setMemory((std::uint64_t{1} << 52) + (3u << 20)), 3u);  // the report has room for 32 bits
  EXPECT_EQ(gpu.GetCLExtraMeasure(), 0.0);
}

}  // namespace
