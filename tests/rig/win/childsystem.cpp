#include "../childsystem.h"

#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <windows.h>

namespace rig {

void PrepareStreams() {
  for (const int descriptor : {0, 1, 2}) _setmode(descriptor, _O_BINARY);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

std::size_t ReadSome(void* buf, std::size_t n) {
  const int count = _read(0, buf, static_cast<unsigned>(n));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::size_t WriteSome(int descriptor, const void* buf, std::size_t n) {
  const int count = _write(descriptor, buf, static_cast<unsigned>(n));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void CloseStream(int descriptor) { _close(descriptor); }

void EndProcess(std::uint32_t code) {
  TerminateProcess(GetCurrentProcess(), code);
  for (;;) Sleep(INFINITE);
}

void RaiseSignal(int) {}

bool StartGrandchild(const char* program, const std::string& action) {
  const char* const argv[] = {program, action.c_str(), nullptr};
  return _spawnv(_P_NOWAIT, program, argv) != -1;
}

std::string RawCommandLine(int, char**) {
  const std::wstring line = GetCommandLineW();
  return {reinterpret_cast<const char*>(line.data()), line.size() * sizeof(wchar_t)};
}

std::string OpenDescriptors() { return {}; }

}  // namespace rig
