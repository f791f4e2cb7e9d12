// Reading Windows' registry, all texts as UTF-8.
#ifndef GPUPROWLER_REGISTRY_H_
#define GPUPROWLER_REGISTRY_H_

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace gpuprowler {

// A key below HKEY_LOCAL_MACHINE, in the view of programs of 64 bits. One that isn't there is as an empty
// one.
class RegistryKey {
 public:
  explicit RegistryKey(const std::string& path);
  ~RegistryKey();
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  // As messages write it: "HKLM\SOFTWARE\...".
  std::string Name() const { return "HKLM\\" + fPath; }

  // A text, or the first of several.
  std::string Text(const wchar_t* name) const;

  // A number, as such or in bytes, of 32 or 64 bits.
  std::uint64_t Number(const wchar_t* name) const;

  std::vector<std::string> ValueNames() const;
  std::vector<std::string> SubkeyNames() const;

 private:
  std::vector<wchar_t> Value(const wchar_t* name, DWORD types) const;

  const std::string fPath;
  HKEY fKey = nullptr;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_REGISTRY_H_
