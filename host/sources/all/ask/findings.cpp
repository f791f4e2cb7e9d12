#include "findings.h"

#include "tell/printable.h"

#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace gpuprowler {

namespace {

// All of the text as a number.
template <class Number>
std::optional<Number> Parse(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || behind != end) return std::nullopt;
  return number;
}

std::optional<std::vector<std::int64_t>> ParseList(std::string_view text) {
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') return std::nullopt;
  text = text.substr(1, text.size() - 2);
  std::vector<std::int64_t> numbers;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(','), text.size());
    const auto number = Parse<std::int64_t>(text.substr(text.front() == ' ' ? 1 : 0, end));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return numbers;
}

Value ValueOf(const Finding& finding) {
  const Step& step = finding.question.GetStep();
  const std::string& text = finding.value;
  Value value{step.PlainKey(), std::string(step.key), text};
  switch (step.form) {
    case Form::kFlag:
      value.value = text == "1";
      break;
    case Form::kNumber:
      if (const auto number = Parse<std::int64_t>(text)) value.value = *number;
      break;
    case Form::kReal:
      if (const auto number = Parse<double>(text)) value.value = *number;
      break;
    case Form::kText:
      value.value = Valid(text.substr(1, text.size() - 2));
      break;
    case Form::kList:
      if (const auto numbers = ParseList(text)) {
        if (numbers->size() == 1)
          value.value = numbers->front();
        else
          value.value = *numbers;
      }
      break;
  }
  return value;
}

std::vector<std::string> NamesOf(const std::vector<Question>& questions) {
  std::vector<std::string> names;
  names.reserve(questions.size());
  for (const Question& question : questions) names.push_back(question.Name());
  return names;
}

bool IsComplete(const RunResult& result) {
  return result.report.GetReading().isWhole || result.ending.kind == Ending::Kind::kSpared;
}

Stream StreamOf(const Lines& lines) {
  return {lines.Dropped(), {lines.Kept().begin(), lines.Kept().end()}, lines.Unfinished().text};
}

}  // namespace

Run RunOf(const RunResult& result, const Judgement& judgement) {
  const Report& report = result.report;
  Run run;
  run.verdict = judgement.verdict;
  run.text = "The prober " + judgement.text;
  run.seconds = result.ending.seconds;
  run.end = result.ending.detail;
  if (result.ending.kind == Ending::Kind::kExited) run.exitStatus = result.ending.status;
  run.complete = IsComplete(result);
  run.asked = NamesOf(judgement.asked);
  run.notes = result.notes;
  run.standsIn = result.standsIn;
  for (const Finding& finding : report.GetReading().findings)
    if (finding.question.GetStep().scope == Scope::kRun) run.values.push_back(ValueOf(finding));
  run.output = StreamOf(report.Output());
  run.errors = StreamOf(report.Errors());
  if (!run.output.lines.empty()) run.lastLine = run.output.lines.back().text;
  return run;
}

std::vector<GPU> GPUsOf(const RunResult& result) {
  const Reading& reading = result.report.GetReading();
  std::map<std::pair<Scope, unsigned>, GPU> gpus;
  const auto gpuOf = [&](const Question& question) -> GPU& {
    GPU& gpu = gpus[{question.GetStep().scope, question.gpu}];
    gpu.interface = question.GetStep().scope == Scope::kGLGPU ? Interface::kOpenGL : Interface::kOpenCL;
    gpu.tag = question.Tag();
    gpu.complete = IsComplete(result);
    return gpu;
  };
  for (const Finding& finding : reading.findings)
    if (finding.question.GetStep().scope != Scope::kRun)
      gpuOf(finding.question).values.push_back(ValueOf(finding));
  for (const DroppedGPU& dropped : reading.dropped) {
    GPU& gpu = gpuOf(dropped.asked.front());
    gpu.failed = NamesOf(dropped.asked);
    gpu.complete = false;
  }
  std::vector<GPU> list;
  list.reserve(gpus.size());
  for (auto& [place, gpu] : gpus) list.push_back(std::move(gpu));
  return list;
}

}  // namespace gpuprowler
