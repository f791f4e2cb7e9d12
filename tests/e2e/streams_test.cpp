// Standard streams that are full, closed or left by their reader.
#include "report.h"

#include <fcntl.h>
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
  int unread[2];
  ASSERT_EQ(pipe2(unread, O_CLOEXEC), 0);
  close(unread[0]);
  for (const auto& [output, errors, arguments, expected, ending] : Table<int, int, string, string, string>{
           {full, kPipe, "", Times(count, kLineFailed), "status 0"},
           {full, kPipe, "-stdout=x -stderr=y -comment=z -exit=9",
            kLineFailed + string("y\n") + Times(count + 1, kLineFailed), "status 9"},
           {unread[1], kPipe, "-verbose=1", Times(count, kLineFailed), "status 0"},
           {kClosed, kPipe, "-verbose=1", Times(count, kLineFailed), "status 0"},
           {kClosed, kClosed, "-exit=9 -verbose=1", "", "status 9"},
           {full, full, "-help", "", "status 3"},
           {kClosed, full, "-throwAfter=10", "", "status 2"},
       })
    EXPECT_TRUE(
        Same(ProberProcess(Drivers(), Words(arguments), output, errors).Finish(), {{}, "", expected, ending}))
        << output << " " << errors << " " << arguments;
  for (const int errors : {kClosed, full})
    EXPECT_TRUE(Same(ProberProcess(Drivers(), {"-stderr=x"}, kPipe, errors).Finish(), CleanRun())) << errors;
}

// By a host that has its end of the pipe not block, and reads late.
TEST(StreamsTest, OutputThatIsFullForAWhileIsWaitedFor) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  string buffer(PIPE_BUF, 'x');
  while (write(ends[1], buffer.data(), buffer.size()) > 0) continue;
  ProberProcess prober(Drivers(), {"-verbose=1"}, ends[1]);
  close(ends[1]);
  EXPECT_TRUE(prober.StaysSilent(300));
  fcntl(ends[0], F_SETFL, 0);
  string text;
  for (ssize_t count; (count = read(ends[0], buffer.data(), buffer.size())) > 0;)
    text.append(buffer, 0, static_cast<std::size_t>(count));
  close(ends[0]);
  Outcome outcome = prober.Finish();
  outcome.lines = WithoutComments(Lines(text.substr(text.find_first_not_of('x')), &outcome.rest));
  EXPECT_TRUE(Same(outcome, CleanRun()));
}

}  // namespace
