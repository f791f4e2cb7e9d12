#include "process/commandline.h"

namespace ztutil {

namespace {

void AppendQuoted(std::u16string& line, const std::string& argument) {
  const bool single = argument.find('"') != std::string::npos && argument.find('\'') == std::string::npos;
  const char16_t quote = single ? u'\'' : u'"';
  line += quote;
  for (const char byte : argument) {
    const auto c = static_cast<char16_t>(static_cast<signed char>(byte));
    if (c == quote) line += u'\\';
    line += c;
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
