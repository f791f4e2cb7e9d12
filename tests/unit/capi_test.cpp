// The C interface: what goes in, what comes out, and several threads at once. The prober is the rig's child.
#include "fullreport.h"
#include "ownhome.h"
#include "testchild.h"

#include <ztutil/clock.h>

#include <boost/filesystem.hpp>
#include <gpuprowler/answer.h>
#include <gpuprowler/gpuprowler.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

extern "C" int AskWithNulls(void);

namespace {

using std::string;

using RequestPtr = std::unique_ptr<gpuprowler_request, decltype(&gpuprowler_request_free)>;
using AnswerPtr = std::unique_ptr<gpuprowler_answer, decltype(&gpuprowler_answer_free)>;

RequestPtr RequestFor(std::initializer_list<const char*> actions) {
  RequestPtr request(gpuprowler_request_new(), gpuprowler_request_free);
  gpuprowler_set_prober(request.get(), boost::filesystem::path(TestChild()).string().c_str());
  for (const char* const action : actions) gpuprowler_add_argument(request.get(), action);
  gpuprowler_set_memory(request.get(), nullptr);
  gpuprowler_set_options(request.get(), GPUPROWLER_NO_ISOLATE);
  return request;
}

AnswerPtr Ask(const RequestPtr& request) { return {gpuprowler_ask(request.get()), gpuprowler_answer_free}; }

TEST(CInterfaceTest, TakesNulls) { EXPECT_EQ(AskWithNulls(), 0); }

// In lines of what came; of the report's, how many.
struct Told {
  string events;
  int lines = 0;
};

void Tell(void* context, const gpuprowler_event* event) {
  Told& told = *static_cast<Told*>(context);
  if (event->kind == GPUPROWLER_RUN_BEGINS) told.events += "begins ";
  if (event->kind == GPUPROWLER_QUESTION) told.events += event->question + string(" ");
  if (event->kind == GPUPROWLER_LINE && event->is_output) ++told.lines;
  if (event->kind == GPUPROWLER_RUN_ENDS) told.events += event->seconds < 0.3 ? "early" : "ends";
}

// With an apostrophe in it an argument's double quotes arrive on Windows too.
TEST(CInterfaceTest, GivesWhatWasFound) {
  RequestPtr request = RequestFor(
      {"say:Tester=\"Zentara\"\nprowlerStart=\"\"\nKGXCoreInitialized=1\nKGXOGLInitialized="
       "1\nOGLContextCreated=1\n"
       "NumGLGPUs=1\nglgpu[0].GLVersion=\"4.1\"\nglgpu[0].IsIntegratedGLGPU=1\nglgpu[0].GLMemoryMB=512\n"
       "glgpu[0].GLName=\"4a'\"",
       "sleep:300"});
  Told told;
  gpuprowler_set_event(request.get(), Tell, &told);
  gpuprowler_set_seconds(request.get(), -1);  // says nothing
  const AnswerPtr answer = Ask(request);
  request.reset();

  EXPECT_EQ(told.events.substr(0, 7) + told.events.substr(told.events.size() - 5), "begins  ends")
      << told.events;
  EXPECT_EQ(told.lines, 10);
  EXPECT_EQ(gpuprowler_verdict(answer.get()), GPUPROWLER_ENDED_EARLY);
  EXPECT_EQ(nlohmann::json::parse(gpuprowler_json(answer.get()))["text"], gpuprowler_sentence(answer.get()));
  EXPECT_NE(string(gpuprowler_text(answer.get())).find("Findings of glgpu[0]"), string::npos);
  ASSERT_EQ(gpuprowler_gpu_count(answer.get()), 1u);

  const AnswerPtr read(gpuprowler_read(gpuprowler_json(answer.get())), gpuprowler_answer_free);
  EXPECT_STREQ(gpuprowler_json(read.get()), gpuprowler_json(answer.get()));
  const std::unique_ptr<gpuprowler_rules, decltype(&gpuprowler_rules_free)> rules(gpuprowler_rules_new(),
                                                                                  gpuprowler_rules_free);
  EXPECT_EQ(gpuprowler_rules_add(rules.get(), "r",
                                 R"({"entries": [{"id": 1, "features": ["f"], "message": "No."}, {}]})"),
            0);
  const char* told_of = nullptr;
  EXPECT_EQ(gpuprowler_rules_error(rules.get(), 0, &told_of), 1);
  EXPECT_STREQ(told_of, "r, entry at place 2, id: is missing");
  const std::unique_ptr<gpuprowler_decision, decltype(&gpuprowler_decision_free)> decision(
      gpuprowler_check(rules.get(), read.get(), "f"), gpuprowler_decision_free);
  EXPECT_EQ(gpuprowler_decision_outcome(decision.get()), GPUPROWLER_BLOCKED);
  EXPECT_STREQ(gpuprowler_decision_text(decision.get()), "f: blocked by r 1\n\nr 1: \n  No.\n");
  gpuprowler_decision* const all = gpuprowler_check(rules.get(), read.get(), nullptr);
  EXPECT_STREQ(gpuprowler_decision_text(all), gpuprowler_decision_text(decision.get()));
  gpuprowler_decision_free(all);
  EXPECT_EQ(gpuprowler_rules_require(rules.get(), "GLVersion>=4"), 1);
  EXPECT_EQ(gpuprowler_decision_message(decision.get(), 0, &told_of), 1);
  EXPECT_STREQ(told_of, "No.");
  EXPECT_EQ(nlohmann::json::parse(gpuprowler_decision_json(decision.get()))["outcome"], "blocked");

  // "text integer real flag", each where it is found.
  const auto found = [&](std::size_t gpu, const char* key) {
    const char* text = "-";
    std::int64_t integer = -1;
    double real = -1;
    int flag = -1;
    gpuprowler_gpu_text(answer.get(), gpu, key, &text);
    gpuprowler_gpu_integer(answer.get(), gpu, key, &integer);
    gpuprowler_gpu_real(answer.get(), gpu, key, &real);
    gpuprowler_gpu_flag(answer.get(), gpu, key, &flag);
    return text + (" " + std::to_string(integer)) + " " + std::to_string(real).substr(0, 4) + " " +
           std::to_string(flag);
  };
  const struct {
    std::size_t gpu;
    const char *key, *found;
  } rows[] = {
      {0, "glVersion", "4.1 -1 4.10 -1"},
      {0, "glMemoryMB", "- 512 512. -1"},
      {0, "isIntegratedGLGPU", "- -1 -1.0 1"},
      {0, "glName", "4a' -1 -1.0 -1"},
      {0, "interface", "OpenGL -1 -1.0 -1"},
      {0, "tag", "glgpu[0] -1 -1.0 -1"},
      {0, "complete", "- -1 -1.0 0"},
      {0, "adapter", "- -1 -1.0 -1"},
      {0, "glRenderer", "- -1 -1.0 -1"},
      {1, "glVersion", "- -1 -1.0 -1"},
      {1, "tag", "- -1 -1.0 -1"},
      {1, "complete", "- -1 -1.0 -1"},
      {0, nullptr, "- -1 -1.0 -1"},
  };
  for (const auto& row : rows) EXPECT_EQ(found(row.gpu, row.key), row.found) << (row.key ? row.key : "null");

  string less = gpuprowler_json(answer.get());
  less.replace(less.find("\"4.1\""), 5, "\"3.3\"");
  const AnswerPtr other(gpuprowler_read(less.c_str()), gpuprowler_answer_free);
  gpuprowler_comparison* const comparison = gpuprowler_compare(answer.get(), other.get());
  EXPECT_TRUE(gpuprowler_comparison_lost(comparison));
  EXPECT_EQ(gpuprowler_comparison_text(comparison),
            string("Lost\n  gpu OpenGL glgpu[0], 4a': glVersion: 4.1 -> 3.3\n"));
  EXPECT_EQ(nlohmann::json::parse(gpuprowler_comparison_json(comparison))["changes"][0]["key"], "glVersion");
  gpuprowler_comparison_free(comparison);
}

TEST(CInterfaceTest, NamesWhatAnAnswerKnows) {
  gpuprowler::Answer known;
  known.runs.resize(1);
  known.adapters.emplace_back().name = "card";
  known.drivers.resize(1);
  known.drivers[0].manifest = "manifest";
  known.gpus.resize(1);
  known.gpus[0].adapter = known.gpus[0].driver = 0;
  known.reasons = {{"a", "A.", {}, {}}, {"b", "B.", {}, {}}};
  const AnswerPtr answer(gpuprowler_read(AsJSON(known).c_str()), gpuprowler_answer_free);
  const char *driver = "", *adapter = "", *code = "", *text = "";
  EXPECT_EQ(gpuprowler_gpu_text(answer.get(), 0, "driver", &driver), 1);
  EXPECT_EQ(gpuprowler_gpu_text(answer.get(), 0, "adapter", &adapter), 1);
  EXPECT_EQ(gpuprowler_reason(answer.get(), 1, &code, &text), 1);
  EXPECT_EQ(gpuprowler_reason(answer.get(), 2, &text, &code), 0);
  EXPECT_EQ(driver + string(adapter) + code + text, "manifestcardbB.");
}

// One behind the other.
TEST(CInterfaceTest, DoesWhatIsSet) {
  const string memory = OwnHome() + "/memory";
  const string report = "half:#'\n" + Until("clgpu[0].CUDASup", FullReport(0, 1));  // ' for Windows' quoting
  const RequestPtr request = RequestFor({report.c_str(), "hang"});
  gpuprowler_set_memory(request.get(), memory.c_str());
  gpuprowler_set_event(request.get(), Tell, nullptr);
  gpuprowler_set_event(request.get(), nullptr, nullptr);  // nobody is called
  gpuprowler_set_question_seconds(request.get(), 20);
  gpuprowler_set_seconds(request.get(), 3);
  string told;
  for (const unsigned options : {1u, 1u, 1u | GPUPROWLER_FRESH, 0u}) {
    gpuprowler_set_options(request.get(), GPUPROWLER_NO_ISOLATE | options);
    const AnswerPtr answer = Ask(request);
    told +=
        std::to_string(gpuprowler_verdict(answer.get())) + (gpuprowler_remembered(answer.get()) ? "!" : " ");
  }
  EXPECT_EQ(told, "0 0!0 5 ");
  EXPECT_EQ(gpuprowler_forget(memory.c_str(), nullptr), 0u);
  EXPECT_EQ(gpuprowler_remembered(Ask(request).get()), 0);
}

// One request, asked with by eight threads, is cancelled while callbacks take their time.
TEST(CInterfaceTest, EndsAtOnceWhenCancelled) {
  std::mt19937 random(std::random_device{}());
  for (int i = 0; i < 10; ++i) {
    const RequestPtr request = RequestFor({"say:x", "hang"});
    const auto slow = [](void*, const gpuprowler_event*) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    gpuprowler_set_event(request.get(), slow, nullptr);
    const double start = ztutil::Now();
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int j = 0; j < 8; ++j)
      threads.emplace_back(
          [&] { EXPECT_EQ(gpuprowler_verdict(Ask(request).get()), GPUPROWLER_INTERRUPTED); });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
    gpuprowler_cancel(request.get());
    for (std::thread& thread : threads) thread.join();
    EXPECT_LT(ztutil::Now() - start, 15);
  }
}

}  // namespace
