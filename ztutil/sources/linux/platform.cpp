#include "system/platform.h"

#include "retry.h"
#include "system/textfile.h"
#include "system/xdguserdirs.h"

#include <ztutil/prepareprocess.h>

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

namespace ztutil::platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

std::int64_t Nanoseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

// A variable of the environment, or an empty text.
std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string HomeDirectory() {
  std::string home = Variable("HOME");
  if (!home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr ? found->pw_dir : "";
}

// What the system knows of an open file; nothing where it isn't open.
struct stat StatusOf(int descriptor) {
  struct stat status {};
  fstat(descriptor, &status);
  return status;
}

// Whether the file can't be somebody else's trap, by which we would write to another file.
bool IsHonest(const struct stat& status, const std::string& path) {
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) return false;
  struct stat folder {};
  return status.st_uid == geteuid() ||
         (stat((path.substr(0, path.rfind('/') + 1) + '.').c_str(), &folder) == 0 &&
          status.st_uid == folder.st_uid);
}

// Gives the descriptor to a stream, or closes it where it isn't wanted.
std::FILE* Stream(int descriptor, bool isWanted, const char* mode) {
  std::FILE* const file = isWanted ? fdopen(descriptor, mode) : nullptr;
  if (file == nullptr && descriptor != -1) close(descriptor);
  return file;
}

// What standard output was at the start, for drivers that close it; -1 unless that is kept.
int gKeptOutput = -1;

// Gives how many bytes were written; fewer than n is a failure.
std::size_t WriteToDescriptor(int descriptor, const char* bytes, std::size_t n) {
  for (std::size_t done = 0; done < n;) {
    const ssize_t count =
        RetryWaiting(descriptor, POLLOUT, [&] { return write(descriptor, bytes + done, n - done); });
    if (count <= 0) return done;
    done += static_cast<std::size_t>(count);
  }
  return n;
}

// The same for a stream without a file, which doesn't tell how far it got.
std::size_t WriteBuffered(std::FILE* stream, const char* bytes, std::size_t n) {
  if (std::fwrite(bytes, 1, n, stream) == n && std::fflush(stream) == 0) return n;
  PurgeStream(stream);
  return n - 1;
}

}  // namespace

std::int64_t MonotonicCounter() { return Nanoseconds(CLOCK_MONOTONIC); }

std::int64_t MonotonicFrequency() { return kNanosecondsPerSecond; }

std::int64_t UTCMicroseconds() { return Nanoseconds(CLOCK_REALTIME) / 1000; }

std::int64_t LocalOffsetSeconds() {
  // To ask the system costs as much as writing a line and, where TZ isn't set, a look at the file of its
  // zone. So it is asked only when the second or TZ is another one.
  struct Known {
    char zone[64];  // a longer one is never known
    std::time_t second;
    std::int64_t offset;
  };
  thread_local Known known{};
  const char* const variable = std::getenv("TZ");
  const char* const zone = variable != nullptr ? variable : ":/etc/localtime";
  const std::time_t now = std::time(nullptr);
  if (now != known.second || std::strcmp(zone, known.zone) != 0) {
    std::tm local{};
    tzset();
    localtime_r(&now, &local);
    std::snprintf(known.zone, sizeof known.zone, "%s", zone);
    known.second = now;
    known.offset = local.tm_gmtoff;
  }
  return known.offset;
}

std::string UserDirectory() {
  const std::string home = HomeDirectory();
  std::string config = Variable("XDG_CONFIG_HOME");
  if (config.empty() || config.front() != '/') config = home + "/.config";
  return ParentOfDesktop(ReadTextFile(config + "/user-dirs.dirs"), home);
}

std::FILE* OpenRegularFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  return Stream(descriptor, S_ISREG(StatusOf(descriptor).st_mode), "r");
}

std::FILE* OpenForAppending(const std::string& path) {
  constexpr int kHow = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const int descriptor = open(path.c_str(), kHow, 0666);
  return Stream(descriptor, IsHonest(StatusOf(descriptor), path), "a");
}

void NameThreadForDebugger(const std::string& name) {
  constexpr std::size_t kRoom = 15;
  std::string shown = name;
  // Of "1a2c(app.Launcher)" what says most.
  const std::size_t bracket = name.find('(');
  if (name.size() > kRoom && name.back() == ')' && bracket < name.size() - 2)
    shown = name.substr(bracket + 1, name.size() - bracket - 2);
  if (shown.size() > kRoom) {
    std::size_t end = kRoom;
    while (end > 0 && (shown[end] & 0xC0) == 0x80) --end;  // the first byte left out begins a character
    shown.resize(end);
  }
  pthread_setname_np(pthread_self(), shown.c_str());
}

// Debuggers of this system take no texts.
void DebugString(const std::string&) {}

std::uint64_t InstalledRAM() {
  struct sysinfo info {};
  sysinfo(&info);
  return std::uint64_t{info.totalram} * info.mem_unit;
}

std::size_t WriteToFile(std::FILE* stream, const char* bytes, std::size_t n) {
  const int descriptor = fileno(stream);
  if (descriptor == -1) return WriteBuffered(stream, bytes, n);
  flockfile(stream);
  const bool isKept = stream == stdout && gKeptOutput != -1;
  std::size_t count = WriteToDescriptor(isKept ? gKeptOutput : descriptor, bytes, n);
  // It's gone if a driver closes what it hasn't opened.
  if (isKept && count == 0 && fcntl(gKeptOutput, F_GETFD) == -1)
    count = WriteToDescriptor(descriptor, bytes, n);
  funlockfile(stream);
  return count;
}

void PurgeStream(std::FILE* stream) {
  __fpurge(stream);
  std::clearerr(stream);
}

void PrepareProberProcess() {
  // A limit of 1 byte is too small for a core file and, unlike 0, also keeps the kernel from piping the core
  // to a program. Setting it fails only where the limit is 0 for good.
  const rlimit noCore{1, 1};
  setrlimit(RLIMIT_CORE, &noCore);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);

  // The descriptors are taken in rising order, so that each open gives the number that was found closed.
  // Opened for the wrong direction, they keep failing: nothing can be read from the first and written to the
  // others.
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1) return;
  }
  constexpr int kOutOfTheWay = 100;  // of numbers that a driver's files get
  gKeptOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kOutOfTheWay);
  // A process that a driver forks and leaves running mustn't hold the host's pipe open.
  pthread_atfork(nullptr, nullptr, [] { close(gKeptOutput); });
}

}  // namespace ztutil::platform
