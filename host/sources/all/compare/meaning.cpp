#include "meaning.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <type_traits>
#include <vector>

namespace gpuprowler {

namespace {

enum class Meaning {
  kAmount,  // numbers and flags; a text is only another one
  kMemory,
  kMeasurement,
  kVersion,  // a text that begins with numbers
  kVerdict,
  kBehaviour,
  kBurden,   // a flag that is better not set
  kNeutral,  // a number, or a flag, that is only another one
  kIgnored,
};

constexpr struct {
  std::string_view key;
  Meaning meaning;
} kMeanings[] = {
    // Of answers
    {"verdict", Meaning::kVerdict},
    {"time", Meaning::kIgnored},
    {"seconds", Meaning::kIgnored},
    {"remembered", Meaning::kIgnored},
    // Of drivers and adapters
    {"behaviour", Meaning::kBehaviour},
    {"bytes", Meaning::kNeutral},
    {"modified", Meaning::kIgnored},  // an installation may touch a file and leave it as it was
    {"vendorID", Meaning::kNeutral},
    {"deviceID", Meaning::kNeutral},
    {"subsystemID", Meaning::kNeutral},
    {"revision", Meaning::kNeutral},
    {"memoryBytes", Meaning::kMemory},
    {"asleep", Meaning::kIgnored},
    // Of GPUs
    {"tag", Meaning::kIgnored},
    {"run", Meaning::kIgnored},
    {"software", Meaning::kBurden},
    {"glVersion", Meaning::kVersion},
    {"isIntegratedGLGPU", Meaning::kNeutral},
    {"glMemoryMB", Meaning::kMemory},
    {"glVendorID", Meaning::kNeutral},
    {"glRendererID", Meaning::kNeutral},
    {"glShadingLanguageVersion", Meaning::kVersion},
    {"clPlatformVersion", Meaning::kVersion},
    {"clDeviceVersion", Meaning::kVersion},
    {"isIntegratedCLGPU", Meaning::kNeutral},
    {"clMemoryMB", Meaning::kMemory},
    {"clVendorID", Meaning::kNeutral},
    {"cudaVersion", Meaning::kVersion},
    {"clBandwidth", Meaning::kMeasurement},
    {"clCompute", Meaning::kMeasurement},
};

Meaning MeaningOf(const std::string& key) {
  const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                         [&](const auto& entry) { return entry.key == key; });
  return found != std::end(kMeanings) ? found->meaning : Meaning::kAmount;
}

// What is compared from the first number on; the more the better. None: nobody can say what is better.
using Rank = std::vector<double>;

Rank VersionOf(const std::string& text) {
  Rank numbers;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (bool goesOn = true; goesOn;) {
    unsigned number = 0;
    const auto [behind, error] = std::from_chars(at, end, number);
    if (error != std::errc()) break;
    numbers.push_back(number);
    goesOn = behind != end && *behind == '.';
    at = behind + (goesOn ? 1 : 0);
  }
  return numbers;
}

Rank RankOf(Meaning meaning, const std::string& text) {
  switch (meaning) {
    case Meaning::kVersion:
      return VersionOf(text);
    case Meaning::kVerdict:
      return {text == VerdictName(Verdict::kFinished)   ? 2.
              : text == VerdictName(Verdict::kFailures) ? 1.
                                                        : 0.};
    case Meaning::kBehaviour:
      return {text == BehaviourName(Behaviour::kSound)     ? 2.
              : text == BehaviourName(Behaviour::kUnknown) ? 1.
                                                           : 0.};
    default:
      return {};
  }
}

Rank RankOf(Meaning meaning, const Datum& datum) {
  if (meaning == Meaning::kNeutral) return {};
  return std::visit(
      [&](const auto& typed) -> Rank {
        using Type = std::decay_t<decltype(typed)>;
        if constexpr (std::is_same_v<Type, std::string>)
          return RankOf(meaning, typed);
        else if constexpr (std::is_same_v<Type, std::vector<std::int64_t>>)
          return {typed.begin(), typed.end()};
        else
          return {(meaning == Meaning::kBurden ? -1 : 1) * static_cast<double>(typed)};
      },
      datum);
}

}  // namespace

std::optional<Effect> EffectOf(const std::string& key, const Datum& before, const Datum& after,
                               double measurementNoise) {
  const Meaning meaning = MeaningOf(key);
  if (before == after || meaning == Meaning::kIgnored) return std::nullopt;
  const Rank was = RankOf(meaning, before), is = RankOf(meaning, after);
  if (was.empty() || is.empty()) return Effect::kChanged;
  const double noise = meaning == Meaning::kMeasurement ? measurementNoise
                       : meaning == Meaning::kMemory    ? kMemoryNoise
                                                        : 1;
  const auto isLess = [&](double left, double right) { return left * noise < right; };
  if (std::lexicographical_compare(is.begin(), is.end(), was.begin(), was.end(), isLess))
    return Effect::kLost;
  if (std::lexicographical_compare(was.begin(), was.end(), is.begin(), is.end(), isLess)) return Effect::kWon;
  return noise > 1 ? std::nullopt : std::optional(Effect::kChanged);
}

Effect EffectOfNone(const std::string& key, const Datum& there, bool isAfter) {
  const Meaning meaning = MeaningOf(key);
  const bool counts = meaning != Meaning::kMeasurement && !RankOf(meaning, there).empty();
  return !counts ? Effect::kChanged : isAfter ? Effect::kWon : Effect::kLost;
}

}  // namespace gpuprowler
