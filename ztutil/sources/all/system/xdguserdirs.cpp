#include "system/xdguserdirs.h"

#include <sstream>

namespace ztutil {

namespace {

constexpr std::string_view kHome = "$HOME";

// The text between double quotes at the front of `value`, without its backslashes; empty if there is none.
std::string Unquoted(std::string_view value) {
  std::string text;
  if (value.empty() || value.front() != '"') return text;
  for (std::size_t i = 1; i < value.size() && value[i] != '"'; ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    text += value[i];
  }
  return text;
}

// The path without separators at its end.
std::string Trimmed(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The folder that a line names as the desktop: below the home directory or absolute. Empty for any other
// line.
std::string DesktopOf(std::string_view line, const std::string& home) {
  constexpr std::string_view kKey = "XDG_DESKTOP_DIR=";
  while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
  if (line.substr(0, kKey.size()) != kKey) return {};
  const std::string value = Unquoted(line.substr(kKey.size()));
  if (value.compare(0, kHome.size(), kHome) == 0) {
    const std::string rest = value.substr(kHome.size());
    return rest.empty() || rest.front() == '/' ? Trimmed(home + rest) : "";
  }
  return !value.empty() && value.front() == '/' ? Trimmed(value) : "";
}

}  // namespace

std::string ParentOfDesktop(std::string_view userDirs, const std::string& home) {
  std::string desktop;
  std::istringstream lines{std::string(userDirs)};
  for (std::string line; std::getline(lines, line);) {
    const std::string named = DesktopOf(line, home);
    if (!named.empty()) desktop = named;
  }
  if (desktop.empty() || desktop == Trimmed(home)) return home;
  const std::size_t separator = desktop.rfind('/');
  return separator == std::string::npos ? "" : Trimmed(desktop.substr(0, separator == 0 ? 1 : separator));
}

}  // namespace ztutil
