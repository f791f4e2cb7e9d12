#include "versiontest.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace gpuprowler {

namespace {

bool IsDigit(char c) { return '0' <= c && c <= '9'; }

int SignOf(int value) { return (value > 0) - (value < 0); }

int CompareNumbers(std::string_view one, std::string_view other) {
  one.remove_prefix(std::min(one.find_first_not_of('0'), one.size()));
  other.remove_prefix(std::min(other.find_first_not_of('0'), other.size()));
  if (one.size() != other.size()) return one.size() < other.size() ? -1 : 1;
  return SignOf(one.compare(other));
}

// Digit by digit, as far as the second's go.
int CompareDigits(const std::string& one, const std::string& other) {
  std::string cut = one.substr(0, other.size());
  cut.resize(other.size(), '0');
  return SignOf(cut.compare(other));
}

int Compare(const Version& found, const Version& value, bool isLexical) {
  static const std::string kNone = "0";
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::string& number = i < found.size() ? found[i] : kNone;
    const int order = isLexical && i > 0 ? CompareDigits(number, value[i]) : CompareNumbers(number, value[i]);
    if (order != 0) return order;
  }
  return 0;
}

Version Reduced(Version version, Schema schema) {
  constexpr std::size_t kParts = 4;
  if (schema == Schema::kCommon || version.size() != kParts) return version;
  if (schema == Schema::kIntel) {
    version[0] = version[1] = "0";
    return version;
  }
  constexpr std::size_t kLast = 4, kMinor = 2;
  std::string build = version[3];
  if (build.size() < kLast) build.insert(0, kLast - build.size(), '0');
  return {version[2].substr(version[2].size() - 1) + build.substr(0, build.size() - kMinor),
          build.substr(build.size() - kMinor)};
}

}  // namespace

std::optional<Version> LeadingVersion(std::string_view text) {
  constexpr std::size_t kMaxNumbers = 16;
  Version version;
  for (std::size_t at = 0; at < text.size() && IsDigit(text[at]) && version.size() < kMaxNumbers;) {
    std::size_t end = at;
    while (end < text.size() && IsDigit(text[end])) ++end;
    version.emplace_back(text.substr(at, end - at));
    at = end < text.size() && text[end] == '.' ? end + 1 : text.size();
  }
  if (version.empty()) return std::nullopt;
  return version;
}

std::optional<Version> ParseVersion(std::string_view text) {
  std::optional<Version> version = LeadingVersion(text);
  if (!version) return std::nullopt;
  std::size_t size = version->size() - 1;  // the points
  for (const std::string& number : *version) size += number.size();
  if (size != text.size()) return std::nullopt;
  return version;
}

std::optional<Op> ParseOp(std::string_view text) {
  constexpr std::pair<std::string_view, Op> kOps[] = {
      {"any", Op::kAny},   {"=", Op::kEqual},         {"<", Op::kLess},         {"<=", Op::kLessEqual},
      {">", Op::kGreater}, {">=", Op::kGreaterEqual}, {"between", Op::kBetween}};
  const auto* const found =
      std::find_if(std::begin(kOps), std::end(kOps), [&](const auto& op) { return op.first == text; });
  if (found == std::end(kOps)) return std::nullopt;
  return found->second;
}

bool Fulfils(Op op, int toValue, int toValue2) {
  switch (op) {
    case Op::kEqual:
      return toValue == 0;
    case Op::kNotEqual:
      return toValue != 0;
    case Op::kLess:
      return toValue < 0;
    case Op::kLessEqual:
      return toValue <= 0;
    case Op::kGreater:
      return toValue > 0;
    case Op::kGreaterEqual:
      return toValue >= 0;
    case Op::kBetween:
      return toValue >= 0 && toValue2 <= 0;
    default:
      return true;
  }
}

Truth VersionTest::Holds(const FoundVersion& found) const {
  const Version version = Reduced(found.version, schema);
  const int first = Compare(version, Reduced(value, schema), isLexical);
  const int second = Compare(version, Reduced(value2, schema), isLexical);
  const bool holds = Fulfils(op, first, second);
  if (!found.orNewer) return TruthOf(holds);
  // What is newer may stand in any relation from this one on.
  for (int toValue = first; toValue <= 1; ++toValue)
    for (int toValue2 = second; toValue2 <= 1; ++toValue2)
      if (Fulfils(op, toValue, toValue2) != holds) return Truth::kUnknown;
  return TruthOf(holds);
}

}  // namespace gpuprowler
