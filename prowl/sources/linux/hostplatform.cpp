#include "hostplatform.h"

#include <ztutil/widetext.h>

#include <semaphore.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <ctime>
#include <filesystem>

namespace prowl::platform {

namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::atomic<bool> gInterrupted{false};

// What a signal's handler may use.
struct Semaphore {
  Semaphore() { sem_init(&fSemaphore, 0, 0); }

  sem_t fSemaphore;
} gWakeUp;

extern "C" void OnInterrupt(int) {
  const int error = errno;
  gInterrupted = true;
  WakeUp();
  errno = error;
}

void HandleInterrupts(void (*handler)(int)) {
  for (const int signal : kInterrupts) {
    struct sigaction action;
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

std::string ProberBesideUs() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("gpuprowler");
}

std::wstring LaunchText(const std::string& path) { return ztutil::WideFromUTF8(path); }

// Where its signal is ignored, the kernel forgets a child as soon as it ends.
void PrepareHostProcess() { std::signal(SIGCHLD, SIG_DFL); }

std::string WithLineEnds(const std::string& text) { return text; }

bool IsErrorTerminal() { return isatty(STDERR_FILENO) != 0; }

void HoldInterrupts() { HandleInterrupts(OnInterrupt); }

void ReleaseInterrupts() { HandleInterrupts(SIG_DFL); }

bool WasInterrupted() { return gInterrupted; }

void WaitForWakeUp(double seconds) {
  timespec until;
  clock_gettime(CLOCK_MONOTONIC, &until);
  const double nanoseconds = static_cast<double>(until.tv_nsec) + seconds * 1e9;
  until.tv_sec += static_cast<time_t>(nanoseconds / 1e9);
  until.tv_nsec = static_cast<long>(std::fmod(nanoseconds, 1e9));
  sem_clockwait(&gWakeUp.fSemaphore, CLOCK_MONOTONIC, &until);
  while (sem_trywait(&gWakeUp.fSemaphore) == 0) {
  }
}

void WakeUp() { sem_post(&gWakeUp.fSemaphore); }

bool IsChildStopped() {
  siginfo_t info{};
  return waitid(P_ALL, 0, &info, WSTOPPED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

}  // namespace prowl::platform
