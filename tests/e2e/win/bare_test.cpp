// The prober where there is neither a display nor OpenCL.
#include "../report.h"
#include "otherruns.h"

namespace {

TEST(BringUpTest, DriversMayBeMissing) {
  const Outcome outcome = RunProber(Drivers());
  Outcome expected = Foretell(StepsOf(outcome.lines), NoFailure);
  expected.errors =
      "CreateDXGIFactory\nCreateGXGIFactory failed\nContextOffscreen exception caught and ignored.\n";
  EXPECT_TRUE(Same(outcome, expected));
  std::string findings;
  for (const char* key :
       {"KGXOGLInitialized", "OGLContextCreated", "NumGLGPUs", "NumCLGPUs", "NumNativeGPUs"})
    findings += ValueOf(outcome, key) + " ";
  EXPECT_EQ(findings, "1 0 0 none 0 ");
}

TEST(StreamsTest, LostLinesAreToldOneByOne) {
  const Outcome outcome = RunUnheardProber({"-exit=9"});
  std::size_t told = 0;
  for (const std::string& line : Lines(outcome.errors)) told += line == "DoStdout failed" ? 1 : 0;
  EXPECT_EQ(told, RunProber(Drivers()).lines.size());
  EXPECT_EQ(outcome.ending, "status 9");
}

TEST(CommandLineTest, ExitStatusHasAllOf32Bits) {
  for (const std::string row : {"7 7", "256 256", "-1 4294967295", "-1073741819 3221225477"}) {
    const Texts words = Words(row);
    EXPECT_EQ(RunProber(Drivers(), {"-exit=" + words[0]}).ending, "status " + words[1]);
  }
  EXPECT_EQ(RunProber(Drivers(), {"-exit=7", "-throwAfter=2"}).ending, "status 2");
  EXPECT_EQ(RunProber(Drivers(), {"-exit=7", "-bogus"}).ending, "status 3");
}

}  // namespace
