#include "matching.h"
#include "requirement.h"
#include "ruleset.h"

#include <gpuprowler/rules.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace gpuprowler {

namespace {

constexpr char kAll[] = "all";

void Worsen(Outcome& outcome, Outcome other) { outcome = std::max(outcome, other); }

// An entry that names nothing but has a message is about all as well.
bool IsAbout(const Entry& entry, const std::string& feature) {
  if (entry.featureExceptions.count(feature) > 0) return false;
  return entry.isForAll || entry.features.count(feature) > 0 ||
         (entry.features.empty() && entry.match.disabledExtensions.empty());
}

std::set<std::string> NamedFeatures(const std::vector<Entry>& entries) {
  std::set<std::string> names;
  for (const Entry& entry : entries) {
    names.insert(entry.features.begin(), entry.features.end());
    names.insert(entry.featureExceptions.begin(), entry.featureExceptions.end());
  }
  if (names.empty() && !entries.empty()) names.insert(kAll);
  return names;
}

std::optional<Interface> InterfaceOf(const Requirement& requirement) {
  if (requirement.scope == Scope::kGLGPU) return Interface::kOpenGL;
  if (requirement.scope == Scope::kCLGPU) return Interface::kOpenCL;
  return std::nullopt;
}

bool IsAbout(const Requirement& requirement, Interface interface) {
  return InterfaceOf(requirement).value_or(interface) == interface;
}

void CheckEntry(const Entry& entry, const Facts& facts, Decision& decision) {
  RuleMatch match = entry.match;
  const Truth truth = Applies(entry, facts, match.unknown);
  if (truth == Truth::kNo) return;
  const bool blocks = truth == Truth::kYes && (entry.isForAll || !entry.features.empty());
  bool isTold = !match.disabledExtensions.empty();
  for (auto& [name, feature] : decision.features) {
    if (!IsAbout(entry, name)) continue;
    Worsen(feature.outcome, blocks ? Outcome::kBlocked : Outcome::kWarned);
    feature.entries.push_back(decision.entries.size());
    isTold = true;
  }
  if (isTold) decision.entries.push_back(std::move(match));
}

RequirementResult ResultOf(const std::vector<Requirement>& requirements, const Answer& answer,
                           std::size_t place) {
  const GPU& gpu = answer.gpus[place];
  RequirementResult result;
  result.gpu = place;
  result.name = gpu.tag;
  result.complete = gpu.complete;
  for (const Requirement& requirement : requirements) {
    if (!IsAbout(requirement, gpu.interface)) continue;
    const Truth truth = Fulfils(requirement, gpu, answer);
    if (truth == Truth::kNo) result.unmet.push_back(requirement.expression);
    if (truth == Truth::kUnknown) result.unknown.push_back(requirement.expression);
  }
  result.outcome = !gpu.complete || !result.unmet.empty() ? Outcome::kBlocked
                   : !result.unknown.empty()              ? Outcome::kWarned
                                                          : Outcome::kAllowed;
  return result;
}

// One GPU of each interface that they are about must meet all of them that are about it; where they are about
// none, any.
void CheckRequirements(const std::vector<Requirement>& requirements, const Answer& answer,
                       Decision& decision) {
  decision.hasRequirements = !requirements.empty();
  std::map<std::optional<Interface>, Outcome> best;
  for (const Requirement& requirement : requirements)
    if (const auto interface = InterfaceOf(requirement)) best[*interface] = Outcome::kBlocked;
  if (best.empty() && !requirements.empty()) best[std::nullopt] = Outcome::kBlocked;
  for (std::size_t i = 0; i < answer.gpus.size(); ++i) {
    auto found = best.find(answer.gpus[i].interface);
    if (found == best.end()) found = best.find(std::nullopt);
    if (found == best.end()) continue;
    decision.gpus.push_back(ResultOf(requirements, answer, i));
    found->second = std::min(found->second, decision.gpus.back().outcome);
  }
  for (const auto& [interface, outcome] : best) Worsen(decision.requirements, outcome);
}

}  // namespace

struct Rules::Parts {
  std::vector<Entry> entries;
  std::vector<Requirement> requirements;
  std::vector<RuleError> errors;
};

Rules::Rules() : fParts(std::make_unique<Parts>()) {}
Rules::~Rules() = default;
Rules::Rules(Rules&& other) noexcept = default;
Rules& Rules::operator=(Rules&& other) noexcept = default;

bool Rules::Add(const std::string& file, const std::string& text) {
  const std::size_t errors = fParts->errors.size();
  ReadRules(file, text, fParts->entries, fParts->errors);
  return fParts->errors.size() == errors;
}

bool Rules::AddFile(const std::string& path) {
  std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
  std::string text(kMaxRulesBytes + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (in.eof() || !text.empty()) return Add(path, text);
  fParts->errors.push_back({path, "", "", "can't be read"});
  return false;
}

bool Rules::Require(const std::string& expression) {
  try {
    fParts->requirements.push_back(ParseRequirement(expression));
    return true;
  } catch (const std::invalid_argument& refusal) {
    fParts->errors.push_back({"", "", expression, refusal.what()});
    return false;
  }
}

const std::vector<RuleError>& Rules::GetErrors() const { return fParts->errors; }

Decision Check(const Rules& rules, const Answer& answer, const std::vector<std::string>& features) {
  const Rules::Parts& parts = *rules.fParts;
  Decision decision;
  decision.errors = parts.errors;
  const std::set<std::string> named = NamedFeatures(parts.entries);
  for (const std::string& feature : features) decision.features[feature].isNamed = named.count(feature) > 0;
  if (features.empty())
    for (const std::string& feature : named) decision.features[feature].isNamed = true;
  const Facts facts = FactsOf(answer);
  for (const Entry& entry : parts.entries) CheckEntry(entry, facts, decision);
  CheckRequirements(parts.requirements, answer, decision);
  decision.outcome = decision.requirements;
  for (const auto& [name, feature] : decision.features) Worsen(decision.outcome, feature.outcome);
  return decision;
}

}  // namespace gpuprowler
