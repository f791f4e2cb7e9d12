#include "hostplatform.h"

#include <ztutil/widetext.h>

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

// It is so already where Windows obeys the manifest.
std::string UTF8FromArgument(const std::string& argument) {
  const int bytes = static_cast<int>(argument.size());
  std::wstring wide(argument.size(), L'\0');
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_ACP, 0, argument.data(), bytes, wide.data(), static_cast<int>(wide.size()))));
  return ztutil::UTF8FromWide(wide);
}

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
