#include "tell/privacy.h"

#include <ztutil/widetext.h>

#include <shlobj.h>
#include <windows.h>

#include <memory>

namespace gpuprowler {

namespace {

// Texts are told in UTF-8, or in this process's own code page.
void Add(const wchar_t* name, std::vector<std::string>& names) {
  std::string narrow(MAX_PATH * 4, '\0');
  const int count = WideCharToMultiByte(CP_ACP, 0, name, -1, narrow.data(), static_cast<int>(narrow.size()),
                                        nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(count > 0 ? count - 1 : 0));
  names.push_back(ztutil::UTF8FromWide(name));
  names.push_back(narrow);
}

// Folders for temporary files are often told by their short names.
void AddHomes(std::vector<std::string>& homes) {
  PWSTR profile = nullptr;
  SHGetKnownFolderPath(FOLDERID_Profile, 0, nullptr, &profile);
  const std::unique_ptr<wchar_t, void (*)(void*)> owner(profile, CoTaskMemFree);
  if (profile == nullptr) return;
  Add(profile, homes);
  wchar_t shortened[MAX_PATH] = L"";
  if (GetShortPathNameW(profile, shortened, MAX_PATH) < MAX_PATH) Add(shortened, homes);
}

}  // namespace

OwnNames GetOwnNames() {
  OwnNames names;
  AddHomes(names.homes);
  wchar_t name[512] = L"";
  DWORD count = 512;
  if (GetUserNameW(name, &count)) Add(name, names.users);
  for (const COMPUTER_NAME_FORMAT form :
       {ComputerNameDnsFullyQualified, ComputerNameDnsHostname, ComputerNameNetBIOS}) {
    count = 512;
    if (GetComputerNameExW(form, name, &count)) Add(name, names.hosts);
  }
  return names;
}

}  // namespace gpuprowler
