#include "hostplatform.h"

#include <ztutil/widetext.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace prowl::platform {

std::string ProberBesideUs() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("gpuprowler");
}

std::wstring LaunchText(const std::string& path) { return ztutil::WideFromUTF8(path); }

// Where its signal is ignored, the kernel forgets a child as soon as it ends.
void PrepareHostProcess() { std::signal(SIGCHLD, SIG_DFL); }

std::string WithLineEnds(const std::string& text) { return text; }

bool IsErrorTerminal() { return isatty(STDERR_FILENO) != 0; }

}  // namespace prowl::platform
