#include "hostplatform.h"

#include <io.h>
#include <windows.h>

#include <atomic>

namespace prowl::platform {

namespace {

std::atomic<bool> gInterrupted{false};

// Of its own thread. Where the system ends the process behind this, main gets the time that there is.
BOOL WINAPI OnInterrupt(DWORD event) {
  gInterrupted = true;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

}  // namespace

void PrepareHostProcess() {}

std::string WithLineEnds(const std::string& text) {
  std::string ended;
  for (const char c : text) {
    if (c == '\n') ended += '\r';
    ended += c;
  }
  return ended;
}

bool IsErrorTerminal() { return _isatty(_fileno(stderr)) != 0; }

void HoldInterrupts() { SetConsoleCtrlHandler(OnInterrupt, TRUE); }

void ReleaseInterrupts() { SetConsoleCtrlHandler(OnInterrupt, FALSE); }

bool WasInterrupted() { return gInterrupted; }

}  // namespace prowl::platform
