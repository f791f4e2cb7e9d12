// The prober on Windows: what only there has an answer, and the report on the drivers that Wine finds.
#include "../report.h"

#include <windows.h>

#include <algorithm>

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

}  // namespace
