// What callers get when memory runs out, at whichever of their allocations, and that buffers keep none.
#include "fakedrivers.h"
#include "memorylogger.h"
#include "scarcememory.h"
#include "system/standardstreams.h"

#include <ztutil/buffer.h>
#include <ztutil/channelbase.h>
#include <ztutil/consoleapp.h>
#include <ztutil/gpuimpl.h>
#include <ztutil/launchthreadtask.h>
#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

ztutil::DebugFlag gFlag{"OutOfMemoryTest", 1};

TEST(OutOfMemory, FailsTextsAndLinesAndNoCaller) {
  Outcomes([] { return ztutil::DebugFlagsInitialize(), '-'; });  // without one that leaves it
  const std::string longText(100, 't');
  MemoryLogger logger;
  EXPECT_EQ(Outcomes([&] { return ztutil::WinErrorText(longText.c_str(), 2) == longText ? 't' : '-'; }),
            "-t");
  EXPECT_EQ(Outcomes([&] { return ztutil::WriteStderrLine(longText) ? 't' : '-'; }), "-");
  EXPECT_EQ(Outcomes([] {
              ztutil::DebugFlag flag{"another flag with a long name"};
              return ztutil::DebugFlagValue(flag) == 0 ? '-' : 'f';
            }),
            "-");
  EXPECT_EQ(Outcomes([&] {
              ZT_LOG(gFlag, longText << 1);
              ZT_LOG_SCOPE(gFlag, longText << 2);
              return '-';
            }),
            "-");
  // These can't be made without any, but they can without what they hold or say.
  EXPECT_EQ(Outcomes([&] { return ztutil::XUnderrun(8, "ABCDEFGH").fHasData ? 'd' : '-'; }), "xx-");
  const auto log = [] { return ztutil::ZTFileLogger().IsEnabled() ? '-' : 'd'; };
  EXPECT_EXIT(std::_Exit(Outcomes(log) == "x-" ? 0 : 1), testing::ExitedWithCode(0), "");
  ZT_LOG(gFlag, "still at its depth");
  EXPECT_NE(logger.text.find("\nstill at its depth\n"), std::string::npos);
}

TEST(OutOfMemory, EndsARunAndLosesAFailureAndIsTold) {
  MemoryLogger logger;
  ztutil::DebugFlag flag{"ConsoleAppLog"};
  ztutil::LaunchThreadTask task(nullptr, nullptr, {});
  ztutil::ConsoleApp app;
  const ztutil::consoleapp::Exception failure(ztutil::consoleapp::TaskID::Stdout, "lost");
  for (int i = 0; i < 2; ++i) app.NotifyFailure(failure);
  ztutil::DebugFlagValue(flag) = 1;
  EXPECT_EQ(Outcomes([&] { return task(), app.NotifyFailure(failure), '-'; }), "-");
  ztutil::DebugFlagValue(flag) = 0;
  for (const char* const said : {"outer exception=std::bad_alloc", "inner exception=std::bad_alloc",
                                 "could not notify app because Launcher: ", "size()=3"})
    EXPECT_NE(logger.text.find(said), std::string::npos) << said;
  EXPECT_EQ(logger.text.find("size()=2\n"), std::string::npos);
}

TEST(Buffers, GiveBackWhatTheyOwn) {
  const int before = gHeld;
  {
    ztutil::Buffer buffer(1);
    buffer.Write("abc", 3);
    buffer.SetEnd();
    ztutil::Buffer(buffer).Close();
    for (ztutil::Buffer* seen : {new ztutil::Buffer(1), new ztutil::Buffer(1)})
      buffer.TakeBack(seen);  // the second is of the first one's bytes
  }
  EXPECT_EQ(gHeld, before);
}

// The list of platforms, then that of a platform's devices, then one of these.
TEST(OutOfMemory, LosesTheDeviceOfOpenCLThatItHits) {
  const FakeCL cl;
  FakeCL::Table().clGetPlatformIDs = [](auto, auto, auto count) { return *count = 1, CL_SUCCESS; };
  FakeCL::Table().clGetDeviceIDs = [](auto, auto, auto, auto, auto count) { return *count = 3, CL_SUCCESS; };
  const auto impl = CreateGPUImpl();
  EXPECT_EQ(Outcomes([&] { return static_cast<char>('0' + impl->GetCLGPUs().size()); }), "xx02");
}

TEST(OutOfMemory, LosesTheGPUsOfOpenGLAndIsTold) {
  const auto impl = CreateGPUImpl();
  testing::internal::CaptureStderr();
  gLeft = 0;
  EXPECT_TRUE(impl->GetGPUs().empty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "DoGetGPUs fails with exception\n");
}

}  // namespace
