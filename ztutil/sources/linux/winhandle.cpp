#include "retry.h"

#include <ztutil/winhandle.h>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <pthread.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

namespace ztutil::native {

namespace {

namespace fs = boost::filesystem;

// Of pwritev2: a broken pipe gives EPIPE and no SIGPIPE. Linux 6.18 has it, headers may not.
constexpr int kRwfNoSignal = 0x100;

// The error of the call that has just failed.
std::uint32_t LastError() { return static_cast<std::uint32_t>(errno); }

// -1, which every call refuses, for what can't be a descriptor.
int Descriptor(NativeHandle handle) {
  const bool fits = handle >= 0 && handle <= std::numeric_limits<int>::max();
  return fits ? static_cast<int>(handle) : -1;
}

// Opens, or gives -1 with errno.
int OpenDescriptor(const fs::path& path, int flags, mode_t mode) {
  // The system would open what stands in front of the NUL.
  if (path.native().find('\0') != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  return Retry([&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
}

// Keeps SIGPIPE from the calling thread.
class SigpipeBlocked {
 public:
  SigpipeBlocked() {
    sigemptyset(&fSigpipe);
    sigaddset(&fSigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &fSigpipe, &fFormer);
    fWasBlocked = sigismember(&fFormer, SIGPIPE) == 1;
    // A signal that wasn't blocked can't have been waiting.
    fWasPending = fWasBlocked && IsPending();
  }
  ~SigpipeBlocked() {
    if (!fWasBlocked) pthread_sigmask(SIG_SETMASK, &fFormer, nullptr);
  }
  SigpipeBlocked(const SigpipeBlocked&) = delete;
  SigpipeBlocked& operator=(const SigpipeBlocked&) = delete;

  // Takes the signal away that a write may have raised, and none that was waiting before. Leaves errno alone.
  void Consume() const {
    if (fWasPending) return;
    const int error = errno;
    const timespec noTime{};
    Retry([&] { return sigtimedwait(&fSigpipe, nullptr, &noTime); });
    errno = error;
  }

 private:
  static bool IsPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t fSigpipe{};
  sigset_t fFormer{};
  bool fWasBlocked = false;
  bool fWasPending = false;
};

ssize_t WriteWithSigpipeBlocked(int descriptor, const void* buf, std::size_t n) {
  const SigpipeBlocked blocked;
  const ssize_t count = write(descriptor, buf, n);
  // A reader that goes half-way leaves the signal and a part of the count.
  if (count != static_cast<ssize_t>(n)) blocked.Consume();
  return count;
}

ssize_t WriteNoSignal(int descriptor, const void* buf, std::size_t n) {
  const iovec part{const_cast<void*>(buf), n};
  return pwritev2(descriptor, &part, 1, -1, kRwfNoSignal);
}

// Asked with a pipe, since some devices refuse the flag on every kernel.
bool KernelHasNoSignal() {
  static const bool has = [] {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const bool written = WriteNoSignal(ends[1], "", 1) == 1;
    for (const int end : ends) close(end);
    return written;
  }();
  return has;
}

// Writes without a SIGPIPE, by the kernel's own means where it has them: blocking the signal takes two more
// calls of the system, nearly a tenth of the time of a write of 64 KiB to a pipe.
ssize_t WriteQuietly(int descriptor, const void* buf, std::size_t n) {
  if (KernelHasNoSignal()) {
    const ssize_t count = WriteNoSignal(descriptor, buf, n);
    if (count != -1 || errno != EOPNOTSUPP) return count;
  }
  return WriteWithSigpipeBlocked(descriptor, buf, n);
}

// The first three characters of UTF-8; a byte that isn't any counts as one.
std::string FirstThree(const std::string& text) {
  std::size_t end = 0;
  for (int characters = 0; characters < 3 && end < text.size(); ++characters) {
    ++end;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
  }
  return text.substr(0, end);
}

std::string Hexadecimal(std::uint32_t value) {
  std::string digits;
  for (int shift = 28; shift >= 0; shift -= 4) digits += "0123456789ABCDEF"[(value >> shift) & 0xF];
  return digits;
}

}  // namespace

std::uint32_t Open(const fs::path& path, std::uint32_t access, std::uint32_t creation, NativeHandle& handle) {
  // Opened for reading only, a file would be emptied all the same.
  if (access == kRead && creation == kTruncateExisting) return EINVAL;
  int flags = access == kReadWrite ? O_RDWR : access == kWrite ? O_WRONLY : O_RDONLY;
  if (creation == kOpenAlways || creation == kCreateAlways) flags |= O_CREAT;
  if (creation == kTruncateExisting || creation == kCreateAlways) flags |= O_TRUNC;
  const int descriptor = OpenDescriptor(path, flags, 0666);
  if (descriptor == -1) return LastError();
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    close(descriptor);
    return EISDIR;
  }
  handle = descriptor;
  return 0;
}

std::uint32_t Read(NativeHandle handle, void* buf, std::size_t n, std::size_t& count) {
  const int descriptor = Descriptor(handle);
  const ssize_t result = RetryWaiting(descriptor, POLLIN, [&] { return read(descriptor, buf, n); });
  if (result == -1 && errno != EPIPE) return LastError();
  count = result == -1 ? 0 : static_cast<std::size_t>(result);
  return 0;
}

std::uint32_t Write(NativeHandle handle, const void* buf, std::size_t n, std::size_t& count) {
  const int descriptor = Descriptor(handle);
  const ssize_t result = RetryWaiting(descriptor, POLLOUT, [&] { return WriteQuietly(descriptor, buf, n); });
  if (result == -1) return LastError();
  count = static_cast<std::size_t>(result);
  return 0;
}

std::uint32_t Seek(NativeHandle handle, std::int64_t distance, Origin origin, std::int64_t& position) {
  static_assert(sizeof(off_t) == sizeof distance, "files above 4 GiB");
  const int whence = origin == Origin::kBegin ? SEEK_SET : origin == Origin::kCurrent ? SEEK_CUR : SEEK_END;
  const off_t result = lseek(Descriptor(handle), distance, whence);
  if (result == -1) return LastError();
  position = result;
  return 0;
}

std::uint32_t SetEnd(NativeHandle handle) {
  std::int64_t position = 0;
  if (const std::uint32_t code = Seek(handle, 0, Origin::kCurrent, position); code != 0) return code;
  return Retry([&] { return ftruncate(Descriptor(handle), position); }) == 0 ? 0 : LastError();
}

// Not repeated: an interrupted close has closed, and the number may be another file's by now.
void Close(NativeHandle handle) { close(Descriptor(handle)); }

void Delete(const fs::path& path) { unlink(path.c_str()); }

std::uint32_t TempDirectory(fs::path& directory) {
  const char* const variable = std::getenv("TMPDIR");
  boost::system::error_code error;
  const fs::path named = variable != nullptr && *variable != '\0' ? variable : "/tmp";
  directory = named.is_absolute() ? named : fs::current_path(error) / named;
  return static_cast<std::uint32_t>(error.value());
}

std::uint32_t MakeTempFile(const fs::path& directory, const fs::path& prefix, fs::path& path,
                           NativeHandle& handle) {
  const std::string begin = FirstThree(prefix.native());
  if (begin.find('/') != std::string::npos) return EINVAL;  // it would lead out of the directory
  constexpr int kTries = 1000;
  for (int tries = 0; tries < kTries; ++tries) {
    std::uint32_t number = 0;
    if (Retry([&] { return getrandom(&number, sizeof number, 0); }) == -1) return LastError();
    fs::path candidate = directory / (begin + Hexadecimal(number) + ".TMP");
    const int descriptor = OpenDescriptor(candidate, O_RDWR | O_CREAT | O_EXCL, 0600);
    if (descriptor == -1 && errno == EEXIST) continue;
    if (descriptor == -1) return LastError();
    path.swap(candidate);
    handle = descriptor;
    return 0;
  }
  return EEXIST;
}

NativeHandle StandardHandle(StandardStream stream) {
  if (stream == StandardStream::kInput) return STDIN_FILENO;
  return stream == StandardStream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

std::string ErrorText(std::uint32_t code) {
  const int number = static_cast<int>(code);
  if (strerrorname_np(number) == nullptr) return {};  // strerror_r makes a text up
  char buffer[256];
  return strerror_r(number, buffer, sizeof buffer);
}

}  // namespace ztutil::native
