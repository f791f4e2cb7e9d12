#include "hostplatform.h"

#include <unistd.h>

#include <atomic>
#include <csignal>

namespace prowl::platform {

namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::atomic<bool> gInterrupted{false};

extern "C" void OnInterrupt(int) { gInterrupted = true; }

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

// Where its signal is ignored, the kernel forgets a child as soon as it ends.
void PrepareHostProcess() { std::signal(SIGCHLD, SIG_DFL); }

std::string UTF8FromArgument(const std::string& argument) { return argument; }

std::string WithLineEnds(const std::string& text) { return text; }

bool IsErrorTerminal() { return isatty(STDERR_FILENO) != 0; }

void HoldInterrupts() { HandleInterrupts(OnInterrupt); }

void ReleaseInterrupts() { HandleInterrupts(SIG_DFL); }

bool WasInterrupted() { return gInterrupted; }

}  // namespace prowl::platform
