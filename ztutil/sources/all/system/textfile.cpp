#include "system/textfile.h"

#include "system/platform.h"

#include <memory>

namespace ztutil {

std::string ReadTextFile(const std::string& path) {
  constexpr std::size_t kMostText = 16777216;
  std::string text;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(platform::OpenRegularFile(path), std::fclose);
  if (file == nullptr) return text;
  char buffer[16384];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0;) {
    text.append(buffer, count);
    if (text.size() > kMostText) return {};
  }
  return text;
}

}  // namespace ztutil
