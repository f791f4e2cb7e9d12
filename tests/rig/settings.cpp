#include "settings.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace rig {

std::string Setting(const char* variable) {
  const char* value = std::getenv(variable);
  return value ? value : "";
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    if (end > begin) parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

std::optional<std::pair<std::string, std::string>> Halve(const std::string& text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string::npos) return std::nullopt;
  return std::make_pair(text.substr(0, at), text.substr(at + 1));
}

std::optional<long long> ParseNumber(const std::string& text) {
  // strtoll alone would also take blanks in front, and a leading 0 for octal.
  const std::size_t digits = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  if (digits == text.size() || text[digits] < '0' || text[digits] > '9') return std::nullopt;
  const bool isHexadecimal = text.compare(digits, 2, "0x") == 0 || text.compare(digits, 2, "0X") == 0;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, isHexadecimal ? 16 : 10);
  if (errno != 0 || *end != '\0') return std::nullopt;
  return value;
}

bool WriteLine(int descriptor, const std::string& text) {
  const std::string line = text + '\n';
  return write(descriptor, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

void Refuse(const char* source, const std::string& part, const std::string& why) {
  WriteLine(STDERR_FILENO, std::string("rig: ") + source + ": \"" + part + "\": " + why);
  _exit(kRefusedExitCode);
}

}  // namespace rig
