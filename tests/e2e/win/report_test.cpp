// The prober on Windows: what only there has an answer, and the report on the drivers that Wine finds.
#include "../report.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <future>

namespace {

using std::string;

TEST(ReportTest, TellsAllOfSoundDriversInOrder) {
  const Outcome outcome = RunProber(Drivers());
  EXPECT_TRUE(Same(outcome, Foretell(StepsOf(outcome.lines), NoFailure)));
  for (const string& line :
       Words("Tester=\"Zentara\" KGXCoreInitialized=1 KGXOGLInitialized=1 OGLContextCreated=1 NumGLGPUs=1 "
             "glgpu[0].GLVersion=\"4.1\" glgpu[0].HasGLNPOTSupport=1 glgpu[0].CanCompileProgramGLSL=1 "
             "glgpu[0].GLFrameBufferOK=1 NumCLGPUs=1 NumNativeGPUs=0"))
    EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), line), 1) << line;
  EXPECT_NE(ValueOf(outcome, "clgpu[0].CLCompute"), "0");
}

// Whoever sends a message to all windows waits for each: for a prober that hangs on, to its end.
TEST(WindowsTest, HoldNobodysMessagesUp) {
  constexpr DWORD kHangs = 3000;
  auto outcome =
      std::async(std::launch::async, RunProber, Drivers(), Texts{"-hang=" + std::to_string(kHangs)});
  DWORD longest = 0;
  while (outcome.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
    const DWORD start = GetTickCount();
    SendMessageTimeoutA(HWND_BROADCAST, WM_NULL, 0, 0, SMTO_NORMAL, 2 * kHangs, nullptr);
    longest = std::max(longest, GetTickCount() - start);
  }
  EXPECT_EQ(outcome.get().ending, "status 0");
  EXPECT_LT(longest, kHangs);
}

}  // namespace
