// An answer as a JSON document.
#include <gpuprowler/answer.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

JSON Seconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

const char* KindName(LineKind kind) {
  switch (kind) {
    case LineKind::kFinding:
      return "finding";
    case LineKind::kSymbol:
      return "symbol";
    case LineKind::kComment:
      return "comment";
    case LineKind::kFailure:
      return "failure";
    default:
      return "other";
  }
}

JSON DocumentOf(const Stream& stream) {
  JSON lines = JSON::array();
  for (const Line& line : stream.lines) {
    lines.push_back({{"seconds", Seconds(line.seconds)}, {"kind", KindName(line.kind)}, {"text", line.text}});
    if (line.bytesCut > 0) lines.back()["bytesCut"] = line.bytesCut;
  }
  return {
      {"linesDropped", stream.linesDropped}, {"lines", std::move(lines)}, {"unfinished", stream.unfinished}};
}

JSON ValuesBy(std::string Value::*key, const std::vector<Value>& values) {
  JSON object = JSON::object();
  for (const Value& value : values)
    std::visit([&](const auto& typed) { object[value.*key] = typed; }, value.value);
  return object;
}

JSON DocumentOf(const GPU& gpu) {
  return {{"interface", gpu.interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"},
          {"tag", gpu.tag},
          {"run", gpu.run},
          {"complete", gpu.complete},
          {"failed", gpu.failed},
          {"values", ValuesBy(&Value::key, gpu.values)},
          {"report", ValuesBy(&Value::reportKey, gpu.values)}};
}

JSON DocumentOf(const Run& run) {
  JSON document = {{"verdict", VerdictName(run.verdict)},
                   {"text", run.text},
                   {"seconds", Seconds(run.seconds)},
                   {"end", run.end},
                   {"complete", run.complete},
                   {"lastLine", run.lastLine},
                   {"asked", run.asked},
                   {"notes", run.notes},
                   {"standsIn", run.standsIn},
                   {"values", ValuesBy(&Value::key, run.values)},
                   {"report", ValuesBy(&Value::reportKey, run.values)},
                   {"stdout", DocumentOf(run.output)},
                   {"stderr", DocumentOf(run.errors)}};
  if (run.exitStatus) document["exitStatus"] = *run.exitStatus;
  return document;
}

template <class Part>
JSON List(const std::vector<Part>& parts) {
  JSON list = JSON::array();
  for (const Part& part : parts) list.push_back(DocumentOf(part));
  return list;
}

}  // namespace

std::string AsJSON(const Answer& answer) {
  const JSON document = {{"schema", "gpuprowler-answer-1"},
                         {"verdict", VerdictName(answer.verdict)},
                         {"text", answer.text},
                         {"seconds", Seconds(answer.seconds)},
                         {"gpus", List(answer.gpus)},
                         {"runs", List(answer.runs)},
                         {"prober", answer.prober},
                         {"arguments", answer.arguments}};
  return document.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace gpuprowler
