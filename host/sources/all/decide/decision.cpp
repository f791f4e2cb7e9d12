#include "tell/printable.h"

#include <ztutil/version.h>

#include <gpuprowler/rules.h>
#include <nlohmann/json.hpp>

#include <cstddef>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) (joined += joined.empty() ? "" : ", ") += Printable(text);
  return joined;
}

// The file without its folder.
std::string NameOf(const RuleMatch& match) {
  return Printable(match.file.substr(match.file.find_last_of("/\\") + 1)) + " " + std::to_string(match.id);
}

// "list.json 4: what it is about", and lines with what else there is to say.
std::string TextOf(const RuleMatch& match) {
  std::string text = NameOf(match) + ": " + Printable(match.description) + "\n";
  const auto put = [&](const char* title, const std::string& line) {
    if (!line.empty()) text += std::string("  ") + title + line + "\n";
  };
  put("Can't be decided, not knowing ", Joined(match.unknown));
  put("", Printable(match.message));
  put("Fixed in ", Printable(match.fixedIn));
  put("A newer driver: ", Printable(match.link));
  put("Extensions not to be used: ", Joined(match.disabledExtensions));
  return text;
}

std::string TextOf(const RequirementResult& gpu) {
  const std::string name = "  " + Printable(gpu.name);
  if (!gpu.complete) return name + " isn't complete\n";
  if (!gpu.unmet.empty()) return name + " doesn't meet " + Joined(gpu.unmet) + "\n";
  return name +
         (gpu.unknown.empty() ? " meets them"
                              : " may meet them, but doesn't tell of " + Joined(gpu.unknown)) +
         "\n";
}

JSON JSONOf(const RuleMatch& match) {
  return {{"file", match.file},
          {"id", match.id},
          {"description", match.description},
          {"message", match.message},
          {"fixedIn", match.fixedIn},
          {"link", match.link},
          {"disabledExtensions", match.disabledExtensions},
          {"unknown", match.unknown}};
}

JSON JSONOf(const RequirementResult& gpu) {
  return {{"gpu", gpu.gpu},           {"name", gpu.name},   {"outcome", OutcomeName(gpu.outcome)},
          {"complete", gpu.complete}, {"unmet", gpu.unmet}, {"unknown", gpu.unknown}};
}

JSON JSONOf(const RuleError& error) {
  return {{"file", error.file}, {"entry", error.entry}, {"member", error.member}, {"text", error.text}};
}

template <class Part>
JSON ListOf(const std::vector<Part>& parts) {
  JSON list = JSON::array();
  for (const Part& part : parts) list.push_back(JSONOf(part));
  return list;
}

}  // namespace

const char* OutcomeName(Outcome outcome) {
  constexpr const char* kNames[] = {"allowed", "warned", "blocked"};
  return kNames[static_cast<std::size_t>(outcome)];
}

std::string AsText(const RuleError& error) {
  std::string text = Printable(error.file);
  const auto put = [&](const std::string& part) {
    if (!part.empty()) (text += text.empty() ? "" : ", ") += Printable(part);
  };
  put(error.entry.empty() ? "" : "entry " + error.entry);
  put(error.member);
  return text + ": " + Printable(error.text);
}

std::string AsText(const Decision& decision) {
  std::string text;
  for (const auto& [name, feature] : decision.features) {
    std::string entries;
    for (const std::size_t entry : feature.entries)
      entries += (entries.empty() ? " by " : ", ") + NameOf(decision.entries[entry]);
    text += Printable(name) + ": " + OutcomeName(feature.outcome) +
            (feature.isNamed ? "" : ", though no rule names it") + entries + "\n";
  }
  if (decision.hasRequirements)
    text += std::string("Requirements: ") + OutcomeName(decision.requirements) + "\n";
  for (const RequirementResult& gpu : decision.gpus) text += TextOf(gpu);
  if (!decision.entries.empty()) text += "\n";
  for (const RuleMatch& match : decision.entries) text += TextOf(match);
  return text;
}

std::string AsJSON(const Decision& decision) {
  JSON features = JSON::object();
  for (const auto& [name, feature] : decision.features)
    features[name] = {
        {"outcome", OutcomeName(feature.outcome)}, {"named", feature.isNamed}, {"entries", feature.entries}};
  JSON document = {{"schema", "gpuprowler-check-1"},
                   {"version", ztutil::kVersion},
                   {"outcome", OutcomeName(decision.outcome)},
                   {"features", std::move(features)},
                   {"entries", ListOf(decision.entries)}};
  if (decision.hasRequirements)
    document["requirements"] = {{"outcome", OutcomeName(decision.requirements)},
                                {"gpus", ListOf(decision.gpus)}};
  document["errors"] = ListOf(decision.errors);
  return document.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace gpuprowler
