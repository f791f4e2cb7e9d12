#include "run/runplatform.h"

#include <ztutil/widetext.h>

#include <sys/wait.h>

#include <filesystem>
#include <system_error>

namespace gpuprowler::platform {

std::string DefaultProber() {
  std::error_code error;
  const auto beside = std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("gpuprowler");
  return std::filesystem::exists(beside, error) ? beside.string() : "gpuprowler";
}

std::wstring LaunchText(const std::string& path) { return ztutil::WideFromUTF8(path); }

bool IsStopped(std::uint32_t processID) {
  siginfo_t info{};
  return waitid(P_PID, processID, &info, WSTOPPED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

}  // namespace gpuprowler::platform
