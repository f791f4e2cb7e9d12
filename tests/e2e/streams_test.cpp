// Standard streams that are full, closed or left by their reader.
#include "report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace {

using std::string;

constexpr int kPipe = ProberProcess::kPipe;
constexpr int kClosed = ProberProcess::kClosed;
constexpr char kLineFailed[] = "DoStdout failed\n";

string Times(std::size_t count, const string& text) {
  return count == 0 ? "" : text + Times(count - 1, text);
}

TEST(StreamsTest, LostLinesAreToldOneByOne) {
  const std::size_t count = CleanRun().lines.size();
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  using Row = std::tuple<int, int, Texts, string, string>;
  for (const auto& [output, errors, arguments, expected, ending] : {
           Row{full, kPipe, {}, Times(count, kLineFailed), "status 0"},
           Row{full, kPipe, {"-verbose=1"}, Times(count, kLineFailed), "status 0"},
           Row{full,
               kPipe,
               {"-stdout=x", "-stderr=y", "-comment=z", "-exit=9"},
               kLineFailed + string("y\n") + Times(count + 1, kLineFailed),
               "status 9"},
           Row{kClosed, kPipe, {}, Times(count, kLineFailed), "status 0"},
           Row{kClosed, kClosed, {"-exit=9", "-verbose=1"}, "", "status 9"},
           Row{full, full, {"-stderr=y", "-exit=9"}, "", "status 9"},
           Row{full, full, {"-help"}, "", "status 3"},
           Row{kClosed, kClosed, {"-throwAfter=3"}, "", "status 2"},
           Row{kClosed, full, {"-throwAfter=10"}, "", "status 2"},
       })
    EXPECT_TRUE(
        Same(ProberProcess(Drivers(), arguments, output, errors).Finish(), {{}, "", expected, ending}))
        << output << " " << errors << " " << testing::PrintToString(arguments);
  for (const int errors : {kClosed, full})
    EXPECT_TRUE(Same(ProberProcess(Drivers(), {"-stderr=x"}, kPipe, errors).Finish(), CleanRun())) << errors;
}

// Either the output's reader goes away behind the first lines, or it's too slow for these and comes back.
// Then what couldn't be written is lost for good: no piece of it stands in front of a later line.
TEST(StreamsTest, OutputChangesOnTheWay) {
  // The rig tells a call before it's made, by opening this file. The first one has to wait until there is a
  // reader.
  const string gate = ScratchFile("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  constexpr int kLinesBefore = 3;
  const Texts linesBehind(CleanRun().lines.begin() + kLinesBefore, CleanRun().lines.end());
  const Outcome readerGone = {{}, "", Times(linesBehind.size(), kLineFailed), "status 0"};
  const Outcome readerBack = {linesBehind, "", Times(kLinesBefore, kLineFailed), "status 0"};
  for (const auto& [comesBack, verbosity] :
       Table<bool, string>{{false, "0"}, {false, "1"}, {true, "0"}, {true, "1"}}) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    string buffer(PIPE_BUF, 'x');
    if (comesBack) {
      for (const int end : ends) fcntl(end, F_SETFL, O_NONBLOCK);
      while (write(ends[1], buffer.data(), buffer.size()) > 0) continue;
    }
    ProberProcess prober(Drivers({{"RIG_TRACE", gate}}), {"-verbose=" + verbosity}, ends[1]);
    close(ends[1]);
    if (comesBack) {
      EXPECT_TRUE(prober.WaitForLines(0, kLinesBefore));
      EXPECT_TRUE(prober.StaysSilent(100));  // log lines fail as well by now
      while (read(ends[0], buffer.data(), buffer.size()) > 0) continue;
    } else {
      for (int lines = 0; lines < kLinesBefore && read(ends[0], buffer.data(), 1) == 1;)
        lines += buffer[0] == '\n';
      close(ends[0]);
    }
    const int opened = open(gate.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    Outcome outcome = prober.Finish();
    string text;
    for (ssize_t count; comesBack && (count = read(ends[0], buffer.data(), buffer.size())) > 0;)
      text.append(buffer, 0, static_cast<std::size_t>(count));
    EXPECT_EQ(text.find("# "), verbosity == "0" || !comesBack ? string::npos : text.find('\n') + 1);
    outcome.lines = WithoutComments(Lines(text, &outcome.rest));
    EXPECT_TRUE(Same(outcome, comesBack ? readerBack : readerGone)) << comesBack << verbosity;
    close(opened);
    if (comesBack) close(ends[0]);
  }
}

}  // namespace
