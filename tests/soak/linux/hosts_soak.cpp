// Launchers of a process that makes it hard for them: what it has open, closed, blocked or ignored, and where
// process ids come again at once.
#include "../../unit/outcome.h"
#include "../../unit/testchild.h"
#include "../soak.h"

#include <ztutil/widetext.h>

#include <boost/dll/runtime_symbol_info.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using std::string;
using ztutil::CreateLauncher;
using ztutil::LaunchResult;

// Starts a child of the rig without a launcher, and gives its process id, or -1.
pid_t SpawnBare(string action) {
  string program = ztutil::UTF8FromWide(TestChild());
  char* const argv[] = {program.data(), action.data(), nullptr};
  pid_t pid = -1;
  return posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) == 0 ? pid : -1;
}

TEST(LauncherSoak, AChildOfTheHostHoldsNoPipe) {
  std::vector<pid_t> pids;
  ExpectPromptEnds([&] { pids.push_back(SpawnBare("sleep:2000")); });
  for (const pid_t pid : pids) waitpid(pid, nullptr, 0);
}

// --- Hostile hosts
// -------------------------------------------------------------------------------------------------

// Each makes this process hostile while it lives.

class ClosedStreams {
 public:
  explicit ClosedStreams(unsigned mask) {
    for (int stream = 0; stream < 3; ++stream) {
      fSaved[stream] = fcntl(stream, F_DUPFD_CLOEXEC, 200);
      if ((mask >> stream & 1) != 0) close(stream);
    }
  }
  ~ClosedStreams() {
    for (int stream = 0; stream < 3; ++stream) {
      dup2(fSaved[stream], stream);
      close(fSaved[stream]);
    }
  }

 private:
  int fSaved[3];
};

class Limit {
 public:
  explicit Limit(rlim_t descriptors) {
    getrlimit(RLIMIT_NOFILE, &fFormer);
    const rlimit limit{std::min(descriptors, fFormer.rlim_max), fFormer.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  ~Limit() { setrlimit(RLIMIT_NOFILE, &fFormer); }

 private:
  rlimit fFormer{};
};

class Signals {
 public:
  explicit Signals(int ignored) : fIgnored(ignored), fHandler(std::signal(ignored, SIG_IGN)) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &fMask);
  }
  ~Signals() {
    pthread_sigmask(SIG_SETMASK, &fMask, nullptr);
    std::signal(fIgnored, fHandler);
  }

 private:
  int fIgnored;
  void (*fHandler)(int);
  sigset_t fMask{};
};

// What children of this process meet: which descriptors they have, whether a signal that is blocked or
// ignored here ends them, and whether they can be killed.
string Met() {
  const auto launcher = CreateLauncher();
  string met;
  const string end = RunChild(*launcher, {"descriptors", "signal:" + std::to_string(SIGPIPE)}, &met);
  const LaunchResult child = launcher->Launch(TestChild(), {"hang"});
  launcher->Kill();
  return met + end + "; " + WaitFor(*launcher);
}

constexpr char kNothingUnusual[] = " 0 1 2\n1 77; 2 77";

TEST(HostileHostSoak, ChildrenAreSpared) {
  const int inheritable[] = {dup(STDERR_FILENO), fcntl(STDERR_FILENO, F_DUPFD, 150)};
  const Holdings before = TakeStock();
  Effort effort(1, 50);
  while (effort.More()) {
    for (unsigned mask = 0; mask < 8; ++mask) {
      string met;
      bool stayClosed = true;
      {
        const ClosedStreams closed(mask);
        met = Met();
        const auto launcher = CreateLauncher();
        const LaunchResult child = launcher->Launch(TestChild(), {});
        for (int stream = 0; stream < 3; ++stream)
          stayClosed = stayClosed && (fcntl(stream, F_GETFD) == -1) == ((mask >> stream & 1) != 0);
        WaitFor(*launcher);
      }
      EXPECT_EQ(met, kNothingUnusual) << mask;
      EXPECT_TRUE(stayClosed) << mask;
    }
    {
      const Signals signals(SIGPIPE);
      EXPECT_EQ(Met(), kNothingUnusual);
    }
    for (const rlim_t descriptors : {rlim_t{210}, RLIM_INFINITY}) {
      const Limit limit(descriptors);
      EXPECT_EQ(Met(), kNothingUnusual);
    }
  }
  EXPECT_EQ(TakeStock(), before);
  for (const int descriptor : inheritable) close(descriptor);
}

// A launch needs six descriptors.
TEST(HostileHostSoak, DescriptorsRunOut) {
  const auto launcher = CreateLauncher();
  const Limit limit(64);
  std::vector<int> taken;
  for (int next = 0; (next = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) != -1;) taken.push_back(next);
  ASSERT_GE(taken.size(), 6u);
  for (int free = 0; free <= 6; ++free) {
    EXPECT_EQ(Outcome([&] { launcher->Launch(TestChild(), {}); }),
              free < 6 ? "runtime: CreatePipe failed" : "");
    close(taken.back());
    taken.pop_back();
  }
  EXPECT_EQ(WaitFor(*launcher), "0 0");
  for (const int descriptor : taken) close(descriptor);
}

TEST(HostileHostSoak, SomebodyElseReaps) {
  const auto launcher = CreateLauncher();
  const string failed = "runtime: WaitForSingleObject failed";
  {
    const Signals signals(SIGCHLD);
    launcher->Launch(TestChild(), {"hang"});
    launcher->Kill();
    EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), failed);
    EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  }
  launcher->Launch(TestChild(), {});
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), failed);
  EXPECT_EQ(RunChild(*launcher, {"exit:1"}), "0 1");
}

// --- Process ids that come again
// -------------------------------------------------------------------------------------

constexpr char kLastPid[] = "/proc/sys/kernel/ns_last_pid";

// The next process gets the first free id above this one; only this process's namespace is concerned.
bool TurnIdsBack() { return static_cast<bool>(std::ofstream(kLastPid) << 100 << std::flush); }

// In a namespace of its own, where it is the first process, this test kills as fast as it can, while
// bystanders get the ids that have just become free.
TEST(RecycledIdSoak, NoBystanderIsKilled) {
  if (getpid() != 1) {
    const auto launcher = CreateLauncher();
    const string self = boost::dll::program_location().string();
    const std::deque<string> arguments{
        "--map-root-user", "--pid", "--fork",
        "--kill-child",    self,    "--gtest_filter=RecycledIdSoak.NoBystanderIsKilled"};
    const LaunchResult child = launcher->Launch(L"unshare", arguments);
    const string output = ReadAll(*child.fAppOutput[1]);
    const string errors = ReadAll(*child.fAppOutput[2]);
    const string end = WaitFor(*launcher);
    if (errors.find("unshare failed") != string::npos) GTEST_SKIP() << errors;
    if (output.find("SKIPPED") != string::npos) GTEST_SKIP() << output;
    EXPECT_EQ(end, "0 0") << output << errors;
    return;
  }
  if (!TurnIdsBack()) GTEST_SKIP() << "can't write " << kLastPid;
  const auto launcher = CreateLauncher();
  std::atomic<bool> done{false};
  std::thread killer([&] {
    while (!done) Outcome([&] { launcher->Kill(); });
  });
  std::atomic<int> strays{0};
  const auto spawnBystanders = [&] {
    while (!done) {
      TurnIdsBack();
      int status = 0;
      const pid_t pid = SpawnBare("exit:5");
      if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) ++strays;
    }
  };
  // One alone may fall into step with the launches and never get their ids.
  std::thread bystanders[]{std::thread(spawnBystanders), std::thread(spawnBystanders)};
  Effort effort(1000, 20000);
  while (effort.More()) {
    TurnIdsBack();
    const LaunchResult child = launcher->Launch(TestChild(), {"exit:6"});
    const string end = WaitFor(*launcher);
    EXPECT_TRUE(end == "0 6" || end == "2 77") << end;
  }
  done = true;
  killer.join();
  for (std::thread& thread : bystanders) thread.join();
  EXPECT_EQ(strays, 0);
}

}  // namespace
