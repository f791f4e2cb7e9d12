#include "../childsystem.h"

#include <dirent.h>
#include <spawn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace rig {

// A crash is to be quick, and to leave nothing behind.
void PrepareStreams() {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
}

std::size_t ReadSome(void* buf, std::size_t n) {
  return static_cast<std::size_t>(std::max<ssize_t>(read(STDIN_FILENO, buf, n), 0));
}

std::size_t WriteSome(int descriptor, const void* buf, std::size_t n) {
  return static_cast<std::size_t>(std::max<ssize_t>(write(descriptor, buf, n), 0));
}

void CloseStream(int descriptor) { close(descriptor); }

void EndProcess(std::uint32_t code) { _exit(static_cast<int>(code)); }

void RaiseSignal(int number) { raise(number); }

bool StartGrandchild(const char* program, const std::string& action) {
  std::string name = program;
  std::string argument = action;
  char* const argv[] = {name.data(), argument.data(), nullptr};
  pid_t pid = 0;
  return posix_spawn(&pid, program, nullptr, nullptr, argv, environ) == 0;
}

std::string RawCommandLine(int argc, char** argv) {
  std::string line;
  for (int i = 0; i < argc; ++i) line.append(argv[i]) += '\0';
  return line;
}

std::string OpenDescriptors() {
  std::string numbers;
  DIR* const folder = opendir("/proc/self/fd");
  if (folder == nullptr) return numbers;
  const std::string own = std::to_string(dirfd(folder));
  while (const dirent* const entry = readdir(folder))
    if (entry->d_name[0] != '.' && entry->d_name != own) numbers.append(" ").append(entry->d_name);
  closedir(folder);
  return numbers;
}

}  // namespace rig
