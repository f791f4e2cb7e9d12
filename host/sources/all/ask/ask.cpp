#include "findings.h"
#include "look/machine.h"
#include "look/reasons.h"
#include "run/runplatform.h"

#include <algorithm>
#include <utility>

namespace gpuprowler {

namespace {

Answer AnswerOf(Machine&& machine) {
  Answer answer;
  answer.adapters = std::move(machine.adapters);
  answer.drivers = std::move(machine.drivers);
  answer.reasons = std::move(machine.reasons);
  return answer;
}

}  // namespace

const Value* GPU::Find(const std::string& key) const {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const Value& value) { return value.key == key; });
  return found != values.end() ? &*found : nullptr;
}

Answer Look() { return AnswerOf(LookAtMachine()); }

Answer Ask(const Request& request) {
  Answer answer = AnswerOf(LookAtMachine());
  answer.prober = request.prober.empty() ? platform::DefaultProber() : request.prober;
  answer.arguments = request.arguments;

  RunOptions options;
  options.prober = answer.prober;
  options.arguments = request.arguments;
  options.timeoutSeconds = request.seconds;
  options.passOn = request.passOn;
  options.passedOn = request.passedOn;
  options.questionSeconds = request.questionSeconds;
  options.measure = request.measure;
  options.event = request.event;
  options.cancellation = request.cancellation;
  const RunResult result = RunProber(options);
  answer.runs.push_back(RunOf(result, Judge(result.ending, result.report)));
  answer.gpus = GPUsOf(result);
  answer.verdict = answer.runs[0].verdict;
  answer.text = answer.runs[0].text;
  answer.seconds = result.ending.seconds;
  AddReasons(answer);
  return answer;
}

}  // namespace gpuprowler
