#include "../outcome.h"
#include "../ownhome.h"
#include "../testsystem.h"

#include <ztutil/winhandle.h>

#include <boost/filesystem.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

namespace fs = boost::filesystem;

using ztutil::WinHandle;

constexpr char kWriteFailed[] = "runtime: WriteFile failed";

std::string Refused(const char* what, std::uint32_t code) {
  return std::string("other: ") + what + " failed: " + SystemText(code);
}

// The ends of a pipe or of a pair of sockets.
struct Ends {
  explicit Ends(bool sockets = false) {
    EXPECT_EQ(sockets ? socketpair(AF_UNIX, SOCK_STREAM, 0, raw) : pipe(raw), 0);
    in.Reset(raw[0], true, nullptr);
    out.Reset(raw[1], true, nullptr);
  }

  int raw[2] = {-1, -1};
  WinHandle in{ztutil::kInvalidHandle, false, nullptr};
  WinHandle out{ztutil::kInvalidHandle, false, nullptr};
};

TEST(TempFile, HasThreeCharactersOfThePrefixAndTheUsersRights) {
  UseForTemporaryFiles(OwnHome());
  const fs::path path = ztutil::MakeTempPath("\u00e4bcdef");
  EXPECT_EQ(path.filename().string().substr(0, 4), "\u00e4bc");
  EXPECT_EQ(path.extension(), ".TMP");
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0600u);
  EXPECT_EQ(Outcome([] { ztutil::MakeTempPath("../x"); }), Refused("GetTempFileNameW", EINVAL));
  UseForTemporaryFiles("/nowhere");
  EXPECT_EQ(Outcome([] { ztutil::CreateTempFile("x"); }), Refused("GetTempFileNameW", ENOENT));
  unsetenv("TMPDIR");
  EXPECT_EQ(ztutil::GetTempDirectory(), "/tmp");
}

TEST(WinHandle, RefusalsOfThisSystemArePlain) {
  WinHandle full(open("/dev/full", O_RDWR | O_CLOEXEC), true, nullptr);
  EXPECT_EQ(Outcome([&] { full.Write("x", 1); }), kWriteFailed);
  // Windows refuses it as well; Wine doesn't.
  const fs::path path = WriteInHome("old", "content");
  EXPECT_EQ(Outcome([&] { ztutil::OpenFile(path, ztutil::kRead, ztutil::kTruncateExisting, false); }),
            Refused("CreateFileW", EINVAL));
  EXPECT_EQ(ReadInHome("old"), "content");
  Ends ends;
  EXPECT_EQ(Outcome([&] { ends.in.Tell(); }), Refused("SetFilePointerEx", ESPIPE));
  EXPECT_EQ(Outcome([&] { ends.in.SetEnd(); }), Refused("SetEndOfFile", ESPIPE));
}

// Makes the kernel one that can't write without a SIGPIPE, for the calling thread and for ever.
void RefuseWritesWithFlags() {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pwritev2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{sizeof filter / sizeof *filter, filter};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

void ExpectNoSigpipe() {
  sigset_t sigpipe, pending, mask;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  for (const int row : {0, 1, 2, 3, 6, 7}) {
    SCOPED_TRACE(row);
    const bool sockets = (row & 1) != 0, blocked = (row & 2) != 0, waiting = (row & 4) != 0;
    pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &sigpipe, nullptr);
    if (waiting) pthread_kill(pthread_self(), SIGPIPE);
    Ends ends(sockets);
    ends.out.Write("x", 1);
    ends.in.Close();
    EXPECT_EQ(Outcome([&] { ends.out.Write("x", 1); }), kWriteFailed);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), waiting ? 1 : 0);
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), blocked ? 1 : 0);
    const timespec noTime{};
    sigtimedwait(&sigpipe, nullptr, &noTime);
  }
}

TEST(WinHandle, NoSigpipeComesOfAWriteAndNoneIsStolen) {
  std::thread(ExpectNoSigpipe).join();
  std::thread([] {
    RefuseWritesWithFlags();
    ExpectNoSigpipe();
  }).join();
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

// Both threads are interrupted all the time, and a third of what is read is put back once.
TEST(WinHandle, SignalsAndPushbacksLoseNoByte) {
  constexpr std::size_t kSize = 24 << 20;
  const auto byteAt = [](std::size_t place) { return static_cast<char>(place + place / 4099); };
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  Ends ends;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    std::vector<char> bytes(kSize);
    for (std::size_t i = 0; i < kSize; ++i) bytes[i] = byteAt(i);
    ends.out.Write(bytes.data(), kSize);
    ends.out.Close();
    while (!done) std::this_thread::yield();
  });
  std::thread disturber([&, reader = pthread_self()] {
    for (; !done; std::this_thread::sleep_for(std::chrono::microseconds(200))) {
      pthread_kill(reader, SIGUSR1);
      pthread_kill(writer.native_handle(), SIGUSR1);
    }
  });
  std::vector<char> piece(50000);
  std::size_t at = 0, wrong = 0;
  for (int turn = 0;; ++turn) {
    const std::size_t n = ends.in.ReadSome(piece.data(), piece.size());
    if (n == 0) break;
    const std::size_t kept = turn % 3 == 0 ? n / 2 : n;
    for (std::size_t i = 0; i < kept; ++i) wrong += piece[i] != byteAt(at++) ? 1 : 0;
    if (kept != n) ends.in.Unread(&piece[kept], n - kept);
  }
  done = true;
  writer.join();
  disturber.join();
  EXPECT_EQ(at, kSize);
  EXPECT_EQ(wrong, 0u);
}

}  // namespace
