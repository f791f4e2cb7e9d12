#include "requirement.h"

#include "facts.h"
#include "tell/documentfields.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace gpuprowler {

namespace {

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

[[noreturn]] void Refuse(const std::string& text) { throw std::invalid_argument(text); }

// What stands there, and how long it is.
std::pair<Op, std::size_t> OpAt(std::string_view text) {
  if (text.substr(0, 2) == "!=") return {Op::kNotEqual, 2};
  if (text.substr(0, 2) == "==") return {Op::kEqual, 2};
  for (const std::size_t size : {2u, 1u})
    if (const auto op = ParseOp(text.substr(0, size)); op && size <= text.size()) return {*op, size};
  Refuse("must have one of = != < <= > >= behind the key");
}

bool IsOrder(Op op) { return op != Op::kEqual && op != Op::kNotEqual; }

bool FlagOf(std::string_view text) {
  if (text == "1" || text == "true") return true;
  if (text != "0" && text != "false") Refuse("must be compared with 1 or 0");
  return false;
}

double NumberOf(std::string_view text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || behind != end) Refuse("must be compared with a number");
  return number;
}

void SetValue(Requirement& requirement, Form form, std::string_view text) {
  const bool isOrder = IsOrder(requirement.op);
  if (form == Form::kFlag) {
    if (isOrder) Refuse("is yes or no: it can be compared by = and != alone");
    requirement.value = FlagOf(text);
  } else if (form != Form::kText) {
    requirement.value = NumberOf(text);
  } else if (const auto version = ParseVersion(text)) {
    requirement.value = *version;
  } else {
    if (isOrder) Refuse("must be compared with a version, such as 3.3, or by = and !=");
    requirement.value = std::string(text);
  }
}

// By the document's key or the report's; null if there is none.
const Step* FindStepOf(std::string_view key) {
  for (const Step& step : Steps())
    if (!step.key.empty() && (step.key == key || step.PlainKey() == key)) return &step;
  return nullptr;
}

// --- What is found ---

using Found = decltype(Value::value);

std::optional<Found> OwnValue(const std::string& key, const GPU& gpu, const Answer& answer) {
  if (key == "interface") return NameOf(gpu.interface);
  if (key == "tag") return gpu.tag;
  if (key == "software") return gpu.software;
  if (key == "driver" && gpu.driver) return answer.drivers[*gpu.driver].manifest;
  if (key == "adapter" && gpu.adapter) return answer.adapters[*gpu.adapter].name;
  return std::nullopt;
}

std::optional<Found> ValueOf(const Requirement& requirement, const GPU& gpu, const Answer& answer) {
  if (!requirement.scope) return OwnValue(requirement.key, gpu, answer);
  const auto& values = *requirement.scope == Scope::kRun && gpu.run < answer.runs.size()
                           ? answer.runs[gpu.run].values
                           : gpu.values;
  for (const Value& value : values)
    if (value.key == requirement.key) return value.value;
  return std::nullopt;
}

Truth Compare(const Requirement& requirement, double found) {
  const auto* const wanted = std::get_if<double>(&requirement.value);
  if (wanted == nullptr) return Truth::kUnknown;
  return TruthOf(gpuprowler::Fulfils(requirement.op, (found > *wanted) - (found < *wanted)));
}

Truth Compare(const Requirement& requirement, std::int64_t found) {
  return Compare(requirement, static_cast<double>(found));
}

// Of all.
Truth Compare(const Requirement& requirement, const std::vector<std::int64_t>& found) {
  Truth truth = found.empty() ? Truth::kUnknown : Truth::kYes;
  for (const std::int64_t number : found) truth = And(truth, Compare(requirement, number));
  return truth;
}

Truth Compare(const Requirement& requirement, bool found) {
  const auto* const wanted = std::get_if<bool>(&requirement.value);
  return wanted != nullptr ? TruthOf((found == *wanted) == (requirement.op == Op::kEqual)) : Truth::kUnknown;
}

Truth CompareVersions(const Requirement& requirement, const Version& wanted,
                      const std::optional<FoundVersion>& found) {
  return found ? VersionTest{requirement.op, wanted, {}, false, Schema::kCommon}.Holds(*found)
               : Truth::kUnknown;
}

Truth Compare(const Requirement& requirement, const std::string& found) {
  if (const auto* const wanted = std::get_if<Version>(&requirement.value)) {
    const auto version = LeadingVersion(found);
    if (version) return CompareVersions(requirement, *wanted, FoundVersion{*version});
    return IsOrder(requirement.op) ? Truth::kUnknown : TruthOf(requirement.op == Op::kNotEqual);
  }
  const auto* const wanted = std::get_if<std::string>(&requirement.value);
  return wanted != nullptr ? TruthOf((found == *wanted) == (requirement.op == Op::kEqual)) : Truth::kUnknown;
}

}  // namespace

Requirement ParseRequirement(const std::string& expression) {
  const std::size_t at = expression.find_first_of("=!<>");
  if (at == std::string::npos) Refuse("must be a key, one of = != < <= > >=, and a value");
  Requirement requirement;
  requirement.expression = expression;
  requirement.key = Trimmed(std::string_view(expression).substr(0, at));
  const auto [op, size] = OpAt(std::string_view(expression).substr(at));
  requirement.op = op;
  std::string_view value = Trimmed(std::string_view(expression).substr(at + size));
  if (value.size() > 1 && value.front() == '"' && value.back() == '"')
    value = value.substr(1, value.size() - 2);
  if (value.empty()) Refuse("must have a value behind the comparison");

  constexpr std::string_view kOwnTexts[] = {"interface", "tag", "driver", "adapter"};
  if (const Step* const step = FindStepOf(requirement.key)) {
    requirement.key = step->PlainKey();
    requirement.scope = step->scope;
    SetValue(requirement, step->form, value);
  } else if (requirement.key == "software") {
    SetValue(requirement, Form::kFlag, value);
  } else if (std::count(std::begin(kOwnTexts), std::end(kOwnTexts), requirement.key) > 0) {
    if (IsOrder(requirement.op)) Refuse("can be compared by = and != alone");
    requirement.value = std::string(value);
  } else {
    Refuse("asks for a key that isn't known");
  }
  return requirement;
}

Truth Fulfils(const Requirement& requirement, const GPU& gpu, const Answer& answer) {
  if (const auto* const wanted = std::get_if<Version>(&requirement.value);
      wanted && requirement.key == "glVersion")
    return CompareVersions(requirement, *wanted, OpenGLVersionOf(gpu));
  const auto found = ValueOf(requirement, gpu, answer);
  if (!found) return Truth::kUnknown;
  return std::visit([&](const auto& value) { return Compare(requirement, value); }, *found);
}

}  // namespace gpuprowler
