#include "homefolder.h"

#include <algorithm>

namespace gpuprowler {

namespace {

char Folded(char c) { return c == '\\' ? '/' : 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// A point may end a sentence instead, and what isn't ASCII may be a quote.
bool GoesOnWithAName(char c) {
  const char folded = Folded(c);
  return ('a' <= folded && folded <= 'z') || ('0' <= c && c <= '9') || c == '_' || c == '-';
}

std::string WithoutOne(const std::string& text, const std::string& home) {
  std::string rest;
  auto from = text.begin();
  for (auto at = from; at != text.end();) {
    at = std::search(at, text.end(), home.begin(), home.end(),
                     [](char a, char b) { return Folded(a) == Folded(b); });
    if (at == text.end()) break;
    const auto behind = at + static_cast<std::ptrdiff_t>(home.size());
    if (behind == text.end() || !GoesOnWithAName(*behind)) {
      rest.append(from, at) += '~';
      from = behind;
    }
    at = behind;
  }
  return rest.append(from, text.end());
}

bool IsAbsolute(const std::string& path) { return Folded(path[0]) == '/' || path[1] == ':'; }

}  // namespace

std::string WithoutHome(std::string text, const std::vector<std::string>& homes) {
  for (const std::string& home : homes)
    if (home.size() > 1 && IsAbsolute(home)) text = WithoutOne(text, home);
  return text;
}

}  // namespace gpuprowler
