#include "settingsfile.h"

#include "platform.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>

namespace ztutil {

void ReadSettings(const std::string& path, const AcceptSetting& accept) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(platform::OpenRegularFile(path), std::fclose);
  if (file == nullptr) return;

  std::string line;
  const auto endLine = [&] {
    std::string name;
    std::int32_t value = 0;
    if (ParseSetting(line, name, value)) accept(name, value);
    line.clear();
  };
  char buffer[16384];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0;) {
    std::string_view rest(buffer, count);
    for (std::size_t feed; (feed = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(feed + 1)) {
      line.append(rest.substr(0, feed));
      if (!line.empty() && line.back() == '\r') line.pop_back();  // written on another system
      endLine();
    }
    line.append(rest);
  }
  endLine();
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
