// Options, programmed failures and exit statuses.
#include "report.h"

#include <algorithm>
#include <chrono>

namespace {

using std::string;

constexpr char kUsage[] =
    "Usage exception: usage\n"
    "usage: \n"
    "    -help {show this message}\n"
    "    -crashAfter=N {GPUProwlerTester should crash after N steps}\n"
    "    -throwAfter=N {GPUProwlerTester should throw after N steps}\n"
    "    -app=SomeApp {specify name of host app}\n"
    "    -stdout=line_of_stdout {puts the line to stdout as-is}\n"
    "    -stderr=line_of_stderr {puts the line to stderr as-is}\n"
    "    -exit=N {app should exit with N}\n"
    "    -verbose=N {verbosity level}\n"
    "    -timeout=N {Mac only, SIGALRM kills prowler after N seconds, if not finished}\n"
    "    -comment=line_of_comment {outputs '# line_of_comment'}\n"
    "    -hang=N {before exit, sleep for N milliseconds}\n";

// What a run on no drivers gives, with those lines in front.
Outcome WholeRun(const Texts& lines, const string& errors, const string& ending) {
  static const Outcome clean = RunProber(NoDrivers());
  Outcome outcome{lines, "", errors, ending};
  outcome.lines.insert(outcome.lines.end(), clean.lines.begin(), clean.lines.end());
  return outcome;
}

TEST(CommandLineTest, LinesGoOutAtOnceAndAsTheyAre) {
  const string longLine(100000, 'x');
  for (const auto& [arguments, lines, errors] : Table<Texts, Texts, string>{
           {{"-stdout=one", "-comment=two", "-stderr=3", "-stdout=four"}, {"one", "# two", "four"}, "3\n"},
           {{"-stdout=", "-comment=", "-stderr="}, {"", "# "}, "\n"},
           {{"-stdout=a=b", "-stderr=-stdout=c"}, {"a=b"}, "-stdout=c\n"},
           {{"-stdout=\"", "-stdout=\"a", "-stdout=a\""}, {"\"", "\"a", "a\""}, ""},
           {{"-stdout=\"\"", "-stdout=\"a b\"", "-stdout=\"\"a\"\""}, {"", "a b", "\"a\""}, ""},
           {{"-stdout=a\nb", "-comment=%s\\n\t"}, {"a", "b", "# %s\\n\t"}, ""},
           {{"-stdout=" + longLine}, {longLine}, ""},
           {{"-app=Host", "-timeout=1", "-app=", "-verbose=abc"}, {}, ""},
       })
    EXPECT_TRUE(Same(RunProber(NoDrivers(), arguments), WholeRun(lines, errors, "status 0")))
        << arguments.back();
}

TEST(CommandLineTest, ExitStatus) {
  for (const string row : {"7: 7", "0x10: 16", "010: 8", "\"5\": 5", "abc: 0", "12abc: 12", ": 0", "300: 44",
                           "-1: 255", " 9: 9", "0x100000003: 3"}) {
    const Outcome outcome = RunProber(NoDrivers(), {"-exit=1", "-exit=" + row.substr(0, row.find(':'))});
    EXPECT_TRUE(Same(outcome, WholeRun({}, "", "status" + row.substr(row.find(':') + 1)))) << row;
  }
  // A failure overrides it, be it one of a GPU or one of the run.
  for (const char* programmed : {"-throwAfter=10", "-throwAfter=2"})
    EXPECT_EQ(RunProber(Drivers(), {"-exit=7", programmed}).ending, "status 2") << programmed;
}

TEST(CommandLineTest, UsageFailure) {
  for (const string argument : {"-help", "--help", "-help=1", "-bogus", "-bogus=1", "-exit", "-verbose", "",
                                "-", "-=", "xexit=1", "--exit=1", "-Exit=1", "-exit =1", "-exi=1"}) {
    const Outcome outcome =
        RunProber(NoDrivers(), {"-exit=7", "-hang=600000", "-stdout=x", argument, "-stdout=y"});
    const Texts lines = argument == "-help" ? Texts{"x"} : Texts{"x", "y"};
    EXPECT_TRUE(Same(outcome, {lines, "", kUsage, "status 3"})) << argument;
  }
}

TEST(CommandLineTest, HangSleepsBehindTheReport) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(Same(RunProber(NoDrivers(), {"-hang=0x12c", "-exit=5"}), WholeRun({}, "", "status 5")));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  const std::size_t count = RunProber(NoDrivers(), {"-verbose=1", "-hang=1"}).lines.size() - 1;
  ProberProcess hangs(NoDrivers(), {"-verbose=1", "-hang=-1"});
  EXPECT_TRUE(hangs.WaitForLines(count, 0) && hangs.StaysSilent(200));
  // The failure of a GPU is none of the run, which leaves it out.
  const string last = RunProber(Drivers(), {"-verbose=1", "-hang=1", "-throwAfter=10"}).lines.back();
  EXPECT_NE(last.find("hang=0.001"), string::npos) << last;
  EXPECT_EQ(RunProber(NoDrivers(), {"-hang=600000", "-throwAfter=3"}).ending, "status 2");
}

// What the option does: throwAfter fails one step, crashAfter all of them from that one on. Their lines are
// out.
Failures Programmed(const string& option, unsigned after) {
  const bool throws = option == "-throwAfter=";
  const string errors = throws ? "exception: Programmed throw\n" : "exception: programmed failure\n";
  return [=](const Step& step, unsigned count) {
    const bool isDue = step.counts && (throws ? count == after : count >= after);
    return isDue ? Failure{errors, step.lines.size()} : Failure{};
  };
}

class ProgrammedFailureTest : public testing::TestWithParam<const char*> {};

TEST_P(ProgrammedFailureTest, AtEveryStep) {
  for (unsigned after = 0; after <= CleanSteps().size(); ++after) {
    const string argument = GetParam() + std::to_string(after);
    EXPECT_TRUE(Same(RunProber(Drivers(), {argument}), Foretell(CleanSteps(), Programmed(GetParam(), after))))
        << argument;
  }
}

INSTANTIATE_TEST_SUITE_P(Options, ProgrammedFailureTest, testing::Values("-throwAfter=", "-crashAfter="));

}  // namespace
