#include "hostplatform.h"

#include <io.h>
#include <windows.h>

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

}  // namespace prowl::platform
