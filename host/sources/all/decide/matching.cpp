#include "matching.h"

#include "intelseries.h"
#include "run/steps.h"

#include <re2/re2.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace gpuprowler {

namespace {

// "GL_ARB_texture_float" for ".*GL_ARB_texture_float.*"; empty for any other kind of pattern.
std::string ExtensionOf(const std::string& pattern) {
  std::string_view name = pattern;
  constexpr std::string_view kAny = ".*";
  if (name.substr(0, kAny.size()) != kAny) return "";
  name.remove_prefix(kAny.size());
  if (name.size() < kAny.size() || name.substr(name.size() - kAny.size()) != kAny) return "";
  return std::string(name.substr(0, name.size() - kAny.size()));
}

// Whether OpenGL has what matches; of the extensions the answer tells of a few alone.
Truth HasExtension(const Pattern& pattern, const GPU& gpu) {
  std::string name = ExtensionOf(pattern->pattern());
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return 'a' <= c && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  const std::size_t step = FindStep("extension[KGX::OGL::" + name + "]");
  const Value* const value = step < Steps().size() ? gpu.Find(Steps()[step].PlainKey()) : nullptr;
  const auto* const flag = value ? std::get_if<bool>(&value->value) : nullptr;
  return flag != nullptr ? TruthOf(*flag) : Truth::kUnknown;
}

Truth Matches(const Pattern& pattern, const std::string& text) {
  constexpr std::size_t kLongest = 4096;  // of what is compared; no driver means to say more
  if (text.size() > kLongest) return Truth::kUnknown;
  return TruthOf(re2::RE2::FullMatch(text, *pattern));
}

Truth Matches(const Pattern& pattern, const GPU& gpu, const char* key) {
  const std::string* const text = FindText(gpu, key);
  return text != nullptr ? Matches(pattern, *text) : Truth::kUnknown;
}

Truth Holds(const VersionTest& test, const std::optional<FoundVersion>& found) {
  if (test.op == Op::kAny) return Truth::kYes;
  return found ? test.Holds(*found) : Truth::kUnknown;
}

// The conditions that must all hold, and what is unknown of them.
class Sum {
 public:
  void Add(const char* member, Truth truth) {
    if (truth == Truth::kUnknown) fUnknown.emplace_back(member);
    fTruth = And(fTruth, truth);
  }

  Truth Put(std::vector<std::string>& unknown) const {
    if (fTruth != Truth::kUnknown) return fTruth;
    for (const std::string& member : fUnknown)
      if (std::find(unknown.begin(), unknown.end(), member) == unknown.end()) unknown.push_back(member);
    return fTruth;
  }

 private:
  Truth fTruth = Truth::kYes;
  std::vector<std::string> fUnknown;
};

Truth IsOneOf(const Card& card, const Conditions& conditions) {
  if (!card.device) return Truth::kUnknown;
  const auto& revisions = conditions.revisions;
  for (std::size_t i = 0; i < conditions.devices.size(); ++i) {
    if (*card.device < conditions.devices[i].first || *card.device > conditions.devices[i].last) continue;
    const bool isAny = revisions.empty() ||
                       (conditions.devices.size() == 1 &&
                        std::count(revisions.begin(), revisions.end(), card.revision) > 0) ||
                       (conditions.devices.size() > 1 && revisions[i] == card.revision);
    if (isAny) return Truth::kYes;
  }
  return Truth::kNo;
}

// Whether one of Intel's GPUs, and if so of such a series.
template <class Wanted>
Truth IsOfIntels(const Card& card, const Wanted& isWanted) {
  if (!card.vendor) return Truth::kUnknown;
  if (*card.vendor != kIntelsID) return Truth::kNo;
  const IntelSeries* const series = FindIntelSeries(*card.device);
  return series != nullptr ? isWanted(*series) : Truth::kUnknown;
}

// All that is asked of a card.
Truth IsCard(const Conditions& conditions, const Card& card, std::vector<std::string>& unknown) {
  Sum sum;
  if (conditions.vendor)
    sum.Add("vendor_id", card.vendor ? TruthOf(*card.vendor == *conditions.vendor) : Truth::kUnknown);
  if (!conditions.devices.empty()) sum.Add("device_id", IsOneOf(card, conditions));
  if (!conditions.intelSeries.empty())
    sum.Add("intel_gpu_series", IsOfIntels(card, [&](const IntelSeries& series) {
              const auto& names = conditions.intelSeries;
              return TruthOf(std::count(names.begin(), names.end(), series.name) > 0);
            }));
  if (conditions.intelGeneration)
    sum.Add("intel_gpu_generation", IsOfIntels(card, [&](const IntelSeries& series) {
              return conditions.intelGeneration->Holds({{std::to_string(series.generation)}});
            }));
  if (conditions.driverVendor)
    sum.Add("driver_vendor", card.driverVendor.empty() ? Truth::kUnknown
                                                       : Matches(conditions.driverVendor, card.driverVendor));
  if (conditions.driverVersion)
    sum.Add("driver_version", Holds(*conditions.driverVersion, card.driverVersion));
  if (conditions.driverDate) sum.Add("driver_date", Holds(*conditions.driverDate, card.driverDate));
  const auto addOpenGLs = [&](const char* member, const auto& condition, const auto& truthOf) {
    if (condition) sum.Add(member, card.gpu ? truthOf(*card.gpu) : card.hasOpenGL);
  };
  addOpenGLs("gl_vendor", conditions.glVendor,
             [&](const GPU& gpu) { return Matches(conditions.glVendor, gpu, "glVendor"); });
  addOpenGLs("gl_renderer", conditions.glRenderer,
             [&](const GPU& gpu) { return Matches(conditions.glRenderer, gpu, "glRenderer"); });
  addOpenGLs("gl_extensions", conditions.glExtensions,
             [&](const GPU& gpu) { return HasExtension(conditions.glExtensions, gpu); });
  addOpenGLs("gl_version", conditions.glVersion,
             [&](const GPU& gpu) { return Holds(*conditions.glVersion, OpenGLVersionOf(gpu)); });
  return sum.Put(unknown);
}

// Whether one of the cards that it's about is as asked for.
Truth HasCard(const Conditions& conditions, const Facts& facts, std::vector<std::string>& unknown) {
  Truth truth = Truth::kNo;
  for (std::size_t i = 0; i < facts.cards.size(); ++i) {
    const bool isMeant = conditions.category == Category::kAny ||
                         (conditions.category == Category::kPrimary && i == 0) ||
                         (conditions.category == Category::kSecondary && i > 0) ||
                         (conditions.category == Category::kActive && i == facts.active);
    if (isMeant) truth = Or(truth, IsCard(conditions, facts.cards[i], unknown));
  }
  return truth;
}

// Two cards, of which one saves power.
Truth IsOfStyle(Style style, const Facts& facts) {
  const auto has = [&](std::uint32_t vendor) {
    return std::any_of(facts.cards.begin(), facts.cards.end(),
                       [&](const Card& card) { return card.vendor == vendor; });
  };
  const auto active = facts.cards[facts.active].vendor;
  switch (style) {
    case Style::kOptimus:
      return TruthOf(has(kIntelsID) && has(kNVIDIAsID));
    case Style::kAMDSwitchable:
      return TruthOf(has(kIntelsID) && has(kAMDsID));
    case Style::kAMDSwitchableIntegrated:
      return TruthOf(has(kAMDsID) && active == kIntelsID);
    default:
      return TruthOf(has(kIntelsID) && active == kAMDsID);
  }
}

Truth Hold(const Conditions& conditions, const Facts& facts, std::vector<std::string>& unknown) {
  Sum sum;
  if (!conditions.os.empty())
    sum.Add("os.type", facts.os.empty() ? Truth::kUnknown : TruthOf(facts.os == conditions.os));
  if (conditions.osVersion) sum.Add("os.version", Holds(*conditions.osVersion, facts.osVersion));
  // OpenGL itself was asked, and that without an X server in between.
  if (!conditions.glType.empty()) sum.Add("gl_type", TruthOf(conditions.glType == "gl"));
  if (conditions.isDirect) sum.Add("direct_rendering", TruthOf(*conditions.isDirect));
  if (conditions.directVersion)
    sum.Add("direct_rendering_version", conditions.directVersion->Holds({{"2"}, true}));
  if (conditions.style) sum.Add("multi_gpu_style", IsOfStyle(*conditions.style, facts));
  if (conditions.gpuCount) sum.Add("gpu_count", conditions.gpuCount->Holds({{std::to_string(facts.count)}}));
  for (const std::string& member : conditions.unknowable) sum.Add(member.c_str(), Truth::kUnknown);

  std::vector<std::string> ofCards;
  const Truth hasCard = HasCard(conditions, facts, ofCards);
  if (hasCard == Truth::kUnknown)
    for (const std::string& member : ofCards) sum.Add(member.c_str(), hasCard);
  else
    sum.Add("", hasCard);
  return sum.Put(unknown);
}

}  // namespace

Truth Applies(const Entry& entry, const Facts& facts, std::vector<std::string>& unknown) {
  std::vector<std::string> found;
  Truth truth = Hold(entry.conditions, facts, found);
  for (std::size_t i = 0; i < entry.exceptions.size() && truth != Truth::kNo; ++i) {
    std::vector<std::string> ofException;
    const Truth isException = Hold(entry.exceptions[i], facts, ofException);
    for (const std::string& member : ofException)
      found.push_back("exceptions[" + std::to_string(i) + "]." + member);
    truth = And(truth, Not(isException));
  }
  if (truth == Truth::kUnknown) unknown = std::move(found);
  return truth;
}

}  // namespace gpuprowler
