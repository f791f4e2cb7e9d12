// What a launcher does on POSIX systems alone.
#include "../memorylogger.h"
#include "../outcome.h"
#include "../ownhome.h"
#include "../testchild.h"
#include "refusecalls.h"

#include <ztutil/debugflag.h>
#include <ztutil/widetext.h>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <thread>
#include <tuple>

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
      {"exit:137", "0 137", "exit status 137"},
      {"crash", "1 77", "signal 11 (SIGSEGV)"},
      {"signal:9", "1 77", "signal 9 (SIGKILL)"},
      {"signal:40", "1 77", "signal 40"},
      // What the host does about its signals is its own affair, but for what it ignores.
      {"signal:10", "1 77", "signal 10 (SIGUSR1)"},
      {"signal:12", "0 0", "exit status 0"},
      {"signal:13", "1 77", "signal 13 (SIGPIPE)"},
  };
  std::signal(SIGUSR1, [](int) {});
  for (const int number : {SIGUSR2, SIGPIPE}) std::signal(number, SIG_IGN);
  sigset_t usr1;
  sigemptyset(&usr1);
  sigaddset(&usr1, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &usr1, nullptr);
  const auto launcher = CreateLauncher();
  for (const auto& row : rows) {
    EXPECT_EQ(RunChild(*launcher, {row.action}), row.end) << row.action;
    EXPECT_EQ(ztutil::DescribeRawEnd(launcher->GetRawEnd().value()), row.description);
  }
  RunChild(*launcher, {"crash"});
  launcher->Kill();
  EXPECT_EQ(WaitFor(*launcher), "1 77");  // the kill was too late
  sigset_t blocked;
  pthread_sigmask(SIG_UNBLOCK, &usr1, &blocked);
  EXPECT_TRUE(sigismember(&blocked, SIGUSR1) == 1 && sigismember(&blocked, SIGUSR2) == 0);  // as before
  for (const int number : {SIGUSR1, SIGUSR2, SIGPIPE}) std::signal(number, SIG_DFL);
}

TEST(LauncherPosix, ArgumentsArriveByteForByte) {
  const auto launcher = CreateLauncher();
  const std::deque<string> arguments{"arguments", "", "a b", "\"'\\", "\n\t", "\xFF\xC3", "*$HOME"};
  string expected = ztutil::UTF8FromWide(TestChild()) + '\0';
  for (const string& argument : arguments) expected += argument + '\0';
  string arrived;
  RunChild(*launcher, arguments, &arrived);
  EXPECT_EQ(arrived, expected);
  EXPECT_EQ(Outcome([&] { RunChild(*launcher, {string("say:a\0b", 7)}); }), kCreateProcessFailed);
}

TEST(LauncherPosix, FindsProgramsByPathOrName) {
  const auto launcher = CreateLauncher();
  const string name = "no UTF-8: \xFF\xE4", link = OwnHome() + "/" + name;
  const string file = WriteInHome("file", "not a program"), script = WriteInHome("script", "nor this");
  boost::filesystem::permissions(script, boost::filesystem::owner_all);
  boost::filesystem::create_directory(OwnHome() + "/good");
  for (const string& good : {link, OwnHome() + "/good/file", OwnHome() + "/good/script"})
    boost::filesystem::create_symlink(ztutil::UTF8FromWide(TestChild()), good);
  const char* const path = std::getenv("PATH");
  ASSERT_NE(path, nullptr);
  const struct {
    string program, searched;
    const char* refusal;
  } rows[] = {
      {link, path, ""},
      {name, "/no:" + file + ":" + OwnHome(), ""},
      {"true", "unset", ""},
      {"./" + name, OwnHome(), "No such file or directory"},
      {file, path, "Permission denied"},
      {"file", OwnHome() + ":/no", "Permission denied"},
      {"file", OwnHome() + ":" + OwnHome() + "/good", ""},
      {"script", OwnHome() + ":" + OwnHome() + "/good", "Exec format error"},
      {script, path, "Exec format error"},
  };
  for (const auto& row : rows) {
    row.searched == "unset" ? unsetenv("PATH") : setenv("PATH", row.searched.c_str(), 1);
    const auto launch = [&] {  // the child's own PATH has no say
      launcher->LaunchWithEnvironment(ztutil::WideFromUTF8(row.program), {}, {{"PATH", "/no"}}, false);
    };
    EXPECT_EQ(Outcome(launch), *row.refusal == '\0' ? "" : kCreateProcessFailed);
    EXPECT_EQ(launcher->GetStartError(), row.refusal) << row.program;
  }
  setenv("PATH", rows[0].searched.c_str(), 1);
}

TEST(LauncherPosix, TheLogTellsOfThePipesAndWhatTheSystemSaysOfAFailure) {
  const MemoryLogger logger;
  ztutil::DebugFlag flags[] = {{"ConsoleAppLog"}, {"BINIO_LOG"}};
  for (ztutil::DebugFlag& flag : flags) ztutil::DebugFlagValue(flag) = 1;
  const auto launcher = CreateLauncher();
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "runtime: TerminateProcess failed");
  EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), "runtime: WaitForSingleObject failed");
  EXPECT_EQ(Outcome([&] { launcher->Launch(L"/none", {}); }), kCreateProcessFailed);
  for (ztutil::DebugFlag& flag : flags) ztutil::DebugFlagValue(flag) = 0;
  const string closing = "WinHandle::Reset closing #\n", closings = closing + closing + closing;
  EXPECT_EQ(
      std::regex_replace(logger.text, std::regex("0x0{15}\\w"), "#"),
      "TerminateProcess failed: kill failed: No such process\n"
      "WaitForSingleObject failed: waitid failed: No child processes\n"
      "childStdinRd=# childStdinWr=#\nchildStdoutRd=# childStdoutWr=#\nchildStderrRd=# childStderrWr=#\n"
      "CreateProcessW failed: execve failed: No such file or directory\n" +
          closings + closings);
}

// Each in a thread of its own, to which the call stays refused.
TEST(LauncherPosix, TheLogTellsWhatTheSystemRefuses) {
  const MemoryLogger logger;
  ztutil::DebugFlag flag{"ConsoleAppLog"};
  ztutil::DebugFlagValue(flag) = 1;
  const auto refused = [](unsigned call, unsigned error, void (*act)(ztutil::Launcher&)) {
    std::thread([=] {
      const auto launcher = CreateLauncher();
      launcher->Launch(TestChild(), {"drain"});
      ASSERT_TRUE(RefuseCalls(call, error));
      Outcome([&] { act(*launcher); });
    }).join();
  };
  refused(SYS_clone, EAGAIN, [](ztutil::Launcher& own) { own.Launch(TestChild(), {}); });
  refused(SYS_waitid, EPERM, [](ztutil::Launcher& own) { WaitFor(own); });
  refused(SYS_kill, EPERM, [](ztutil::Launcher& own) { own.Kill(); });
  refused(SYS_clone3, EAGAIN, [](ztutil::Launcher& own) { own.GiveUp(); });
  ztutil::DebugFlagValue(flag) = 0;
  EXPECT_EQ(std::regex_replace(logger.text, std::regex("process \\d+"), "process #"),
            "CreateProcessW failed: clone failed: Resource temporarily unavailable\n"
            "WaitForSingleObject failed: waitid failed: Operation not permitted\n"
            "TerminateProcess failed: kill failed: Operation not permitted\n"
            "what is left of process # stays: Resource temporarily unavailable\n");
}

TEST(LauncherPosix, NeitherSignalsNorATracedChildsStopEndAWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  const auto launcher = CreateLauncher();
  launcher->Launch(TestChild(), {"hang"});
  const auto pid = static_cast<pid_t>(launcher->GetProcessID());
  if (ptrace(PTRACE_SEIZE, pid, 0, 0) == 0) ptrace(PTRACE_INTERRUPT, pid, 0, 0);  // where one may trace
  std::thread disturber([&, waiting = pthread_self()] {
    for (int i = 0; i < 50; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(1)))
      pthread_kill(waiting, SIGUSR1);
    launcher->Kill();
  });
  EXPECT_EQ(WaitFor(*launcher), "2 77");
  disturber.join();
}

TEST(LauncherPosix, WhatNobodyWaitsForIsReapedAtItsEnd) {
  using Owned = boost::shared_ptr<ztutil::Launcher>;
  for (void (*const leave)(Owned&) : {+[](Owned& own) { own->GiveUp(); }, +[](Owned& own) { own.reset(); },
                                      +[](Owned& own) { Outcome([&] { own->Launch(L"/none", {}); }); }}) {
    auto launcher = CreateLauncher();
    launcher->Launch(TestChild(), {"hang"});
    const auto pid = static_cast<pid_t>(launcher->GetProcessID());
    errno = ECHILD;  // of something before
    launcher->Kill();
    leave(launcher);
    for (int tries = 0; tries < 10000 && kill(pid, 0) == 0; ++tries)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(kill(pid, 0), -1);
  }
}

// Orphans come to the test, which sees how they end.
TEST(LauncherPosix, AChildEndsWithItsHostWhereItIsToAndRunsOnElsewhere) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  while (waitpid(-1, nullptr, 0) > 0) {  // what other tests have left
  }
  EXPECT_EQ(Outcome([] { CreateLauncher()->Launch(L"/none", {}); }), kCreateProcessFailed);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  // The one waits for its host's end, of which its input tells, and for a while more.
  for (const auto& [launch, action, end] :
       {std::tuple(&ztutil::Launcher::Launch, "drain", 0),
        std::tuple(&ztutil::Launcher::LaunchToEndWithHost, "hang", SIGKILL)}) {
    const pid_t host = fork();
    if (host == 0) {
      const auto child = ((*CreateLauncher()).*launch)(TestChild(), {action, "sleep:100"});
      raise(SIGKILL);
    }
    EXPECT_EQ(waitpid(host, nullptr, 0), host);
    int status = -1;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(status, end);
  }
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
