#include "registry.h"

#include <ztutil/widetext.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace gpuprowler {

RegistryKey::RegistryKey(const std::string& path) : fPath(path) {
  const std::wstring wide = ztutil::WideFromUTF8(path);
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &fKey) != ERROR_SUCCESS)
    fKey = nullptr;
}

RegistryKey::~RegistryKey() {
  if (fKey != nullptr) RegCloseKey(fKey);
}

std::vector<wchar_t> RegistryKey::Value(const wchar_t* name, DWORD types) const {
  constexpr DWORD kLimit = 65536;
  std::vector<wchar_t> value(kLimit / sizeof(wchar_t));
  DWORD bytes = kLimit;
  if (fKey == nullptr ||
      RegGetValueW(fKey, nullptr, name, types | RRF_NOEXPAND, nullptr, value.data(), &bytes) != ERROR_SUCCESS)
    bytes = 0;
  value.resize((bytes + sizeof(wchar_t) - 1) / sizeof(wchar_t));
  return value;
}

std::string RegistryKey::Text(const wchar_t* name) const {
  const std::vector<wchar_t> value = Value(name, RRF_RT_REG_SZ | RRF_RT_REG_MULTI_SZ | RRF_RT_REG_EXPAND_SZ);
  return ztutil::UTF8FromWide(std::wstring(value.begin(), std::find(value.begin(), value.end(), L'\0')));
}

std::uint64_t RegistryKey::Number(const wchar_t* name) const {
  const std::vector<wchar_t> value = Value(name, RRF_RT_REG_DWORD | RRF_RT_REG_QWORD | RRF_RT_REG_BINARY);
  std::uint64_t number = 0;
  std::memcpy(&number, value.data(), std::min(sizeof number, value.size() * sizeof(wchar_t)));
  return number;
}

std::vector<std::string> RegistryKey::ValueNames() const {
  std::vector<std::string> names;
  for (DWORD index = 0;; ++index) {
    wchar_t name[16384];  // none is longer
    DWORD size = static_cast<DWORD>(std::size(name));
    if (fKey == nullptr ||
        RegEnumValueW(fKey, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      return names;
    names.push_back(ztutil::UTF8FromWide({name, size}));
  }
}

std::vector<std::string> RegistryKey::SubkeyNames() const {
  std::vector<std::string> names;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];  // none is longer
    DWORD size = static_cast<DWORD>(std::size(name));
    if (fKey == nullptr ||
        RegEnumKeyExW(fKey, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      return names;
    names.push_back(ztutil::UTF8FromWide({name, size}));
  }
}

}  // namespace gpuprowler
