#include "platform.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace ztutil::platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

std::int64_t Nanoseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

}  // namespace

std::int64_t MonotonicCounter() { return Nanoseconds(CLOCK_MONOTONIC); }

std::int64_t MonotonicFrequency() { return kNanosecondsPerSecond; }

std::int64_t UTCMicroseconds() { return Nanoseconds(CLOCK_REALTIME) / 1000; }

std::int64_t LocalOffsetSeconds() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();  // localtime_r needn't notice that the zone has changed
  localtime_r(&now, &local);
  return local.tm_gmtoff;
}

std::uint64_t InstalledRAM() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageSize = sysconf(_SC_PAGESIZE);
  return pages > 0 && pageSize > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize)
                                   : 0;
}

std::int64_t StreamPosition(std::FILE* stream) { return lseek(fileno(stream), 0, SEEK_CUR); }

void PurgeStream(std::FILE* stream) {
  __fpurge(stream);
  std::clearerr(stream);
}

void PrepareProberProcess() {
  // A limit of 1 is too small for a file, and alone also keeps the kernel from feeding a handler through a
  // pipe. Where the limit can't be set it is 0 already.
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
}

}  // namespace ztutil::platform
