#include "../soak.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

std::size_t CountEntries(const char* folder) {
  const std::filesystem::directory_iterator begin(folder);
  return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

}  // namespace

Holdings TakeStock() {
  siginfo_t info;
  const bool hasChildren = waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
  return {CountEntries("/proc/self/fd"), CountEntries("/proc/self/task"), hasChildren};
}

std::size_t ResidentKiB() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return 0;
#else
  std::size_t total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
#endif
}
