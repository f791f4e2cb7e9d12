#include "tell/printable.h"

#include <ztutil/version.h>

#include <gpuprowler/answer.h>
#include <gpuprowler/compare.h>
#include <gpuprowler/gpuprowler.h>

#include <charconv>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

using gpuprowler::Answer;
using gpuprowler::GPU;

namespace {

// A form of an answer, made when it is first wanted.
class Form {
 public:
  using Make = std::string (*)(const Answer&);
  explicit Form(Make make) : fMake(make) {}

  const char* Of(const Answer& answer) const {
    std::call_once(fOnce, [&] { fText = fMake(answer); });
    return fText.c_str();
  }

 private:
  const Make fMake;
  mutable std::once_flag fOnce;
  mutable std::string fText;
};

}  // namespace

struct gpuprowler_request {
  gpuprowler::Request request;
  bool isWhole = true;  // no setting was lost for want of memory
};

struct gpuprowler_answer {
  const Answer answer;
  const Form text{[](const Answer& told) { return AsText(told, true); }};
  const Form json{[](const Answer& told) { return AsJSON(told); }};
};

struct gpuprowler_comparison {
  const bool hasLost;
  const std::string text, json;
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

const char* TextOf(const gpuprowler_answer* answer, const Form gpuprowler_answer::*form) {
  const char* const text = Guarded([&] { return answer ? (answer->*form).Of(answer->answer) : nullptr; });
  return text ? text : "";
}

const GPU* GPUOf(const gpuprowler_answer* answer, std::size_t gpu) {
  return answer && gpu < answer->answer.gpus.size() ? &answer->answer.gpus[gpu] : nullptr;
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
  return answer ? static_cast<int>(answer->answer.verdict) : GPUPROWLER_NOT_STARTED;
}

const char* gpuprowler_sentence(const gpuprowler_answer* answer) {
  return answer ? answer->answer.text.c_str() : "The prober could not start: there was no memory";
}

const char* gpuprowler_text(const gpuprowler_answer* answer) {
  return TextOf(answer, &gpuprowler_answer::text);
}

const char* gpuprowler_json(const gpuprowler_answer* answer) {
  return TextOf(answer, &gpuprowler_answer::json);
}

int gpuprowler_remembered(const gpuprowler_answer* answer) {
  return answer && answer->answer.remembered ? 1 : 0;
}

int gpuprowler_reason(const gpuprowler_answer* answer, size_t reason, const char** code, const char** text) {
  if (!answer || reason >= answer->answer.reasons.size()) return 0;
  const gpuprowler::Reason& found = answer->answer.reasons[reason];
  if (code) *code = found.code.c_str();
  if (text) *text = found.text.c_str();
  return 1;
}

size_t gpuprowler_gpu_count(const gpuprowler_answer* answer) {
  return answer ? answer->answer.gpus.size() : 0;
}

int gpuprowler_gpu_text(const gpuprowler_answer* answer, size_t gpu, const char* key, const char** value) {
  const char* text = nullptr;
  if (const GPU* const asked = GPUOf(answer, gpu); asked && key) text = OwnText(answer->answer, *asked, key);
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

gpuprowler_comparison* gpuprowler_compare(const char* before, const char* after) {
  return Guarded([&]() -> gpuprowler_comparison* {
    const auto was = gpuprowler::AnswerOf(before ? before : ""),
               is = gpuprowler::AnswerOf(after ? after : "");
    if (!was || !is) return nullptr;
    const gpuprowler::Comparison comparison = gpuprowler::Compare(*was, *is);
    return new gpuprowler_comparison{HasLost(comparison), AsText(comparison), AsJSON(comparison)};
  });
}

int gpuprowler_comparison_lost(const gpuprowler_comparison* comparison) {
  return comparison && comparison->hasLost ? 1 : 0;
}

const char* gpuprowler_comparison_text(const gpuprowler_comparison* comparison) {
  return comparison ? comparison->text.c_str() : "";
}

const char* gpuprowler_comparison_json(const gpuprowler_comparison* comparison) {
  return comparison ? comparison->json.c_str() : "";
}

void gpuprowler_comparison_free(gpuprowler_comparison* comparison) { delete comparison; }

size_t gpuprowler_forget(const char* folder, const char* driver) {
  return Guarded([&] { return gpuprowler::Forget(driver ? driver : "", folder ? folder : ""); });
}

}  // extern "C"
