#include "hostplatform.h"

#include <io.h>
#include <windows.h>

#include <atomic>
#include <cstddef>

namespace prowl::platform {

namespace {

std::wstring Wide(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::atomic<bool> gInterrupted{false};

HANDLE WakeUpEvent() {
  static const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  return event;
}

// Of its own thread. Where the system ends the process behind this, main gets the time that there is.
BOOL WINAPI OnInterrupt(DWORD event) {
  gInterrupted = true;
  WakeUp();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

}  // namespace

// Narrow, as the command line's own paths are.
std::string ProberBesideUs() {
  std::string path(32768, '\0');  // no path is longer
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of('\\') + 1) + "gpuprowler.exe";
}

// The program goes into the command line as it stands.
std::wstring LaunchText(const std::string& path) { return L"\"" + Wide(path) + L"\""; }

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

void WaitForWakeUp(double seconds) { WaitForSingleObject(WakeUpEvent(), static_cast<DWORD>(seconds * 1000)); }

void WakeUp() { SetEvent(WakeUpEvent()); }

bool IsChildStopped() { return false; }

}  // namespace prowl::platform
