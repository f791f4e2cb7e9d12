#include "logging/settingsfile.h"

#include "system/textfile.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace ztutil {

void ReadSettings(const std::string& path, const AcceptSetting& accept) {
  const std::string text = ReadTextFile(path);
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin);
    std::string line = text.substr(begin, end - begin);
    begin = end != std::string::npos ? end + 1 : text.size();
    // Written on another system.
    if (end != std::string::npos && !line.empty() && line.back() == '\r') line.pop_back();
    std::string name;
    std::int32_t value = 0;
    if (ParseSetting(line, name, value)) accept(name, value);
  }
}

bool ParseSetting(const std::string& line, std::string& name, std::int32_t& value) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos || line.front() == '#' || equals + 1 == line.size()) return false;
  name = line.substr(0, equals).c_str();
  if (name.empty()) return false;
  using Limits = std::numeric_limits<std::int32_t>;
  const long number = std::strtol(line.c_str() + equals + 1, nullptr, 0);
  value = static_cast<std::int32_t>(std::clamp<long>(number, Limits::min(), Limits::max()));
  return true;
}

}  // namespace ztutil
