#include "gpuprowlertester.h"

#include "gpuprowlerapp.h"
#include "gputests.h"
#include "outcome.h"
#include "testsystem.h"
#include "zentaratester.h"

#include <kgx/exception.h>
#include <ztutil/calendar.h>
#include <ztutil/clock.h>
#include <ztutil/gpuimplwin.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

namespace {

// A GPU without a name that throws when it is asked for a symbol's values and isn't sound.
class FakeImpl : public GPUImplWin {
 public:
  explicit FakeImpl(bool isSound) : fIsSound(isSound) {}

 protected:
  std::string DoGetGLVersion() const override { return {}; }
  std::string DoGetGLVendor() const override { return "a \"quoted\" name"; }
  std::int32_t DoGetGLRectTextureSize() const override { return -1; }
  void DoGLGetIntegerv(std::int32_t, std::int32_t* out) const override {
    if (!fIsSound) throw KGX::LogicalException();
    out[0] = 8;
  }

 private:
  const bool fIsSound;
};

struct Tester : ZentaraTester {
  Tester() : ZentaraTester(nullptr) {}
  using ZentaraTester::fGLGPUs;
  using ZentaraTester::RunTestsOnCopy;
};

TEST(Tester, TestsAlternateBetweenGPUsAndAFailureEndsOne) {
  using GLTest = TestFunc<GPUProwlerTester, GLGPU>;
  Tester tester;
  TaggedGPUList& gpus = tester.fGLGPUs;
  for (const bool isSound : {true, false, true})
    gpus.push_back({"glgpu[" + std::to_string(gpus.size()) + "]",
                    boost::make_shared<GLGPU>(boost::make_shared<FakeImpl>(isSound))});
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  tester.RunTestOnGPUs(gpus, GLTest(&GPUProwlerTester::DoRunGLVersion));
  tester.RunTestOnGPUs(gpus, GLTest(&GPUProwlerTester::DoRunGLName));
  tester.RunTestsOnCopy(gpus, [&](TaggedGPUList& copy) {
    tester.RunTestOnGPUs(copy, IntegervTest("GL_MAX_TEXTURE_UNITS", 34018, 2));
    tester.RunTestOnGPUs(copy, GLTest(&GPUProwlerTester::DoRunGLVendor));
  });
  tester.RunTestOnGPUs(gpus, GLTest(&GPUProwlerTester::DoRunGLRectTextureSize));
  tester.RunTestOnGPUs(gpus, TestFunc<GPUProwlerTester, CLGPU>(&GPUProwlerTester::DoRunCLName));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "KGX::LogicalException: <NULL>\nexception: std::bad_cast\nexception: std::bad_cast\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "glgpu[0].GLVersion=\"\"\n"
            "glgpu[1].GLVersion=\"\"\n"
            "glgpu[2].GLVersion=\"\"\n"
            "gputag.GL_MAX_TEXTURE_UNITS=34018\n"
            "glgpu[0].glGetIntegerv[GL_MAX_TEXTURE_UNITS]=[8, 0]\n"
            "gputag.GL_MAX_TEXTURE_UNITS=34018\n"
            "glgpu[2].glGetIntegerv[GL_MAX_TEXTURE_UNITS]=[8, 0]\n"
            "glgpu[0].GLVendor=\"a \"quoted\" name\"\n"
            "glgpu[2].GLVendor=\"a \"quoted\" name\"\n"
            "glgpu[0].GLRectTextureSize=4294967295\n"
            "glgpu[2].GLRectTextureSize=4294967295\n");
  EXPECT_EQ(tester.GetFailures(), 3);
  EXPECT_TRUE(gpus.empty());
}

TEST(App, HasItsOptionsOneLoggerAndOneTester) {
  struct App : GPUProwlerApp {
    GPUProwlerTester* CreateTester() override { return nullptr; }  // then there is the usual one
    void GetUsage(std::vector<std::string>&) const override { throw 1; }
  } app;
  const auto numbers = [&] {
    return std::vector{app.GetCrashAfter(), app.GetThrowAfter(), app.GetExitCode(),
                       app.GetVerbose(),    app.GetTimeout(),    app.GetHang()};
  };
  EXPECT_EQ(numbers(), (std::vector{-1, -1, 0, 0, 4, 0}));
  std::list<std::string> arguments{"-crashAfter=3", "-exit=5", "a",          "-throwAfter=4",
                                   "-verbose=6",    "-app=H",  "-timeout=7", "-hang=8"};
  app.ParseArgs(arguments);
  EXPECT_EQ(arguments, std::list<std::string>{"a"});
  EXPECT_EQ(numbers(), (std::vector{3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(app.GetApp() + app.GetProgram(), "H");
  GPUProwlerTester* const tester = app.GetTester();
  EXPECT_TRUE(tester != nullptr && app.GetTester() == tester);
  EXPECT_TRUE(app.GetCrashAfter() == -1 && app.GetThrowAfter() == -1);  // those of the tester
  app.SetCrashAfter(9);
  app.SetThrowAfter(10);
  EXPECT_TRUE(tester->GetCrashAfter() == 9 && tester->GetThrowAfter() == 10);
  EXPECT_EQ(app.GetLogger(), app.GetLogger());
  const boost::shared_ptr<ztutil::ZTLogger> logger(app.CreateLogger());
  EXPECT_EQ(logger->MakePrefix("", 0).substr(0, 8), "# 00000_");

  std::streambuf* const output = std::cout.rdbuf(nullptr);
  std::streambuf* const errors = std::cerr.rdbuf(nullptr);
  app.PutComment("lost");
  arguments = {"host", "-help"};
  EXPECT_EQ(std::to_string(app.Run(arguments)) + app.GetApp(), "3host");
  EXPECT_EQ(Outcome([&] { app.PutStdout("lost"); }), "runtime: PutStdout failed");
  EXPECT_EQ(Outcome([&] { app.PutStderr("lost"); }), "runtime: PutStderr failed");
  std::cout.rdbuf(output);
  std::cerr.rdbuf(errors);
}

TEST(Tester, SecondsAreRoundedAndCarryNothing) {
  SetZone("UTC0");
  ztutil::LocalCalendarTime(ztutil::Now());  // ties the clock to the calendar before it is put off
  std::string timestamp;
  for (double second = 0.0; second < 59.5; second = ztutil::LocalCalendarTime(ztutil::Now()).second) {
    const std::chrono::duration<double> utc = std::chrono::system_clock::now().time_since_epoch();
    ztutil::SetClockBias(1794603959.6 - utc.count());
    timestamp = Tester().GetTimestamp();
  }
  ztutil::SetClockBias(0.0);
  EXPECT_EQ(timestamp, "2026-11-13_21:05:60");
}

TEST(Tester, ACrashThatReturnsIsACrashAllTheSame) {
  struct Harmless : Tester {
    void DoCrash() override { ++crashes; }
    int crashes = 0;
  } tester;
  tester.SetCrashAfter(0);
  const auto step = [&] { tester.CountStep(); };
  EXPECT_EQ(Outcome(step), "runtime: programmed failure");
  EXPECT_EQ(tester.crashes, 1);
  tester.SetCrashAfter(-1);
  tester.SetThrowAfter(1);
  EXPECT_EQ(Outcome(step), "runtime: Programmed throw");
  try {
    throw 1;
  } catch (...) {
    EXPECT_EQ(TextOfCurrentException(), "unknown exception");
  }
}

}  // namespace
