#include "system/platform.h"

#include "../outcome.h"
#include "../ownhome.h"
#include "../testsystem.h"
#include "refusecalls.h"
#include "system/standardstreams.h"

#include <kgx/opencltable.h>
#include <ztutil/gpuimpl.h>
#include <ztutil/logsinks.h>
#include <ztutil/prepareprocess.h>

#include <boost/thread/thread.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

namespace {

// What a driver opens must not become a standard stream, and what is written to a closed one must fail.
void CheckClosedStreams() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) close(descriptor);
  ztutil::platform::PrepareProberProcess();
  char byte = 'x';
  const bool fail = read(0, &byte, 1) == -1 && write(1, &byte, 1) == -1 && write(2, &byte, 1) == -1;
  std::exit(fail && open("/dev/null", O_RDWR) > 2 ? 0 : 1);
}

TEST(ProberProcess, ClosedStandardStreamsFailAndAreNobodyElses) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(CheckClosedStreams(), testing::ExitedWithCode(0), "");
}

// A driver closes standard output, and what it opens then gets its number.
void CheckKeptOutput() {
  std::fflush(stdout);  // of the test program's own
  int ends[2];
  bool kept = pipe(ends) == 0 && dup2(ends[1], 1) == 1;
  ztutil::platform::PrepareProberProcess();
  constexpr int kKept = 100;
  const pid_t left = fork();  // by a driver
  if (left == 0) _exit(fcntl(kKept, F_GETFD));
  int status = 0;
  kept = kept && waitpid(left, &status, 0) == left && WEXITSTATUS(status) == 255;  // hasn't got it
  ztutil::WriteStderrLine("elsewhere");
  for (const char c : {'a', 'b', 'c'}) {
    close(1);
    if (c == 'b') kept = kept && open("/dev/null", O_WRONLY) == 1;
    if (c == 'c') kept = kept && close(kKept) == 0 && dup2(ends[1], 1) == 1;
    char line[3] = "";
    kept =
        kept && ztutil::WriteStdoutLine({c}) && read(ends[0], line, 3) == 2 && line == std::string{c, '\n'};
  }
  std::exit(kept ? 0 : 1);
}

TEST(ProberProcess, LinesGoWhereStandardOutputLedAtTheStart) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(CheckKeptOutput(), testing::ExitedWithCode(0), "");
}

// The writer is interrupted all the time, and its pipe takes a text in pieces and doesn't wait.
TEST(StandardStreams, ASlowReaderAndSignalsLoseNoByte) {
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  Pipe pipe;
  fcntl(static_cast<int>(pipe.raw[1]), F_SETFL, O_NONBLOCK);
  std::FILE* const stream = fdopen(dup(static_cast<int>(pipe.raw[1])), "w");
  std::string text(1 << 20, '\0'), got = text;
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i + i / 4099);
  std::thread writer([&] { EXPECT_TRUE(ztutil::WriteWhole(stream, text)); });
  for (std::size_t at = 0; at < got.size(); pthread_kill(writer.native_handle(), SIGUSR1))
    at += pipe.in.ReadSome(&got[at], std::min<std::size_t>(4096, got.size() - at));
  writer.join();
  std::fclose(stream);
  EXPECT_TRUE(got == text);
}

TEST(StandardStreams, TakeWhatStandsInTheirPlace) {
  std::stringbuf text;
  std::streambuf* const former = std::cout.rdbuf(&text);
  std::cout.setstate(std::ios::badbit);  // of what failed before
  EXPECT_TRUE(ztutil::WriteStdoutLine("a"));
  std::cout.rdbuf(nullptr);
  EXPECT_FALSE(ztutil::WriteStdoutLine("b"));
  std::cout.rdbuf(former);
  EXPECT_EQ(text.str(), "a\n");
  char bytes[9] = "";
  std::FILE* const memory = fmemopen(bytes, sizeof bytes, "w");
  EXPECT_TRUE(ztutil::WriteWhole(memory, "ab\n"));
  EXPECT_FALSE(ztutil::WriteWhole(memory, "too long\n"));
  EXPECT_EQ(std::ferror(memory), 0);
  std::rewind(memory);
  EXPECT_TRUE(ztutil::WriteWhole(memory, "c\n"));  // behind the piece of the line that is lost
  std::fclose(memory);
  EXPECT_EQ(std::string(bytes, 3), "\nc\n");
}

TEST(StdioLogger, APieceOfALostLineIsEndedByTheNext) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  std::FILE* const file = std::tmpfile();
  {
    ztutil::ZTStdioLogger logger(file);
    logger.SetFormatFlags(0);
    for (const auto& [line, limit] :
         {std::pair("whole", former.rlim_cur), {"cut", 8}, {"lost", 8}, {"next", former.rlim_cur}}) {
      const rlimit now{limit, former.rlim_max};
      setrlimit(RLIMIT_FSIZE, &now);
      if (*line == 'l') std::fputs("somebody else's, lost with it", file);
      logger.Print("", 0, "%s", line);
      EXPECT_EQ(std::ferror(file), 0);
    }
    logger.Write("end", 3);  // is flushed as the logger goes
  }
  std::rewind(file);
  char text[32] = "";
  EXPECT_EQ(std::fread(text, 1, sizeof text, file), 17u);
  EXPECT_STREQ(text, "whole\ncu\nnext\nend");
  std::fclose(file);
}

TEST(RegularFile, IsNoPipeThatWouldHaveToBeWaitedFor) {
  const std::string fifo = OwnHome() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int next = dup(STDERR_FILENO);
  close(next);
  EXPECT_EQ(ztutil::platform::OpenRegularFile(fifo), nullptr);
  EXPECT_EQ(dup(STDERR_FILENO), next);  // so it is closed again
  close(next);
}

TEST(FileToAddTo, IsNoWayToAnother) {
  const std::string other = WriteInHome("other", "");
  const std::string path = OwnHome() + "/path";
  for (const auto put : {symlink, link}) {
    ASSERT_EQ(put(other.c_str(), path.c_str()), 0);
    EXPECT_EQ(ztutil::platform::OpenForAppending(path), nullptr);
    std::remove(path.c_str());
  }
  EXPECT_EQ(ztutil::platform::OpenForAppending("/dev/null"), nullptr);
  // Another's file is theirs in their own folder alone.
  if (chown(other.c_str(), 1, 1) != 0) GTEST_SKIP() << "may not give files away";
  EXPECT_EQ(ztutil::platform::OpenForAppending(other), nullptr);
  ASSERT_EQ(chdir(OwnHome().c_str()), 0);
  EXPECT_EQ(ztutil::platform::OpenForAppending(other.substr(other.rfind('/') + 1)), nullptr);
  EXPECT_EQ(chown(OwnHome().c_str(), 1, 1), 0);
  std::FILE* const file = ztutil::platform::OpenForAppending(other);
  EXPECT_EQ(chown(OwnHome().c_str(), 0, 0), 0);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(StateOf(fileno(file)), "own");
  std::fclose(file);
}

TEST(InstalledRAM, IsTheSystems) {
  const auto bytes = std::uint64_t(sysconf(_SC_PHYS_PAGES)) * std::uint64_t(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(ztutil::platform::InstalledRAM(), bytes);
}

TEST(HomeOfSettings, IsFoundByTheFileOfTheUsersFoldersAndByTheUserDatabase) {
  mkdir((OwnHome() + "/.config").c_str(), 0700);
  const std::string file = WriteInHome(".config/user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/my/Desktop\"\n");
  const std::string& home = OwnHome();
  const std::string config = home + "/.config", users = getpwuid(getuid())->pw_dir;
  for (const auto& [homeIs, configIs, directory] : {std::tuple(home, std::string(), home + "/my"),
                                                    {home, "relative", home + "/my"},
                                                    {home, "/none", home},
                                                    {"/elsewhere", config, "/elsewhere/my"},
                                                    {"", "/none", users}}) {
    setenv("HOME", homeIs.c_str(), 1);
    setenv("XDG_CONFIG_HOME", configIs.c_str(), 1);
    EXPECT_EQ(ztutil::platform::UserDirectory(), directory) << configIs;
  }
  setenv("HOME", home.c_str(), 1);
  unsetenv("XDG_CONFIG_HOME");
  std::remove(file.c_str());
}

TEST(ThreadName, IsCutToTheSystemsRoom) {
  boost::thread([] {
    for (const auto& [name, expected] :
         {std::pair("a name longer than the system's", "a name longer t"),
          {"1a2c(app.Launcher)", "app.Launcher"},
          {"main()", "main()"},
          {"a long function()", "a long function"},
          {"vierzehn Byte \u00e4", "vierzehn Byte "},
          {"\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80", ""}}) {
      ztutil::platform::NameThreadForDebugger(name);
      char shown[16] = "";
      pthread_getname_np(pthread_self(), shown, sizeof shown);
      EXPECT_STREQ(shown, expected);
    }
  }).join();
}

// To a thread of its own.
TEST(System, MayRefuseToTellOfItsMemoryAndToOpenALibrary) {
  std::thread([] {
    ASSERT_TRUE(RefuseCalls(SYS_sysinfo, EPERM) && RefuseCalls(SYS_openat, EMFILE));
    EXPECT_EQ(Outcome(GetInstalledRAM), "runtime: GlobalMemoryStatusEx failed");
    EXPECT_EQ(Outcome(KGX::OCL::Library::Initialize), "other: no OpenCL library");
  }).join();
}

}  // namespace
