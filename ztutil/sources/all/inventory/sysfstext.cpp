#include "inventory/sysfstext.h"

#include "adaptertext.h"

#include <ztutil/fmt.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <vector>

namespace ztutil {

namespace {

// Takes a number of just those digits off the text.
bool TakeNumber(std::string_view& text, std::size_t minDigits, std::size_t maxDigits, int base,
                unsigned& number) {
  const char* const end = text.data() + std::min(maxDigits, text.size());
  const auto result = std::from_chars(text.data(), end, number, base);
  if (result.ec != std::errc()) return false;
  const auto digits = static_cast<std::size_t>(result.ptr - text.data());
  text.remove_prefix(digits);
  return digits >= minDigits;
}

bool TakeChar(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

std::vector<std::string> Words(std::string_view line) {
  std::istringstream stream{std::string(line)};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

constexpr unsigned kFirstYear = 1991;  // of Linux

std::string WMIDate(unsigned year, unsigned month, unsigned day) {
  if (year < kFirstYear || month < 1 || month > 12 || day < 1 || day > 31) return {};
  std::string text;
  FmtPrintf(text, "%04u%02u%02u000000.000000-000", year, month, day);
  return text;
}

// By "2023-09-29", with a bracket in front or one or a "T" behind; an empty text for another word.
std::string ISODate(std::string_view word) {
  TakeChar(word, '(');
  unsigned year{}, month{}, day{};
  const bool ok = TakeNumber(word, 4, 4, 10, year) && TakeChar(word, '-') &&
                  TakeNumber(word, 2, 2, 10, month) && TakeChar(word, '-') &&
                  TakeNumber(word, 2, 2, 10, day) &&
                  (word.empty() || TakeChar(word, ')') || TakeChar(word, 'T'));
  return ok ? WMIDate(year, month, day) : "";
}

// 1 for "Jan"; 0 for what is no month.
unsigned MonthNumber(const std::string& name) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const std::size_t found = name.size() == 3 ? kMonths.find(name) : std::string_view::npos;
  return found != std::string_view::npos && found % 3 == 0 ? static_cast<unsigned>(found / 3) + 1 : 0;
}

// 0 for what is no number, or too large for a year.
unsigned Decimal(const std::string& word) {
  const auto number = KGX::ParseNumber(word);
  return number && *number <= 9999 ? static_cast<unsigned>(*number) : 0;
}

template <class Value>
Value ValueAt(std::string_view bytes, std::size_t offset) {
  Value value{};
  bytes.copy(reinterpret_cast<char*>(&value), sizeof value, offset);
  return value;
}

}  // namespace

std::uint64_t PackedSlot(std::string_view slot) {
  unsigned domain{}, bus{}, device{}, function{};
  const bool ok = TakeNumber(slot, 4, 8, 16, domain) && TakeChar(slot, ':') &&
                  TakeNumber(slot, 2, 2, 16, bus) && TakeChar(slot, ':') &&
                  TakeNumber(slot, 2, 2, 16, device) && TakeChar(slot, '.') &&
                  TakeNumber(slot, 1, 1, 8, function) && slot.empty() && device < 32;
  return ok ? std::uint64_t{domain} << 16 | bus << 8 | device << 3 | function : 0;
}

std::string DateOfBuild(std::string_view version) {
  const std::vector<std::string> words = Words(version);
  for (std::size_t i = words.size(); i-- > 0;) {
    if (std::string date = ISODate(words[i]); !date.empty()) return date;
    const unsigned month = MonthNumber(words[i]);
    if (month == 0) continue;
    const auto word = [&](std::size_t index) { return index < words.size() ? Decimal(words[index]) : 0; };
    const unsigned behind = word(i + 1);
    const unsigned day = behind >= 1 && behind <= 31 ? behind : word(i - 1);
    std::size_t year = i;
    while (++year < words.size() && word(year) < kFirstYear) continue;
    return WMIDate(word(year), month, day);
  }
  return {};
}

std::uint64_t SumOfDeviceRegions(std::string_view answer, std::size_t headerSize) {
  // Both drivers' records are alike as far as this reads them: the class in 16 bits, and the size behind 8
  // bytes.
  constexpr std::size_t kRegionSize = 88;
  constexpr std::size_t kSizeOffset = 8;
  constexpr std::uint16_t kDeviceClass = 1;
  std::uint64_t sum = 0;
  const auto count = ValueAt<std::uint32_t>(answer, 0);
  std::size_t offset = headerSize;
  for (std::uint32_t i = 0; i < count && offset + kRegionSize <= answer.size(); ++i, offset += kRegionSize) {
    if (ValueAt<std::uint16_t>(answer, offset) == kDeviceClass)
      sum += ValueAt<std::uint64_t>(answer, offset + kSizeOffset);
  }
  return sum;
}

}  // namespace ztutil
