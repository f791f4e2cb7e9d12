#include "adaptertext.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

namespace KGX {

namespace {

bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

std::string_view Trimmed(std::string_view text) {
  constexpr char kBlanks[] = " \t\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// True if the line begins so, and then that is taken off it.
bool TakePrefix(std::string_view& line, std::string_view prefix) {
  if (!StartsWith(line, prefix)) return false;
  line.remove_prefix(prefix.size());
  return true;
}

// What stands behind the first of these marks. They begin a line, but not the first, which is a comment.
std::string_view Behind(std::string_view text, const std::string& mark) {
  const std::size_t found = text.find(mark);
  return found == std::string_view::npos ? "" : text.substr(found + mark.size());
}

// A number that is the whole text.
template <class Number>
std::optional<Number> WholeNumber(std::string_view text, int base) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, base);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

template <class... Values>
std::string Printed(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, static_cast<unsigned long long>(values)...);
  return text;
}

}  // namespace

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

std::string_view AttributeLine(std::string_view content) {
  const std::string_view line = Trimmed(TakeLine(content));
  return std::all_of(line.begin(), line.end(), IsPrintable) ? line : "";
}

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
  const int base = TakePrefix(text, "0x") ? 16 : 10;
  return WholeNumber<std::uint64_t>(text, base);
}

std::optional<unsigned> NumberOfName(std::string_view name, std::string_view prefix) {
  if (!TakePrefix(name, prefix)) return std::nullopt;
  return WholeNumber<unsigned>(name, 10);
}

std::string_view FieldValue(std::string_view text, std::string_view name) {
  while (!text.empty()) {
    std::string_view line = TakeLine(text);
    if (TakePrefix(line, name) && TakePrefix(line, ":")) return Trimmed(line);
  }
  return {};
}

std::string_view NameInPCIIds(std::string_view ids, std::uint64_t vendor, std::uint64_t device) {
  std::string_view section = Behind(ids, Printed("\n%04llx  ", vendor));
  const std::string prefix = Printed("\t%04llx  ", device);
  TakeLine(section);  // the vendor's name
  while (!section.empty() && (section.front() == '\t' || section.front() == '#')) {
    std::string_view name = TakeLine(section);
    if (!TakePrefix(name, prefix)) continue;
    name = Trimmed(name);
    const std::size_t bracket = name.rfind('[');
    if (bracket == std::string_view::npos || name.back() != ']') return name;
    return name.substr(bracket + 1, name.size() - bracket - 2);
  }
  return {};
}

std::string_view NameInAMDGPUIds(std::string_view ids, std::uint64_t device, std::uint64_t revision) {
  std::string_view rest = Behind(ids, Printed("\n%04llX,\t%02llX,\t", device, revision));
  return Trimmed(TakeLine(rest));
}

std::string ReportableName(std::string_view name) {
  constexpr std::size_t kRoom = 127;
  std::string text;
  std::copy_if(name.begin(), name.end(), std::back_inserter(text),
               [](char c) { return IsPrintable(c) && c != '"' && c != '\\'; });
  return std::string(Trimmed(std::string_view(text).substr(0, kRoom)));
}

}  // namespace KGX
