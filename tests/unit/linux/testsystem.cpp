#include "../testsystem.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

const unsigned kStartsAtOnce = 16;
const char kCarriageReturn[] = "";
const std::uint32_t kNoSuchFile = ENOENT;
const std::uint32_t kIsADirectory = EISDIR;
const std::uint32_t kBadName = EINVAL;
const std::uint32_t kBadHandle = EBADF;

void UseAsUserDirectory(const std::string& folder) {
  setenv("HOME", folder.c_str(), 1);
  unsetenv("XDG_CONFIG_HOME");
}

void UseForTemporaryFiles(const std::string& folder) { setenv("TMPDIR", folder.c_str(), 1); }

void SetZone(const char* zone) { setenv("TZ", zone, 1); }

std::array<ztutil::NativeHandle, 2> MakePipe() {
  int ends[2];
  if (pipe(ends) != 0) return {ztutil::kInvalidHandle, ztutil::kInvalidHandle};
  return {ends[0], ends[1]};
}

void UseAsStandardInput(ztutil::NativeHandle handle) { dup2(static_cast<int>(handle), STDIN_FILENO); }

std::string StateOf(ztutil::NativeHandle handle) {
  const int flags = fcntl(static_cast<int>(handle), F_GETFD);
  if (flags == -1) return "closed";
  return flags == FD_CLOEXEC ? "own" : "inherited";
}

std::string SystemText(std::uint32_t code) { return strerror(static_cast<int>(code)); }
