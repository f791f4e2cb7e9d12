#include "commandline.h"

namespace ztutil {

namespace {

void AppendQuoted(std::u16string& line, const std::string& argument) {
  const bool single = argument.find('"') != std::string::npos && argument.find('\'') == std::string::npos;
  const char quote = single ? '\'' : '"';
  line += quote;
  for (const char c : argument) {
    if (c == quote) line += '\\';
    line += static_cast<char16_t>(static_cast<signed char>(c));
  }
  line += quote;
}

}  // namespace

std::u16string CommandLine(const std::wstring& program, const std::deque<std::string>& arguments) {
  std::u16string line(program.begin(), program.end());
  for (const std::string& argument : arguments) {
    line += ' ';
    AppendQuoted(line, argument);
  }
  return line;
}

}  // namespace ztutil
