#include "../outcome.h"
#include "../ownhome.h"
#include "../testsystem.h"
#include "refusecalls.h"

#include <boost/filesystem.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <regex>
#include <thread>

namespace {

TEST(TempFile, HasANameOfItsOwnAndTheUsersRights) {
  UseForTemporaryFiles(OwnHome());
  EXPECT_EQ(Outcome([] { ztutil::MakeTempPath("../x"); }),
            "other: " + ztutil::WinErrorText("GetTempFileNameW", EINVAL));
  const boost::filesystem::path path = ztutil::MakeTempPath("\u00e4bcdef");
  EXPECT_NE(path, ztutil::MakeTempPath("\u00e4bcdef"));
  const std::regex name("\u00e4bc[0-9A-F]{8}\\.TMP");
  EXPECT_TRUE(std::regex_match(path.filename().string(), name)) << path;
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0600u);
  UseForTemporaryFiles("");
  EXPECT_EQ(ztutil::GetTempDirectory(), "/tmp");
  unsetenv("TMPDIR");
  EXPECT_EQ(ztutil::GetTempDirectory(), "/tmp");
  UseForTemporaryFiles("/none");
  EXPECT_EQ(Outcome([] { ztutil::MakeTempPath("x"); }),
            "other: GetTempFileNameW failed: No such file or directory");
  const boost::filesystem::path former = boost::filesystem::current_path(), gone = OwnHome() + "/gone";
  boost::filesystem::create_directory(gone);
  boost::filesystem::current_path(gone);
  boost::filesystem::remove(gone);
  UseForTemporaryFiles("relative");
  EXPECT_EQ(Outcome([] { ztutil::GetTempDirectory(); }),
            "other: GetTempPathW failed: No such file or directory");
  boost::filesystem::current_path(former);
  UseForTemporaryFiles(OwnHome());
}

// Windows refuses it as well; Wine doesn't.
TEST(OpenFile, EmptiesNothingForReadingOnly) {
  const std::string path = WriteInHome("old", "content");
  EXPECT_EQ(Outcome([&] { ztutil::OpenFile(path, ztutil::kRead, ztutil::kTruncateExisting, false); }),
            "other: " + ztutil::WinErrorText("CreateFileW", EINVAL));
  EXPECT_EQ(ReadInHome("old"), "content");
}

// The number that the next one gets.
int NextDescriptor() {
  const int next = dup(STDERR_FILENO);
  close(next);
  return next;
}

TEST(WinHandle, NothingStaysOpenOfWhatIsGivenToNobody) {
  const int next = NextDescriptor();
  ztutil::MakeTempPath("x");
  EXPECT_NE(Outcome([] { ztutil::OpenFile(OwnHome(), ztutil::kRead, ztutil::kOpenExisting, false); }), "");
  ztutil::StdErr().Write("\n", 1);  // the first one asks the kernel for its means
  EXPECT_EQ(NextDescriptor(), next);
}

void ExpectNoSigpipe() {
  sigset_t sigpipe, pending, mask;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  for (const auto& [blocked, waiting] : {std::pair(0, 0), std::pair(1, 0), std::pair(1, 1)}) {
    SCOPED_TRACE(blocked + waiting);
    pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &sigpipe, nullptr);
    if (waiting) pthread_kill(pthread_self(), SIGPIPE);
    Pipe pipe;
    std::thread reader([&] {  // goes half-way
      pipe.in.ReadByte();
      pipe.in.Close();
    });
    const std::string bytes(1 << 20, 'x');
    EXPECT_EQ(Outcome([&] { pipe.out.Write(bytes.data(), bytes.size()); }).substr(0, 9), "underrun ");
    reader.join();
    EXPECT_EQ(Outcome([&] { pipe.out.Write("x", 1); }), "runtime: WriteFile failed");
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), waiting);
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), blocked);
  }
}

TEST(WinHandle, NoSigpipeComesOfAWriteAndNoneIsStolen) {
  std::thread(ExpectNoSigpipe).join();
  std::thread([] {
    ASSERT_TRUE(RefuseWritesWithFlags());
    ExpectNoSigpipe();
  }).join();
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

// Reader and writer are interrupted all the time, and the pipe doesn't wait for them.
TEST(WinHandle, SignalsLoseNoByte) {
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  Pipe pipe;
  for (const auto end : pipe.raw) fcntl(static_cast<int>(end), F_SETFL, O_NONBLOCK);
  std::string bytes(24 << 20, '\0'), got = bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i + i / 4099);
  std::thread writer([&] {
    EXPECT_EQ(Outcome([&] { pipe.out.Write(bytes.data(), bytes.size()); }), "");
    pipe.out.Close();
  });
  std::atomic<bool> done{false};
  std::thread reader([&] {
    EXPECT_EQ(Outcome([&] { pipe.in.Read(got.data(), got.size()); }), "");
    pipe.in.Close();
    done = true;
  });
  while (!done) {
    for (std::thread* const thread : {&reader, &writer}) pthread_kill(thread->native_handle(), SIGUSR1);
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  reader.join();
  writer.join();
  EXPECT_TRUE(got == bytes);
}

}  // namespace
