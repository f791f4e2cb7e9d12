#include "run/runplatform.h"

#include <windows.h>

#include <cstddef>

namespace gpuprowler::platform {

namespace {

std::wstring Wide(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

}  // namespace

// Narrow, as a command line's own paths are.
std::string DefaultProber() {
  std::string path(32768, '\0');  // no path is longer
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  path = path.substr(0, path.find_last_of('\\') + 1) + "gpuprowler.exe";
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES ? path : "gpuprowler.exe";
}

// The program goes into the command line as it stands.
std::wstring LaunchText(const std::string& path) { return L"\"" + Wide(path) + L"\""; }

bool IsStopped(std::uint32_t) { return false; }

}  // namespace gpuprowler::platform
