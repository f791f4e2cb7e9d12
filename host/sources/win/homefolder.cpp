#include "tell/homefolder.h"

#include <ztutil/widetext.h>

#include <shlobj.h>
#include <windows.h>

#include <memory>

namespace gpuprowler {

// Paths are told in UTF-8, or in this process's own code page.
std::vector<std::string> HomeFolders() {
  PWSTR profile = nullptr;
  SHGetKnownFolderPath(FOLDERID_Profile, 0, nullptr, &profile);
  const std::unique_ptr<wchar_t, void (*)(void*)> owner(profile, CoTaskMemFree);
  if (profile == nullptr) return {};
  std::string narrow(MAX_PATH * 4, '\0');
  const int count = WideCharToMultiByte(CP_ACP, 0, profile, -1, narrow.data(),
                                        static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(count > 0 ? count - 1 : 0));
  return {ztutil::UTF8FromWide(profile), narrow};
}

}  // namespace gpuprowler
