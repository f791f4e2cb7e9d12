#include "tell/printable.h"

#include <ztutil/version.h>

#include <gpuprowler/answer.h>
#include <gpuprowler/compare.h>
#include <gpuprowler/gpuprowler.h>
#include <gpuprowler/rules.h>

#include <charconv>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using gpuprowler::Answer;
using gpuprowler::Comparison;
using gpuprowler::Decision;
using gpuprowler::GPU;

namespace {

// A form of what is told, made when it is first wanted.
template <class Told>
class Form {
 public:
  using Make = std::string (*)(const Told&);
  explicit Form(Make make) : fMake(make) {}

  const char* Of(const Told& told) const {
    const std::lock_guard<std::mutex> lock(fMutex);
    if (!fText) fText = fMake(told);
    return fText->c_str();
  }

 private:
  const Make fMake;
  mutable std::mutex fMutex;
  mutable std::optional<std::string> fText;
};

}  // namespace

struct gpuprowler_request {
  gpuprowler::Request request;
  bool isWhole = true;  // no setting was lost for want of memory
};

struct gpuprowler_answer {
  const Answer told;
  const Form<Answer> text{[](const Answer& answer) { return AsText(answer, true); }};
  const Form<Answer> json{[](const Answer& answer) { return AsJSON(answer); }};
};

struct gpuprowler_rules {
  gpuprowler::Rules rules;
  std::vector<std::string> errors;
};

struct gpuprowler_decision {
  const Decision told;
  const Form<Decision> text{[](const Decision& decision) { return AsText(decision); }};
  const Form<Decision> json{[](const Decision& decision) { return AsJSON(decision); }};
};

struct gpuprowler_comparison {
  const Comparison told;
  const Form<Comparison> text{[](const Comparison& comparison) { return AsText(comparison); }};
  const Form<Comparison> json{[](const Comparison& comparison) { return AsJSON(comparison); }};
};

namespace {

// No exception leaves the library: one gives a zero or a null.
template <class Call>
auto Guarded(const Call& call) noexcept -> decltype(call()) {
  try {
    return call();
  } catch (...) {
    return {};
  }
}

template <class Change>
void Set(gpuprowler_request* request, const Change& change) noexcept {
  if (!request) return;
  try {
    change(request->request);
  } catch (...) {
    request->isWhole = false;
  }
}

// File names and the system's words need not be UTF-8. What drivers say has been repaired.
void Repair(std::string& text) { text = gpuprowler::Valid(text); }

gpuprowler_answer* Give(Answer&& answer) {
  Repair(answer.text);
  for (gpuprowler::Reason& reason : answer.reasons) Repair(reason.text);
  for (gpuprowler::Adapter& adapter : answer.adapters) Repair(adapter.name);
  for (gpuprowler::Driver& driver : answer.drivers) Repair(driver.manifest);
  return new gpuprowler_answer{std::move(answer)};
}

Answer NotStarted(const std::string& why) {
  Answer answer;
  answer.text = "The prober could not start: " + why;
  return answer;
}

template <class Owner, class Told>
const char* TextOf(const Owner* owner, const Form<Told> Owner::*form) {
  const char* const text = Guarded([&] { return owner ? (owner->*form).Of(owner->told) : nullptr; });
  return text ? text : "";
}

// 1 if nothing is wrong with what is added.
template <class Add>
int AddTo(gpuprowler_rules* rules, const Add& add) {
  return Guarded([&] {
    if (!rules) return 0;
    const bool isSound = add(rules->rules);
    while (rules->errors.size() < rules->rules.GetErrors().size())
      rules->errors.push_back(AsText(rules->rules.GetErrors()[rules->errors.size()]));
    return isSound ? 1 : 0;
  });
}

const GPU* GPUOf(const gpuprowler_answer* answer, std::size_t gpu) {
  return answer && gpu < answer->told.gpus.size() ? &answer->told.gpus[gpu] : nullptr;
}

template <class Type>
const Type* Find(const gpuprowler_answer* answer, std::size_t gpu, const char* key) {
  const GPU* const asked = GPUOf(answer, gpu);
  if (!asked || !key) return nullptr;
  for (const gpuprowler::Value& value : asked->values)
    if (value.key == key) return std::get_if<Type>(&value.value);
  return nullptr;
}

template <class Type, class Result>
int Found(const Type* found, Result* value) {
  if (found && value) *value = *found;
  return found ? 1 : 0;
}

// What a GPU has of texts beside its values; null if there is none of that name.
const char* OwnText(const Answer& answer, const GPU& gpu, std::string_view key) {
  if (key == "interface") return gpu.interface == gpuprowler::Interface::kOpenGL ? "OpenGL" : "OpenCL";
  if (key == "tag") return gpu.tag.c_str();
  if (key == "driver" && gpu.driver) return answer.drivers[*gpu.driver].manifest.c_str();
  if (key == "adapter" && gpu.adapter) return answer.adapters[*gpu.adapter].name.c_str();
  return nullptr;
}

}  // namespace

extern "C" {

const char* gpuprowler_version(void) { return ztutil::kVersion; }

gpuprowler_request* gpuprowler_request_new(void) {
  return Guarded([] {
    auto request = std::make_unique<gpuprowler_request>();
    request->request.cancellation = std::make_shared<gpuprowler::Cancellation>();
    return request.release();
  });
}

void gpuprowler_request_free(gpuprowler_request* request) { delete request; }

void gpuprowler_set_prober(gpuprowler_request* request, const char* prober) {
  Set(request, [&](gpuprowler::Request& changed) { changed.prober = prober ? prober : ""; });
}

void gpuprowler_add_argument(gpuprowler_request* request, const char* argument) {
  if (argument) Set(request, [&](gpuprowler::Request& changed) { changed.arguments.emplace_back(argument); });
}

void gpuprowler_set_seconds(gpuprowler_request* request, double seconds) {
  if (seconds > 0) Set(request, [&](gpuprowler::Request& changed) { changed.seconds = seconds; });
}

void gpuprowler_set_question_seconds(gpuprowler_request* request, double seconds) {
  if (seconds >= 0) Set(request, [&](gpuprowler::Request& changed) { changed.questionSeconds = seconds; });
}

void gpuprowler_set_options(gpuprowler_request* request, unsigned options) {
  Set(request, [&](gpuprowler::Request& changed) {
    changed.measure = (options & GPUPROWLER_NO_MEASURE) == 0;
    changed.isolate = (options & GPUPROWLER_NO_ISOLATE) == 0;
    changed.fresh = (options & GPUPROWLER_FRESH) != 0;
  });
}

void gpuprowler_set_memory(gpuprowler_request* request, const char* folder) {
  Set(request, [&](gpuprowler::Request& changed) {
    changed.memoryFolder = folder ? folder : "";
    changed.remember = folder != nullptr;
  });
}

void gpuprowler_set_event(gpuprowler_request* request, gpuprowler_on_event on_event, void* context) {
  Set(request, [&](gpuprowler::Request& changed) {
    changed.event = nullptr;
    if (!on_event) return;
    changed.event = [on_event, context](const gpuprowler::Event& event) {
      const std::string line = event.line ? gpuprowler::Valid(event.line->text) : "";
      const gpuprowler_event told = {static_cast<int>(event.kind),
                                     event.run,
                                     event.seconds,
                                     event.isOutput,
                                     event.line ? line.c_str() : nullptr,
                                     event.question.c_str()};
      on_event(context, &told);
    };
  });
}

gpuprowler_answer* gpuprowler_ask(const gpuprowler_request* request) {
  return Guarded([&] {
    if (!request) return Give(NotStarted("there is no request"));
    if (!request->isWhole) return Give(NotStarted("there was no memory for the request"));
    return Give(Ask(request->request));
  });
}

gpuprowler_answer* gpuprowler_look(void) {
  return Guarded([] { return Give(gpuprowler::Look()); });
}

void gpuprowler_cancel(gpuprowler_request* request) {
  Set(request, [](gpuprowler::Request& cancelled) { cancelled.cancellation->Cancel(); });
}

void gpuprowler_answer_free(gpuprowler_answer* answer) { delete answer; }

int gpuprowler_verdict(const gpuprowler_answer* answer) {
  return answer ? static_cast<int>(answer->told.verdict) : GPUPROWLER_NOT_STARTED;
}

const char* gpuprowler_sentence(const gpuprowler_answer* answer) {
  return answer ? answer->told.text.c_str() : "The prober could not start: there was no memory";
}

const char* gpuprowler_text(const gpuprowler_answer* answer) {
  return TextOf(answer, &gpuprowler_answer::text);
}

const char* gpuprowler_json(const gpuprowler_answer* answer) {
  return TextOf(answer, &gpuprowler_answer::json);
}

int gpuprowler_remembered(const gpuprowler_answer* answer) {
  return answer && answer->told.remembered ? 1 : 0;
}

int gpuprowler_reason(const gpuprowler_answer* answer, size_t reason, const char** code, const char** text) {
  if (!answer || reason >= answer->told.reasons.size()) return 0;
  const gpuprowler::Reason& found = answer->told.reasons[reason];
  if (code) *code = found.code.c_str();
  if (text) *text = found.text.c_str();
  return 1;
}

size_t gpuprowler_gpu_count(const gpuprowler_answer* answer) { return answer ? answer->told.gpus.size() : 0; }

int gpuprowler_gpu_text(const gpuprowler_answer* answer, size_t gpu, const char* key, const char** value) {
  const char* text = nullptr;
  if (const GPU* const asked = GPUOf(answer, gpu); asked && key) text = OwnText(answer->told, *asked, key);
  if (const auto* const found = Find<std::string>(answer, gpu, key)) text = found->c_str();
  return text ? Found(&text, value) : 0;
}

int gpuprowler_gpu_integer(const gpuprowler_answer* answer, size_t gpu, const char* key, int64_t* value) {
  return Found(Find<std::int64_t>(answer, gpu, key), value);
}

int gpuprowler_gpu_flag(const gpuprowler_answer* answer, size_t gpu, const char* key, int* value) {
  const GPU* const asked = GPUOf(answer, gpu);
  if (asked && key && key == std::string_view("software")) return Found(&asked->software, value);
  if (asked && key && key == std::string_view("complete")) return Found(&asked->complete, value);
  return Found(Find<bool>(answer, gpu, key), value);
}

int gpuprowler_gpu_real(const gpuprowler_answer* answer, size_t gpu, const char* key, double* value) {
  if (const auto* const text = Find<std::string>(answer, gpu, key)) {
    double number = 0;
    const char* const end = text->data() + text->size();
    const auto [behind, error] = std::from_chars(text->data(), end, number);
    return error == std::errc() && behind == end ? Found(&number, value) : 0;
  }
  if (const auto* const number = Find<std::int64_t>(answer, gpu, key)) {
    const auto real = static_cast<double>(*number);
    return Found(&real, value);
  }
  return Found(Find<double>(answer, gpu, key), value);
}

gpuprowler_answer* gpuprowler_read(const char* document) {
  return Guarded([&]() -> gpuprowler_answer* {
    auto answer = gpuprowler::AnswerOf(document ? document : "");
    return answer ? Give(std::move(*answer)) : nullptr;
  });
}

gpuprowler_rules* gpuprowler_rules_new(void) {
  return Guarded([] { return new gpuprowler_rules; });
}

void gpuprowler_rules_free(gpuprowler_rules* rules) { delete rules; }

int gpuprowler_rules_add(gpuprowler_rules* rules, const char* name, const char* text) {
  return AddTo(rules, [&](gpuprowler::Rules& to) { return to.Add(name ? name : "", text ? text : ""); });
}

int gpuprowler_rules_require(gpuprowler_rules* rules, const char* expression) {
  return AddTo(rules, [&](gpuprowler::Rules& to) { return to.Require(expression ? expression : ""); });
}

int gpuprowler_rules_error(const gpuprowler_rules* rules, size_t error, const char** text) {
  if (!rules || error >= rules->errors.size()) return 0;
  const char* const found = rules->errors[error].c_str();
  return Found(&found, text);
}

gpuprowler_decision* gpuprowler_check(const gpuprowler_rules* rules, const gpuprowler_answer* answer,
                                      const char* feature) {
  return Guarded([&]() -> gpuprowler_decision* {
    if (!rules || !answer) return nullptr;
    std::vector<std::string> features;
    if (feature) features.emplace_back(feature);
    return new gpuprowler_decision{Check(rules->rules, answer->told, features)};
  });
}

void gpuprowler_decision_free(gpuprowler_decision* decision) { delete decision; }

int gpuprowler_decision_outcome(const gpuprowler_decision* decision) {
  return decision ? static_cast<int>(decision->told.outcome) : GPUPROWLER_WARNED;
}

int gpuprowler_decision_message(const gpuprowler_decision* decision, size_t entry, const char** message) {
  if (!decision || entry >= decision->told.entries.size()) return 0;
  const char* const found = decision->told.entries[entry].message.c_str();
  return Found(&found, message);
}

const char* gpuprowler_decision_text(const gpuprowler_decision* decision) {
  return TextOf(decision, &gpuprowler_decision::text);
}

const char* gpuprowler_decision_json(const gpuprowler_decision* decision) {
  return TextOf(decision, &gpuprowler_decision::json);
}

gpuprowler_comparison* gpuprowler_compare(const gpuprowler_answer* before, const gpuprowler_answer* after) {
  return Guarded([&]() -> gpuprowler_comparison* {
    return before && after ? new gpuprowler_comparison{Compare(before->told, after->told)} : nullptr;
  });
}

void gpuprowler_comparison_free(gpuprowler_comparison* comparison) { delete comparison; }

int gpuprowler_comparison_lost(const gpuprowler_comparison* comparison) {
  return comparison && HasLost(comparison->told) ? 1 : 0;
}

const char* gpuprowler_comparison_text(const gpuprowler_comparison* comparison) {
  return TextOf(comparison, &gpuprowler_comparison::text);
}

const char* gpuprowler_comparison_json(const gpuprowler_comparison* comparison) {
  return TextOf(comparison, &gpuprowler_comparison::json);
}

size_t gpuprowler_forget(const char* folder, const char* driver) {
  return Guarded([&] { return gpuprowler::Forget(driver ? driver : "", folder ? folder : ""); });
}

}  // extern "C"
