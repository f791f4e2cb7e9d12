// What the prober makes of memory that runs out, at whichever of its allocations.
#include "memorylogger.h"
#include "scarcememory.h"
#include "zentaratester.h"

#include <ztutil/debugflag.h>

#include <gtest/gtest.h>

#include <regex>

#define main ProberMain
#include "main.cpp"
#undef main

namespace {

TEST(OutOfMemory, EndsTheProberWithAStatus) {
  char program[] = "a program with a long name";
  char* arguments[] = {program};
  const auto run = [&] {
    gLeft = 0;
    std::_Exit(ProberMain(1, arguments));
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(4), "");

  GPUProwlerApp app;
  app.SetThrowAfter(0);
  std::list<std::string> none;
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i)  // with and without what only the first run needs
    EXPECT_EQ(Outcomes([&] { return static_cast<char>('0' + app.Run(none)); }), "2");
  const std::string errors = testing::internal::GetCapturedStderr();
  for (const char* const said : {"exception: std::bad_alloc\n", "exception: Programmed throw\n"})
    EXPECT_NE(errors.find(said), std::string::npos) << said;
}

// No display device is listed yet, so that no driver is asked.
TEST(OutOfMemory, IsNoContextAndCutsNoLine) {
  MemoryLogger logger;
  ztutil::DebugFlag flag{"GPUProwler"};
  ztutil::DebugFlagValue(flag) = 1;
  ZentaraTester tester(nullptr);
  testing::internal::CaptureStdout();
  Outcomes([&] { return tester.DoRunAnyGLGPU(), '-'; });
  const std::string lines = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::regex_replace(lines, std::regex("OGLContextCreated=0\n"), ""), "");
  ztutil::DebugFlagValue(flag) = 0;
  for (const char* const said : {"ContextOffscreen\n", "ContextOffscreen: no display device\n"})
    EXPECT_NE(logger.text.find(said), std::string::npos) << said;
}

}  // namespace
