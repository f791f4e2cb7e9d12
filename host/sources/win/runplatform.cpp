#include "run/runplatform.h"

#include <ztutil/widetext.h>

#include <windows.h>

namespace gpuprowler::platform {

std::string DefaultProber() {
  std::wstring path(32768, L'\0');  // no path is longer
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  path.resize(path.find_last_of(L'\\') + 1);
  path += L"gpuprowler.exe";
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES ? ztutil::UTF8FromWide(path)
                                                                     : "gpuprowler.exe";
}

// The program goes into the command line as it stands.
std::wstring LaunchText(const std::string& path) { return L"\"" + ztutil::WideFromUTF8(path) + L"\""; }

bool IsStopped(std::uint32_t) { return false; }

}  // namespace gpuprowler::platform
