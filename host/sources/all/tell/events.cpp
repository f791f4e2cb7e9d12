// What happens while Ask works, as lines of JSON.
#include <gpuprowler/answer.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

const char* KindName(Event::Kind kind) {
  switch (kind) {
    case Event::Kind::kRunBegins:
      return "run-begins";
    case Event::Kind::kLine:
      return "line";
    case Event::Kind::kQuestion:
      return "question";
    case Event::Kind::kRunEnds:
      return "run-ends";
    default:
      return "tick";
  }
}

std::string AsLine(const JSON& json) {
  return json.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace

std::string AsJSONLine(const Event& event) {
  JSON json = {{"event", KindName(event.kind)},
               {"run", event.run},
               {"seconds", std::round(event.seconds * 1e6) / 1e6}};
  if (event.line) {
    json["stream"] = event.isOutput ? "stdout" : "stderr";
    json["text"] = event.line->text;
  } else if (!event.question.empty()) {
    json["question"] = event.question;
  }
  return AsLine(json);
}

std::string AsJSONLine(const Answer& answer) {
  return AsLine({{"event", "answer"}, {"answer", JSON::parse(AsJSON(answer))}});
}

}  // namespace gpuprowler
