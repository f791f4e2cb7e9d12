#include "gpuprowlertester.h"

#include "gputests.h"
#include "zentaratester.h"

#include <kgx/exception.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace {

// A GPU that answers by the text of its name, and throws where it is told to.
class FakeImpl : public GPUImplWin {
 public:
  std::string version = "4.1";
  std::int32_t throwAt = -1;  // the GL symbol at which it fails

 protected:
  std::string DoGetGLVersion() const override { return version; }
  std::string DoGetGLVendor() const override { return "a \"quoted\" name"; }
  std::int32_t DoGetGLRectTextureSize() const override { return -1; }
  void DoGLGetIntegerv(std::int32_t name, std::int32_t* out) const override {
    if (name == throwAt) throw KGX::LogicalException();
    out[0] = 8;
  }
  void DoGLGetProgramivARB(std::int32_t target, std::int32_t, std::int32_t* out) const override {
    out[0] = target;
  }
  const char* DoGLGetString(std::uint32_t) const override { return "text"; }
  bool DoCompileProgramGLSL() const override { return true; }
  bool DoGLFramebufferOK() const override { return true; }
  bool DoGLExtensionSupported(std::uint32_t id) const override { return id == 69; }
  bool DoIsCUDASupported() const override { return true; }
  std::string DoGetCUDAVersion() const override { return {}; }
  double DoGetCLBandwidth() const override { return 12345678901.0; }
};

// A tester with lists of one's own.
class Tester : public ZentaraTester {
 public:
  Tester() : ZentaraTester(nullptr) {}

  FakeImpl& AddGLGPU() {
    const auto impl = boost::make_shared<FakeImpl>();
    fGLGPUs.push_back({"glgpu[" + std::to_string(fGLGPUs.size()) + "]", boost::make_shared<GLGPU>(impl)});
    return *impl;
  }

  std::uint32_t Steps() const { return fStepCount; }
  TaggedGPUList& GLGPUs() { return fGLGPUs; }
};

const GLGPU& AsGL(const TaggedGPU& gpu) { return dynamic_cast<const GLGPU&>(*gpu.fGPU); }

// What the function writes on standard output, and in `errors` on standard error.
template <class Function>
std::string Output(Function function, std::string* errors = nullptr) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  function();
  const std::string standardError = testing::internal::GetCapturedStderr();
  if (errors != nullptr) *errors = standardError;
  return testing::internal::GetCapturedStdout();
}

TEST(Tester, TestsAlternateBetweenGPUsAndAFailureEndsOne) {
  Tester tester;
  tester.AddGLGPU();
  tester.AddGLGPU().throwAt = 34018;
  tester.AddGLGPU().version = "";
  const TestFunc<GPUProwlerTester, GLGPU> version(&GPUProwlerTester::DoRunGLVersion);
  std::string errors;
  const std::string output = Output(
      [&] {
        tester.RunTestOnGPUs(tester.GLGPUs(), version);
        tester.RunTestOnGPUs(tester.GLGPUs(), IntegervTest("GL_MAX_TEXTURE_UNITS", 34018));
        tester.RunTestOnGPUs(tester.GLGPUs(), version);
      },
      &errors);
  EXPECT_EQ(output,
            "glgpu[0].GLVersion=\"4.1\"\n"
            "glgpu[1].GLVersion=\"4.1\"\n"
            "glgpu[2].GLVersion=\"\"\n"
            "gputag.GL_MAX_TEXTURE_UNITS=34018\n"
            "glgpu[0].glGetIntegerv[GL_MAX_TEXTURE_UNITS]=[8]\n"
            "gputag.GL_MAX_TEXTURE_UNITS=34018\n"
            "glgpu[2].glGetIntegerv[GL_MAX_TEXTURE_UNITS]=[8]\n"
            "glgpu[0].GLVersion=\"4.1\"\n"
            "glgpu[2].GLVersion=\"\"\n");
  EXPECT_EQ(errors, "KGX::LogicalException: <NULL>\n");
  EXPECT_EQ(tester.GetFailures(), 1);
  EXPECT_EQ(tester.Steps(), 7u);
}

TEST(Tester, AFailureInATagTestReachesTheTestersList) {
  Tester tester;
  tester.AddGLGPU().throwAt = 34852;
  tester.AddGLGPU();
  const std::string output = Output([&] { tester.DoRunGLTests(); });
  const TaggedGPUList left = tester.GetGLGPUs();
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left.front().fTag, "glgpu[1]");
  EXPECT_EQ(output.find("glgpu[0].glGetIntegerv[GL_MAX_VERTEX_ATTRIBS]"), std::string::npos);
  EXPECT_NE(output.find("glgpu[1].glGetIntegerv[GL_MAX_VERTEX_ATTRIBS]"), std::string::npos);
}

TEST(Tester, ValuesTakeTheFormsOfTheReport) {
  Tester tester;
  tester.AddGLGPU();
  const TaggedGPU gpu = tester.GLGPUs().front();
  const CLGPU cl(boost::make_shared<FakeImpl>());
  EXPECT_EQ(Output([&] { tester.DoRunGLVendor("t", AsGL(gpu)); }), "t.GLVendor=\"a \"quoted\" name\"\n");
  EXPECT_EQ(Output([&] { tester.DoRunGLRectTextureSize("t", AsGL(gpu)); }),
            "t.GLRectTextureSize=4294967295\n");
  EXPECT_EQ(Output([&] { tester.DoRunGLName("t", AsGL(gpu)); }), "");
  EXPECT_EQ(Output([&] { tester.DoRunCUDAVersion("t", cl); }), "");
  EXPECT_EQ(Output([&] { tester.DoRunCLBandwidth("t", cl); }), "t.CLBandwidth=1.23457e+10\n");
  EXPECT_EQ(tester.Steps(), 5u);

  EXPECT_EQ(Output([&] { tester.DoRunGLGetIntegerv("t", AsGL(gpu), "N", 1, 2); }),
            "gputag.N=1\nt.glGetIntegerv[N]=[8, 0]\n");
  EXPECT_EQ(Output([&] { tester.DoRunGLGetProgramivARB("t", AsGL(gpu), "N", 1, 1); }),
            "gputag.GL_FRAGMENT_PROGRAM_ARB=34820\ngputag.N=1\n"
            "t.glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][N]=[34820]\n");
  EXPECT_EQ(Output([&] { tester.DoRunExtension("t", AsGL(gpu), "N", 70); }),
            "gputag.N=70\nt.extension[N]=0\n");
  EXPECT_EQ(tester.Steps(), 8u);
  EXPECT_EQ(Output([&] { tester.DoRunGLGetString("t", AsGL(gpu), "N", 1); }),
            "gputag.N=1\nt.glGetString[N]=\"text\"\n");
  EXPECT_EQ(tester.Steps(), 8u);
}

TEST(Tester, ProgrammedFailuresCompareUnsigned) {
  const auto failuresIn = [](std::int32_t crashAfter, std::int32_t throwAfter) {
    Tester tester;
    tester.SetCrashAfter(crashAfter);
    tester.SetThrowAfter(throwAfter);
    std::string failures;
    for (int count = 0; count < 4; ++count) {
      try {
        tester.CountStep();
        failures += '-';
      } catch (const std::runtime_error& error) {
        failures += *error.what();
      }
    }
    return failures;
  };
  EXPECT_EQ(failuresIn(-1, -1), "----");
  EXPECT_EQ(failuresIn(-2, 1), "-P--");
  EXPECT_EQ(failuresIn(2, -1), "--pp");
  EXPECT_EQ(failuresIn(1, 1), "-ppp");
  EXPECT_EQ(failuresIn(0, 0), "pppp");
}

// DoCrash is what a subclass may replace; that it returns doesn't let the step pass.
TEST(Tester, ACrashThatReturnsIsACrashAllTheSame) {
  class Harmless : public Tester {
   public:
    void DoCrash() override { ++crashes; }
    int crashes = 0;
  };
  Harmless tester;
  tester.SetCrashAfter(0);
  EXPECT_THROW(tester.CountStep(), std::runtime_error);
  EXPECT_EQ(tester.crashes, 1);
}

TEST(Tester, ATestOfTheWrongKindFailsTheGPU) {
  Tester tester;
  tester.AddGLGPU();
  std::string errors;
  const TestFunc<GPUProwlerTester, CLGPU> test(&GPUProwlerTester::DoRunCLName);
  EXPECT_EQ(Output([&] { tester.RunTestOnGPUs(tester.GLGPUs(), test); }, &errors), "");
  EXPECT_EQ(errors, "exception: std::bad_cast\n");
  EXPECT_TRUE(tester.GLGPUs().empty());
}

}  // namespace
