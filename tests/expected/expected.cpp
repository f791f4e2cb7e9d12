#include "expected.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace {

std::vector<std::string> LinesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace

std::string Expected(const std::string& fileName) {
  std::ifstream file(EXPECTED_FOLDER "/" + fileName, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

testing::AssertionResult AsExpected(const std::string& fileName, const std::string& text) {
  if (const char* const folder = std::getenv("TABLES_TO"))
    std::ofstream(std::string(folder) + "/" + fileName, std::ios::binary) << text;
  const std::string expected = Expected(fileName);
  if (text == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << fileName << ", expected (-) and actual (+):\n"
                                     << testing::internal::edit_distance::CreateUnifiedDiff(LinesOf(expected),
                                                                                            LinesOf(text));
}
