#include "outcome.h"
#include "ownhome.h"

#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

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
#include <cstring>
#include <thread>
#include <vector>

namespace {

namespace fs = boost::filesystem;

using ztutil::OpenFile;
using ztutil::WinHandle;

constexpr char kReadFailed[] = "runtime: ReadFile failed";
constexpr char kWriteFailed[] = "runtime: WriteFile failed";

std::string Refused(const char* what, int code) {
  return std::string("other: ") + what + " failed: " + strerror(code);
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

TEST(OpenFile, FlagsDecideWhatBecomesOfAFile) {
  const struct {
    const char* name;
    std::uint32_t access;
    std::uint32_t creation;
    std::string outcome;
    const char* content;  // afterwards
  } rows[] = {
      {"old", 1, 0, "", "content"},
      {"old", 3, 1, "", ""},
      {"old", 1, 1, Refused("CreateFileW", EINVAL), "content"},
      {"old", 3, 2, "", "content"},
      {"old", 3, 3, "", ""},
      {"new", 1, 0, Refused("CreateFileW", ENOENT), "missing"},
      {"new", 1, 2, "", ""},
      {"new", 2, 3, "", ""},
      {"new", 0, 4, "argument: OpenFile: bad access flags", "missing"},
      {"new", 4, 3, "argument: OpenFile: bad access flags", "missing"},
      {"new", 1, 4, "argument: OpenFile: bad creation flags", "missing"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + std::to_string(row.access) + std::to_string(row.creation));
    fs::remove(WriteInHome("new", ""));
    WriteInHome("old", "content");
    std::unique_ptr<WinHandle> file;
    const fs::path path = fs::path(OwnHome()) / row.name;
    EXPECT_EQ(Outcome([&] { file = OpenFile(path, row.access, row.creation, false); }), row.outcome);
    EXPECT_EQ(ReadInHome(row.name), row.content);
    if (file == nullptr) continue;
    EXPECT_EQ(Outcome([&] { file->ReadByte(); }), row.access == 2 ? kReadFailed : "");
    EXPECT_EQ(Outcome([&] { file->Write("x", 1); }), row.access == 1 ? kWriteFailed : "");
  }
  EXPECT_EQ(Outcome([] { OpenFile(OwnHome(), 1, 0, false); }), Refused("CreateFileW", EISDIR));
  EXPECT_EQ(Outcome([] { OpenFile(std::string("a\0b", 3), 3, 3, false); }), Refused("CreateFileW", EINVAL));
}

TEST(OpenFile, DeletesOnCloseWhatIsOwned) {
  const fs::path path = WriteInHome("file", "content");
  const auto raw = static_cast<int>(ztutil::OpenRawFile(path, ztutil::kRead, ztutil::kOpenExisting));
  EXPECT_EQ(fcntl(raw, F_GETFD), FD_CLOEXEC);
  { const WinHandle forgotten(raw, false, &path); }
  EXPECT_EQ(ReadInHome("file"), "content");
  WinHandle(raw, true, &path).Reset(ztutil::kInvalidHandle, false, nullptr);
  EXPECT_EQ(ReadInHome("file"), "missing");
  EXPECT_EQ(fcntl(raw, F_GETFD), -1);
  const auto file = OpenFile(path, ztutil::kWrite, ztutil::kCreateAlways, true);
  EXPECT_EQ(ReadInHome("file"), "");
  EXPECT_TRUE(file->Close());
  EXPECT_EQ(ReadInHome("file"), "missing");
  EXPECT_TRUE(WinHandle(dup2(STDERR_FILENO, raw), false, nullptr).Close());  // closes what isn't owned, too
  EXPECT_EQ(fcntl(raw, F_GETFD), -1);
}

TEST(TempFile, HasANameOfItsOwnAndGoesAtTheEnd) {
  setenv("TMPDIR", OwnHome().c_str(), 1);
  const fs::path path = ztutil::MakeTempPath("\u00e4bcdef");
  const std::string name = path.filename().string();
  EXPECT_NE(path, ztutil::MakeTempPath("\u00e4bcdef"));
  EXPECT_EQ(name.substr(0, 4), "\u00e4bc");
  EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF", 4), name.size() - 4);
  struct stat status {};
  EXPECT_EQ(stat((fs::path(OwnHome()) / name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0600u);
  EXPECT_EQ(path.extension(), ".TMP");

  const auto files = [] {
    return std::distance(fs::directory_iterator(OwnHome()), fs::directory_iterator());
  };
  const auto before = files();
  const auto file = ztutil::CreateTempFile("");
  constexpr std::int64_t kFar = 5LL << 30;  // more than 32 bits hold
  file->Seek(kFar);
  file->Write("end", 3);
  file->SeekBy(-3 - kFar);
  file->SeekEnd();
  EXPECT_EQ(file->Tell(), kFar + 3);
  file->SeekBy(-2);
  EXPECT_EQ(file->ReadByte(), 'n');
  EXPECT_EQ(files(), before + 1);
  file->Close();
  EXPECT_EQ(files(), before);
  EXPECT_EQ(Outcome([] { ztutil::MakeTempPath("../x"); }), Refused("GetTempFileNameW", EINVAL));
  setenv("TMPDIR", "/nowhere", 1);
  EXPECT_EQ(Outcome([] { ztutil::CreateTempFile("x"); }), Refused("GetTempFileNameW", ENOENT));
  unsetenv("TMPDIR");
  EXPECT_EQ(ztutil::GetTempDirectory(), "/tmp");
}

TEST(WinErr, TextIsTheSystemsOrNone) {
  EXPECT_EQ(ztutil::WinErrorText("CreateFileW", EACCES), "CreateFileW failed: Permission denied");
  EXPECT_EQ(ztutil::WinErrorText(nullptr, EACCES), "Permission denied");
  for (const std::uint32_t code : {0u, 123456u, 0xFFFFFFFFu}) EXPECT_EQ(ztutil::WinErrorText("x", code), "");
  EXPECT_STREQ(ztutil::XWinErr(EACCES).what(), "Permission denied");
  EXPECT_EQ(ztutil::XWinErr("x", 123456).fCode, 123456u);
}

TEST(WinHandle, SaysWhatItCloses) {
  struct Lines : ztutil::ZTLogger {
    explicit Lines(const Hold& = Hold()) : ZTLogger("lines") { SetFormatFlags(0); }
    ~Lines() override { Leave(); }
    void Write(const void* bytes, std::size_t n) override { text.append(static_cast<const char*>(bytes), n); }
    std::string text;
  } lines;
  ztutil::DebugFlag flag{"BINIO_LOG"};
  ztutil::DebugFlagValue(flag) = 1;
  { const WinHandle forgotten(STDERR_FILENO, false, nullptr); }
  WinHandle(dup2(STDERR_FILENO, 250), true, nullptr).Close();
  ztutil::DebugFlagValue(flag) = 0;
  EXPECT_EQ(lines.text,
            "WinHandle::Reset closing 0x00000000000000fa\n"
            "WinHandle::Reset closing 0xffffffffffffffff\n");
}

TEST(WinHandle, StandardStreamsAreTheProcesss) {
  Ends ends;
  const WinHandle former(dup(STDIN_FILENO), true, nullptr);
  ends.out.Write("x", 1);
  dup2(ends.raw[0], STDIN_FILENO);
  EXPECT_EQ(ztutil::StdIn().ReadByte(), 'x');
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ztutil::StdOut().Write("out", 3);
  ztutil::StdErr().Write("err", 3);
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "outerr");
}

TEST(WinHandle, FailuresOfTheSystemArePlain) {
  WinHandle full(open("/dev/full", O_RDWR | O_CLOEXEC), true, nullptr);
  EXPECT_EQ(Outcome([&] { full.Write("x", 1); }), kWriteFailed);
  Ends ends;
  ends.out.Write("half", 4);  // of a record, and then the writer dies
  ends.out.Close();
  char bytes[8] = "";
  EXPECT_FALSE(ends.in.Read(bytes, 8));
  EXPECT_EQ(ends.in.ReadSome(bytes, 8), 4u);
  EXPECT_EQ(ends.in.ReadSome(bytes, 8), 0u);
  Ends gone;
  close(gone.raw[1]);  // by somebody else
  EXPECT_EQ(Outcome([&] { gone.out.Write("x", 1); }), kWriteFailed);
  EXPECT_EQ(Outcome([&] { gone.out.ReadByte(); }), kReadFailed);
  EXPECT_EQ(Outcome([&] { gone.out.Tell(); }), Refused("SetFilePointerEx", EBADF));
  EXPECT_EQ(Outcome([&] { gone.out.SetEnd(); }), Refused("SetEndOfFile", EBADF));
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
