// Files of rules, read.
#ifndef GPUPROWLER_RULESET_H_
#define GPUPROWLER_RULESET_H_

#include "versiontest.h"

#include <gpuprowler/rules.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace re2 {
class RE2;
}

namespace gpuprowler {

constexpr std::uint32_t kIntelsID = 0x8086, kNVIDIAsID = 0x10DE, kAMDsID = 0x1002;  // as vendors

// A pattern that a text must match from end to end.
using Pattern = std::shared_ptr<const re2::RE2>;

enum class Category { kPrimary, kSecondary, kActive, kAny };
enum class Style { kOptimus, kAMDSwitchable, kAMDSwitchableIntegrated, kAMDSwitchableDiscrete };

struct DeviceRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
};

// All that is set must hold.
struct Conditions {
  std::string os;  // empty: any
  std::optional<VersionTest> osVersion;

  Category category = Category::kActive;  // of the cards that what follows is about
  std::optional<std::uint32_t> vendor;
  std::vector<DeviceRange> devices;      // any of these
  std::vector<std::uint32_t> revisions;  // any of these, of the only device; or one for each device
  std::vector<std::string> intelSeries;
  std::optional<VersionTest> intelGeneration;
  Pattern driverVendor;
  std::optional<VersionTest> driverVersion;
  std::optional<VersionTest> driverDate;
  Pattern glVendor;
  Pattern glRenderer;
  Pattern glExtensions;
  std::optional<VersionTest> glVersion;

  std::string glType;  // empty: any
  std::optional<Style> style;
  std::optional<VersionTest> gpuCount;
  std::optional<bool> isDirect;
  std::optional<VersionTest> directVersion;
  std::vector<std::string> unknowable;  // members that no answer decides
};

struct Entry {
  RuleMatch match;  // what is told of it
  Conditions conditions;
  std::vector<Conditions> exceptions;

  // Those that it's about: all, or those named; but for the exceptions.
  bool isForAll = false;
  std::set<std::string> features;
  std::set<std::string> featureExceptions;
};

// Of a file: some ten times what the largest lists of the field have.
constexpr std::size_t kMaxRulesBytes = std::size_t{1024} * 1024;

// Adds the entries of a file that are in force, and what is wrong with the others.
void ReadRules(const std::string& file, const std::string& text, std::vector<Entry>& entries,
               std::vector<RuleError>& errors);

}  // namespace gpuprowler

#endif  // GPUPROWLER_RULESET_H_
