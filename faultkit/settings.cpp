#include "settings.h"

#include "constants.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace rig {
namespace {

// A constant by its name, or else by its number.
unsigned ParseConstant(const char* source, const std::string& text, const char* prefix) {
  for (const auto& [number, name] : NamesFor(prefix))
    if (text == name) return static_cast<unsigned>(number);
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0])) == 0)
    Refuse(source, text, "isn't a constant with a name here: give its number");
  return static_cast<unsigned>(ParseNumber(source, text));
}

}  // namespace

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

std::map<unsigned, std::string> ParseAnswers(const char* source, const std::string& text,
                                             const char* prefix) {
  std::map<unsigned, std::string> answers;
  for (const std::string& part : Split(text, ';')) {
    const auto [name, value] = Halve(part, '=');
    if (name == part) Refuse(source, part, "isn't NAME=VALUE");
    std::string& answer = answers[ParseConstant(source, name, prefix)];
    if (value.empty() || value[0] != '#')
      answer = value + '\0';
    else if (value[1] == '#')
      answer = BytesOf(static_cast<std::uint64_t>(ParseNumber(source, value.substr(2))));
    else
      answer = BytesOf(static_cast<std::uint32_t>(ParseNumber(source, value.substr(1))));
  }
  return answers;
}

void Refuse(const char* source, const std::string& part, const std::string& why) {
  std::fprintf(stderr, "gpuprowler-faultkit: %s: \"%s\": %s\n", source, part.c_str(), why.c_str());
  _exit(kRefused);
}

}  // namespace rig
