#include "outcome.h"

#include <algorithm>
#include <regex>

namespace {

constexpr std::size_t kShownBytes = 500;

// All of an outcome, with what varies left out.
std::string Shown(const Outcome& outcome) {
  static const std::regex time("(prowler\\w+)=\"\\d{4}-\\d\\d-\\d\\d_\\d\\d:\\d\\d:\\d\\d\"\n");
  std::string text;
  for (const std::string& line : outcome.lines) text += line + "\n";
  return std::regex_replace(text, time, "$1=TIME\n") + outcome.rest + "[stderr]\n" + outcome.errors + "[" +
         outcome.ending + "]";
}

}  // namespace

testing::AssertionResult Same(const Outcome& actual, const Outcome& expected) {
  const std::string left = Shown(actual);
  const std::string right = Shown(expected);
  if (left == right) return testing::AssertionSuccess();
  const auto part = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first - left.begin();
  const std::size_t line = part == 0 ? 0 : left.rfind('\n', static_cast<std::size_t>(part) - 1) + 1;
  return testing::AssertionFailure() << "\nactual, from the line where they part:\n"
                                     << left.substr(line, kShownBytes) << "\nexpected:\n"
                                     << right.substr(line, kShownBytes) << "\n";
}

Texts Lines(const std::string& text, std::string* rest) {
  Texts lines;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
    lines.push_back(text.substr(begin, end - begin));
  if (rest != nullptr) *rest = text.substr(begin);
  return lines;
}
