// Launchers of a process that makes it hard for them: what it has open, closed, blocked or ignored, and where
// process ids come again at once.
#include "../../unit/outcome.h"
#include "../../unit/testchild.h"
#include "../soak.h"

#include <ztutil/clock.h>
#include <ztutil/consoleappaccessor.h>
#include <ztutil/widetext.h>

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using std::string;
using ztutil::CreateLauncher;
using ztutil::LaunchResult;
using ztutil::consoleapp::Fault;

// Starts a child of the rig without a launcher, and gives its process id, or -1.
pid_t SpawnBare(string action) {
  string program = ztutil::UTF8FromWide(TestChild());
  char* const argv[] = {program.data(), action.data(), nullptr};
  pid_t pid = -1;
  return posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) == 0 ? pid : -1;
}

TEST(LauncherSoak, ReapsWhatNobodyWaitsFor) {
  const string before = TakeStock();
  {
    LaunchResult child;  // ends behind its launcher
    const auto launcher = CreateLauncher();
    child = launcher->Launch(TestChild(), {"drain"});
  }
  const auto app = boost::make_shared<ztutil::ConsoleApp>();
  app->InjectFault(Fault::NotifyRunning);
  ztutil::ConsoleAppLauncher failing({TestChild(), {"hang"}, nullptr, nullptr}, app);
  EXPECT_NE(Outcome([&] { failing.Launch(); }), "");
  ExpectStock(before);
}

// A child that inherits an end of another's pipe holds up the end of that one's data until it ends itself.
TEST(LauncherSoak, AChildOfTheHostHoldsNoPipe) {
  std::atomic<bool> done{false};
  std::thread starter([&] {
    std::vector<pid_t> pids;
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(5)))
      pids.push_back(SpawnBare("sleep:2000"));
    for (const pid_t pid : pids) waitpid(pid, nullptr, 0);
  });
  Effort effort(1500, 20000);
  InThreads([&](unsigned) {
    const auto launcher = CreateLauncher();
    while (!testing::Test::HasFailure() && effort.More()) {
      const LaunchResult child = launcher->Launch(TestChild(), {"exit:1"});
      EXPECT_EQ(WaitFor(*launcher), "0 1");
      const double ended = ztutil::Now();
      EXPECT_EQ(ReadAll(*child.fAppOutput[1]) + ReadAll(*child.fAppOutput[2]), "");
      EXPECT_LT(ztutil::Now() - ended, 1);
    }
  });
  done = true;
  starter.join();
}

// --- Hostile hosts -----------------------------------------------------------------------------------------

// What children of this process meet: which descriptors they have, whether a signal that is blocked or
// ignored here ends them, and whether they can be killed; and which of the three streams the process has
// itself while one runs.
string Met() {
  const auto launcher = CreateLauncher();
  string met;
  const string end = RunChild(*launcher, {"descriptors", "signal:" + std::to_string(SIGPIPE)}, &met);
  const LaunchResult child = launcher->Launch(TestChild(), {"hang"});
  string open;
  for (int stream = 0; stream < 3; ++stream) open += fcntl(stream, F_GETFD) == -1 ? '-' : '+';
  launcher->Kill();
  return met + end + "; " + WaitFor(*launcher) + "; " + open;
}

string MetWithClosedStreams(unsigned mask) {
  int saved[3];
  for (int stream = 0; stream < 3; ++stream) {
    saved[stream] = fcntl(stream, F_DUPFD_CLOEXEC, 200);
    if ((mask >> stream & 1) != 0) close(stream);
  }
  string met = Met();
  for (int stream = 0; stream < 3; ++stream) {
    dup2(saved[stream], stream);
    close(saved[stream]);
  }
  return met;
}

string MetWithoutSignals() {
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  sigset_t all, former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  string met = Met();
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  std::signal(SIGPIPE, handler);
  return met;
}

TEST(HostileHostSoak, ChildrenAreSpared) {
  const string nothingUnusual = " 0 1 2\n1 77; 2 77; ";
  const char* const open[] = {"+++", "-++", "+-+", "--+", "++-", "-+-", "+--", "---"};
  const int inheritable[] = {dup(STDERR_FILENO), fcntl(STDERR_FILENO, F_DUPFD, 150)};
  const string before = TakeStock();
  Effort effort(1, 50);
  while (effort.More()) {
    for (unsigned mask = 0; mask < 8; ++mask)
      EXPECT_EQ(MetWithClosedStreams(mask), nothingUnusual + open[mask]);
    EXPECT_EQ(MetWithoutSignals(), nothingUnusual + open[0]);
  }
  ExpectStock(before);
  for (const int descriptor : inheritable) close(descriptor);
}

// A launch needs six descriptors.
TEST(HostileHostSoak, DescriptorsRunOut) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "UndefinedBehaviorSanitizer checks virtual calls through a pipe of its own";
#endif
  const auto launcher = CreateLauncher();
  rlimit former{};
  getrlimit(RLIMIT_NOFILE, &former);
  const rlimit limit{64, former.rlim_max};
  setrlimit(RLIMIT_NOFILE, &limit);
  std::vector<int> taken;
  for (int next = 0; (next = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) != -1;) taken.push_back(next);
  for (int free = 0; free <= 6; ++free) {
    EXPECT_EQ(Outcome([&] { launcher->Launch(TestChild(), {}); }),
              free < 6 ? "runtime: CreatePipe failed" : "");
    close(taken.back());
    taken.pop_back();
  }
  EXPECT_EQ(WaitFor(*launcher), "0 0");
  for (const int descriptor : taken) close(descriptor);
  setrlimit(RLIMIT_NOFILE, &former);
}

TEST(HostileHostSoak, SomebodyElseReaps) {
  const auto launcher = CreateLauncher();
  launcher->Launch(TestChild(), {});
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), "runtime: WaitForSingleObject failed");
  EXPECT_EQ(RunChild(*launcher, {"exit:1"}), "0 1");
}

// --- Process ids that come again ---------------------------------------------------------------------------

constexpr char kLastPid[] = "/proc/sys/kernel/ns_last_pid";

// The next process gets the first free id above this one; only this process's namespace is concerned.
bool TurnIdsBack() { return static_cast<bool>(std::ofstream(kLastPid) << 100 << std::flush); }

// Runs this test as the first process of a namespace of its own.
void RunInNamespace(const string& test) {
  const auto launcher = CreateLauncher();
  const string self = boost::dll::program_location().string();
  const LaunchResult child = launcher->Launch(
      L"unshare", {"--map-root-user", "--pid", "--fork", "--kill-child", self, "--gtest_filter=" + test});
  const string output = ReadAll(*child.fAppOutput[1]) + ReadAll(*child.fAppOutput[2]);
  const string end = WaitFor(*launcher);
  if (output.find("unshare failed") != string::npos || output.find("SKIPPED") != string::npos)
    GTEST_SKIP() << output;
  EXPECT_EQ(end, "0 0") << output;
}

// It kills as fast as it can, while bystanders get the ids that have just become free.
TEST(RecycledIdSoak, NoBystanderIsKilled) {
  if (getpid() != 1) return RunInNamespace("RecycledIdSoak.NoBystanderIsKilled");
  if (!TurnIdsBack()) GTEST_SKIP() << "can't write " << kLastPid;
  const auto launcher = CreateLauncher();
  std::atomic<bool> done{false};
  std::atomic<int> strays{0};
  const auto kill = [&] {
    while (!done) Outcome([&] { launcher->Kill(); });
  };
  const auto spawnBystanders = [&] {
    while (!done) {
      TurnIdsBack();
      int status = 0;
      const pid_t pid = SpawnBare("exit:5");
      if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) ++strays;
    }
  };
  // One alone may fall into step with the launches and never get their ids.
  std::thread others[]{std::thread(kill), std::thread(spawnBystanders), std::thread(spawnBystanders)};
  Effort effort(1000, 20000);
  while (effort.More()) {
    TurnIdsBack();
    const LaunchResult child = launcher->Launch(TestChild(), {"exit:6"});
    const string end = WaitFor(*launcher);
    EXPECT_TRUE(end == "0 6" || end == "2 77") << end;
  }
  done = true;
  for (std::thread& thread : others) thread.join();
  EXPECT_EQ(strays, 0);
}

}  // namespace
