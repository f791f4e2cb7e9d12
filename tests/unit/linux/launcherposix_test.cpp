// What a launcher does on POSIX systems alone.
#include "../outcome.h"
#include "../ownhome.h"
#include "../testchild.h"

#include <ztutil/widetext.h>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace {

using std::string;
using ztutil::CreateLauncher;

constexpr char kCreateProcessFailed[] = "runtime: CreateProcessW failed";

TEST(LauncherPosix, EndsAreSignalsOrStatuses) {
  const struct {
    const char* action;
    const char* end;
    const char* description;
  } rows[] = {
      {"exit:256", "0 0", "exit status 0"},         {"exit:137", "0 137", "exit status 137"},
      {"crash", "1 77", "signal 11 (SIGSEGV)"},     {"signal:9", "1 77", "signal 9 (SIGKILL)"},
      {"signal:13", "1 77", "signal 13 (SIGPIPE)"}, {"signal:40", "1 77", "signal 40"},
      {"signal:17", "0 0", "exit status 0"},  // SIGCHLD
  };
  const auto launcher = CreateLauncher();
  for (const auto& row : rows) {
    EXPECT_EQ(RunChild(*launcher, {row.action}), row.end) << row.action;
    EXPECT_EQ(ztutil::DescribeRawEnd(launcher->GetRawEnd().value()), row.description);
  }
}

TEST(LauncherPosix, ArgumentsArriveByteForByte) {
  const auto launcher = CreateLauncher();
  const std::deque<string> arguments{"arguments", "", "a b", "\"'\\", "\n\t", "\xFF\xC3", "*$HOME"};
  string expected = ztutil::UTF8FromWide(TestChild()) + '\0';
  for (const string& argument : arguments) expected += argument + '\0';
  string arrived;
  RunChild(*launcher, arguments, &arrived);
  EXPECT_EQ(arrived, expected);
  const string cut("say:a\0b", 7);
  EXPECT_EQ(Outcome([&] { RunChild(*launcher, {cut}); }), kCreateProcessFailed);
  EXPECT_EQ(Outcome([&] { launcher->Launch(TestChild() + std::wstring(L"\0x", 2), {}); }),
            kCreateProcessFailed);
}

TEST(LauncherPosix, FindsProgramsByPathOrName) {
  const auto launcher = CreateLauncher();
  const string name = "no UTF-8: \xFF\xE4";
  const string file = WriteInHome("file", "not a program");
  const string link = OwnHome() + "/" + name;
  boost::filesystem::create_symlink(ztutil::UTF8FromWide(TestChild()), link);
  const char* const path = std::getenv("PATH");
  const string formerPath = path != nullptr ? path : "";
  const struct {
    string program;
    string searched;
    const char* outcome;
  } rows[] = {
      {link, formerPath, ""},
      {name, OwnHome(), ""},
      {name, formerPath, kCreateProcessFailed},
      {"./" + name, OwnHome(), kCreateProcessFailed},
      {file, formerPath, kCreateProcessFailed},
      {OwnHome(), formerPath, kCreateProcessFailed},
  };
  for (const auto& row : rows) {
    setenv("PATH", row.searched.c_str(), 1);
    EXPECT_EQ(Outcome([&] {
                launcher->Launch(ztutil::WideFromUTF8(row.program), {});
                launcher->Kill();
                WaitFor(*launcher);
              }),
              row.outcome)
        << row.program;
  }
  setenv("PATH", formerPath.c_str(), 1);
}

TEST(LauncherPosix, SignalsDoNotInterruptAWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  const auto launcher = CreateLauncher();
  launcher->Launch(TestChild(), {"sleep:100", "exit:6"});
  std::atomic<bool> done{false};
  std::thread disturber([&done, waiting = pthread_self()] {
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(1))) pthread_kill(waiting, SIGUSR1);
  });
  EXPECT_EQ(WaitFor(*launcher), "0 6");
  done = true;
  disturber.join();
}

bool HasChildren() {
  siginfo_t info;
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

TEST(LauncherPosix, ReapsWhatNobodyWaitsFor) {
  const auto launcher = CreateLauncher();
  {
    const auto gone = CreateLauncher();
    for (const auto& each : {launcher, gone}) {
      each->Launch(TestChild(), {"hang"});
      each->Kill();
    }
  }
  for (int tries = 0; HasChildren() && tries < 1000; ++tries) {
    EXPECT_EQ(RunChild(*launcher, {"exit:2"}), "0 2");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_FALSE(HasChildren());
}

}  // namespace
