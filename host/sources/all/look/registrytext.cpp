#include "registrytext.h"

#include <charconv>
#include <cstdio>
#include <string_view>

namespace gpuprowler {

namespace {

std::uint32_t HexBehind(std::string_view name, std::string_view text) {
  std::uint32_t number = 0;
  const std::size_t found = text.find(name);
  if (found != std::string::npos)
    std::from_chars(text.data() + found + name.size(), text.data() + text.size(), number, 16);
  return number;
}

}  // namespace

void SetIDs(Adapter& adapter, const std::string& hardwareID) {
  adapter.vendorID = HexBehind("VEN_", hardwareID);
  adapter.deviceID = HexBehind("DEV_", hardwareID);
  adapter.subsystemID = HexBehind("SUBSYS_", hardwareID);
  adapter.revision = HexBehind("REV_", hardwareID);
}

std::string ISODate(const std::string& date) {
  unsigned month = 0;
  unsigned day = 0;
  unsigned year = 0;
  if (std::sscanf(date.c_str(), "%2u-%2u-%4u", &month, &day, &year) != 3) return {};
  char text[16];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u", year % 10000, month % 100, day % 100);
  return text;
}

std::string LibraryFile(const std::string& library, const std::string& systemFolder) {
  if (library.empty()) return {};
  const std::size_t name = library.find_last_of("/\\") + 1;
  const std::string path = name == 0 ? systemFolder + "\\" + library : library;
  return library.find('.', name) == std::string::npos ? path + ".dll" : path;
}

}  // namespace gpuprowler
