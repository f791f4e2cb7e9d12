// Any bytes as a settings file, and as the list of the user's folders.
#include "logging/settingsfile.h"
#include "require.h"
#include "system/xdguserdirs.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using Settings = std::vector<std::pair<std::string, std::int32_t>>;

void Write(int file, const std::string& text) {
  const auto size = static_cast<ssize_t>(text.size());
  Require(ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == size,
          "the file is written");
}

Settings FromFile(const std::string& text) {
  static const int file = memfd_create("settings", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  Write(file, text);
  Settings settings;
  ztutil::ReadSettings(
      path, [&](const std::string& name, std::int32_t value) { settings.emplace_back(name, value); });
  return settings;
}

// The same by the plain way: the whole text at hand, one line after the other.
Settings FromLines(const std::string& text) {
  Settings settings;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t feed = text.find('\n', begin);
    std::string line = text.substr(begin, feed - begin);
    if (feed != std::string::npos && !line.empty() && line.back() == '\r') line.pop_back();
    std::string name;
    std::int32_t value = 0;
    if (ztutil::ParseSetting(line, name, value)) settings.emplace_back(name, value);
    begin = feed != std::string::npos ? feed + 1 : text.size() + 1;
  }
  return settings;
}

void CheckSetting(const std::string& name, std::int32_t value) {
  Require(!name.empty() && name.front() != '#', "a setting has a name, and isn't a comment");
  Require(name.find('=') == std::string::npos && name.find('\0') == std::string::npos,
          "a name has neither an equals sign nor a NUL");
  std::string sameName;
  std::int32_t sameValue = 0;
  Require(ztutil::ParseSetting(name + '=' + std::to_string(value), sameName, sameValue) && sameName == name &&
              sameValue == value,
          "a setting that is written down is read again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Settings settings = FromLines(text);
  for (const auto& [name, value] : settings) CheckSetting(name, value);
  Require(FromFile(text) == settings, "a file's settings are those of its lines");
  Require(ztutil::ParentOfDesktop(text, "/home/me").front() == '/', "the user's folder has an absolute path");
  return 0;
}
