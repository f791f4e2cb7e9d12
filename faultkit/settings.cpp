#include "settings.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace rig {

std::string Setting(const char* variable) {
  const char* value = std::getenv(variable);
  return value ? value : "";
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);)
    if (!part.empty()) parts.push_back(part);
  return parts;
}

std::pair<std::string, std::string> Halve(const std::string& text, char separator) {
  const std::size_t at = text.find(separator);
  return {text.substr(0, at), at == std::string::npos ? "" : text.substr(at + 1)};
}

long long ParseNumber(const char* source, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || errno != 0) Refuse(source, text, "isn't a number");
  return value;
}

std::map<unsigned, std::string> Answers(const char* variable) {
  std::map<unsigned, std::string> answers;
  for (const std::string& text : Split(Setting(variable), ';')) {
    const auto [name, value] = Halve(text, '=');
    std::string& answer = answers[static_cast<unsigned>(ParseNumber(variable, name))];
    if (value.empty() || value[0] != '#')
      answer = value + '\0';
    else if (value[1] == '#')
      answer = BytesOf(static_cast<std::uint64_t>(ParseNumber(variable, value.substr(2))));
    else
      answer = BytesOf(static_cast<std::uint32_t>(ParseNumber(variable, value.substr(1))));
  }
  return answers;
}

void Refuse(const char* source, const std::string& part, const std::string& why) {
  std::fprintf(stderr, "rig: %s: \"%s\": %s\n", source, part.c_str(), why.c_str());
  _exit(97);
}

}  // namespace rig
