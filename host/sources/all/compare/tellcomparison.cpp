// A comparison for people, and as a document.
#include "tell/printable.h"

#include <ztutil/version.h>

#include <gpuprowler/compare.h>
#include <nlohmann/json.hpp>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

constexpr Effect kEffects[] = {Effect::kLost, Effect::kWon, Effect::kChanged};

JSON AsJSON(const Datum& datum) {
  return std::visit([](const auto& typed) { return JSON(typed); }, datum);
}

std::string InWords(const std::optional<Datum>& datum) {
  if (!datum) return "none";
  const auto* const text = std::get_if<std::string>(&*datum);
  const std::string words = text ? *text : AsJSON(*datum).dump();
  return words.empty() ? "none" : Printable(words);
}

std::string InWords(const Change& change) {
  const std::string which =
      change.subject == "answer" ? "" : change.subject + " " + Printable(change.name) + ": ";
  if (!change.key.empty())
    return which + Printable(change.key) + ": " + InWords(change.before) + " -> " + InWords(change.after);
  const std::string what = InWords(change.after ? change.after : change.before);
  return which + (change.after ? "came" : "gone") + (what == Printable(change.name) ? "" : ": " + what);
}

const char* TitleOf(Effect effect) {
  return effect == Effect::kLost ? "Lost" : effect == Effect::kWon ? "Won" : "Changed";
}

}  // namespace

const char* EffectName(Effect effect) {
  return effect == Effect::kLost ? "lost" : effect == Effect::kWon ? "won" : "changed";
}

std::string AsText(const Comparison& comparison) {
  std::string text;
  for (const Effect effect : kEffects) {
    std::string lines;
    for (const Change& change : comparison.changes)
      if (change.effect == effect) lines += "  " + InWords(change) + "\n";
    if (!lines.empty()) text += (text.empty() ? "" : "\n") + std::string(TitleOf(effect)) + "\n" + lines;
  }
  return text.empty() ? "Nothing has changed.\n" : text;
}

std::string AsJSON(const Comparison& comparison) {
  JSON changes = JSON::array();
  for (const Change& change : comparison.changes) {
    JSON& object = changes.emplace_back(JSON{{"effect", EffectName(change.effect)},
                                             {"subject", change.subject},
                                             {"name", change.name},
                                             {"key", change.key}});
    if (change.before) object["before"] = AsJSON(*change.before);
    if (change.after) object["after"] = AsJSON(*change.after);
  }
  const JSON document = {{"schema", "gpuprowler-comparison-1"}, {"version", ztutil::kVersion},
                         {"before", comparison.before},         {"after", comparison.after},
                         {"lost", HasLost(comparison)},         {"changes", std::move(changes)}};
  return document.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace gpuprowler
