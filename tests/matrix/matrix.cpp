// Each driver call that the prober makes, with each thing that a driver may do there: prowl must lose no
// line, find the right verdict in time and leave no process behind. One row of the table is one run.
//
//   matrix             the first and the last call of each function, each with every action
//   matrix --diagonal  the first call of each function, with one action each, in turn
#include "prowlprocess.h"
#include "report.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>

namespace {

using std::string;
using JSON = nlohmann::json;

constexpr double kHangSeconds = 1;
constexpr double kPatienceSeconds = 50;  // for what comes to an end by itself
constexpr double kKillSeconds = 10;      // what the verdict may take once the time is up
constexpr double kSlowSeconds = 0.3;

struct Call {
  Environment drivers;
  string function;
  int number;           // of the process's calls of that function, from 1
  Texts before, after;  // a sound run's lines
};

struct Action {
  string name, rule, verdict;
  bool ends;  // the process, or its progress
};

const string kNoise = "glgpu[0].Noise=1";

// The rule of "error" depends on the function, and its verdict on what the prober makes of that.
const std::vector<Action> kActions = {
    {"SIGSEGV", "segv", "crashed", true},
    {"abort", "abort", "crashed", true},
    {"hang", "hang", "hung", true},
    {"exit", "exit:0", "ended-early", true},
    {"error", "", "", false},
    {"slow", "sleep:300", "finished", false},
    {"noise", "say:" + kNoise, "finished", false},
};

Texts WithoutMarks(Texts lines) {
  const auto isMark = [](const string& line) { return line[0] == '@'; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), isMark), lines.end());
  return lines;
}

// The first and the last call of each function that isn't known yet.
std::vector<Call> CallsOn(const Environment& drivers, std::set<string>& known) {
  const Texts marked = MarkedRun(drivers);
  std::map<string, int> numbers;
  std::vector<Call> calls;
  for (auto line = marked.begin(); line != marked.end(); ++line) {
    const string function = line->substr(1);
    if (line->front() != '@' || known.count(function) > 0) continue;
    calls.push_back({drivers, function, ++numbers[function], WithoutMarks({marked.begin(), line}),
                     WithoutMarks({line, marked.end()})});
  }
  const auto isBetween = [&](const Call& call) {
    return call.number != 1 && call.number != numbers[call.function];
  };
  calls.erase(std::remove_if(calls.begin(), calls.end(), isBetween), calls.end());
  for (const auto& [function, number] : numbers) known.insert(function);
  return calls;
}

// OpenCL takes most of a run's time, and OpenGL's calls don't need it.
std::vector<Call> AllCalls() {
  std::set<string> known;
  std::vector<Call> calls = CallsOn(Drivers({{"LD_LIBRARY_PATH", BuildFile("e2e/nolibopencl")}}), known);
  const std::vector<Call> others = CallsOn(Drivers(), known);
  calls.insert(calls.end(), others.begin(), others.end());
  return calls;
}

// What the line would have answered that the call belongs to.
string QuestionOf(const Call& call) {
  for (const string& line : call.after)
    if (line.compare(0, 7, "gputag.") != 0) return line.substr(0, line.find('='));
  return "exit";
}

string Rules(const Call& call, const Action& action) {
  const string place = call.function + "@" + std::to_string(call.number) + "=";
  if (action.name == "noise") return place + action.rule + ";" + place + "warn:" + kNoise;
  if (action.name != "error") return place + action.rule;
  const string api = call.function.substr(0, 2);
  if (api == "cl") return place + "fail:-5";
  if (api == "__") return place + "ret:0";
  const bool isQuestion = call.function == "glGetError" || call.function == "eglGetError";
  if (api == "eg") return place + (isQuestion ? "ret:0x3003" : "fail:0x3003");
  return place + (isQuestion ? "ret:0x505" : "err:0x505");
}

Texts TextsOf(const JSON& stream) {
  Texts texts;
  for (const JSON& line : stream["lines"]) texts.push_back(line["text"]);
  return texts;
}

struct Run {
  JSON document;
  Outcome outcome;  // the verdict is its ending
  double bound;     // s, the prober's
  double seconds;   // to the verdict
  bool reached;     // the call was made
};

Run RunOnce(const Call& call, const Action& action, double bound) {
  Environment drivers = call.drivers;
  const string trace = drivers["RIG_TRACE"] = ScratchFile("calls");
  drivers["RIG_FAULT"] = Rules(call, action);
  std::filesystem::remove(trace);
  const auto start = std::chrono::steady_clock::now();
  const JSON document = RunProwlForJSON(drivers, {"--timeout", std::to_string(bound)});
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::ifstream file(trace);
  using Words = std::istream_iterator<string>;
  const bool reached = std::count(Words(file), Words(), call.function) >= call.number;
  Outcome outcome{TextsOf(document["stdout"]), document["stdout"]["unfinished"], "", document["verdict"]};
  for (const string& line : TextsOf(document["stderr"])) outcome.errors += line + "\n";
  return {document, outcome, bound, seconds, reached};
}

// Time that was up before the call was made proves nothing, and more of it is given.
Run RunRow(const Call& call, const Action& action) {
  if (action.verdict != "hung") return RunOnce(call, action, kPatienceSeconds);
  for (double bound = kHangSeconds;; bound = std::min(2 * bound, kPatienceSeconds)) {
    Run run = RunOnce(call, action, bound);
    if (run.reached || bound == kPatienceSeconds) return run;
  }
}

void Require(bool ok, const string& complaint) {
  if (!ok) throw std::runtime_error(complaint);
}

void RequireSame(const Outcome& actual, const Outcome& expected) {
  const auto same = Same(actual, expected);
  Require(same, same.message());
}

bool Contains(const JSON& list, const string& word) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

Texts Keys(Texts lines) {
  for (string& line : lines) line.erase(std::min(line.find('='), line.size()));
  return lines;
}

// The prober may take an error for an answer, or drop the GPU, or end. Which of these is seen in the report:
// what the first answer that isn't there belongs to has failed.
void CheckError(const Call& call, const Run& run) {
  const Texts& lines = run.outcome.lines;
  Texts sound = call.before;
  sound.insert(sound.end(), call.after.begin(), call.after.end());
  std::vector<Step> steps = StepsOf(sound);
  const auto isOfNoGPU = [&](const Step& step) {
    return (step.gpu == "glgpu[0]" && ValueOf(run.outcome, "NumGLGPUs") == "0") ||
           (step.gpu == "clgpu[0]" && ValueOf(run.outcome, "NumCLGPUs") == "0");
  };
  steps.erase(std::remove_if(steps.begin(), steps.end(), isOfNoGPU), steps.end());
  const auto failed = std::find_if(steps.begin(), steps.end(), [&](const Step& step) {
    return !step.lines.empty() && ValueOf(run.outcome, step.key) == "none";
  });

  Failures failures = NoFailure;
  string verdict = "finished";
  if (failed != steps.end()) {
    verdict = "finished-with-failures";
    const auto isOut = [&](const string& line) { return std::count(lines.begin(), lines.end(), line) > 0; };
    const auto kept = std::count_if(failed->lines.begin(), failed->lines.end(), isOut);
    failures = FailureIn(failed->key, {"failed", static_cast<std::size_t>(kept)});
    bool named = Contains(run.document["asked"], failed->key);
    for (const JSON& gpu : run.document["gpus"]) named = named || Contains(gpu["failed"], failed->key);
    Require(named, failed->key + " has failed and isn't named");
  }
  const Outcome expected = Foretell(steps, failures);
  RequireSame({Keys(lines), run.outcome.rest, "", run.outcome.ending},
              {Keys(expected.lines), "", "", verdict});
  const auto known = std::min(lines.size(), call.before.size());
  RequireSame({{lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(known)}, "", "", ""},
              {call.before, "", "", ""});
}

void CheckReport(const Call& call, const Action& action, const Run& run) {
  Outcome expected{call.before, "", "", action.verdict};
  if (action.name == "noise") {
    expected.lines.push_back(kNoise);
    expected.errors = kNoise + "\n";
  }
  if (!action.ends) expected.lines.insert(expected.lines.end(), call.after.begin(), call.after.end());
  RequireSame(run.outcome, expected);
  const JSON& asked = run.document["asked"];
  Require(action.ends ? Contains(asked, QuestionOf(call)) : asked.empty(), "asked is " + asked.dump());
}

// Each answer of the report, and nothing else, is among the findings.
void CheckFindings(const JSON& document) {
  std::size_t findings = document["run"].size();
  for (const JSON& gpu : document["gpus"]) findings += gpu["findings"].size();
  std::size_t answers = 0;
  for (const JSON& line : document["stdout"]["lines"]) {
    const bool isNoise = line["text"] == kNoise;
    const bool isSymbol = line["text"].get<string>().compare(0, 7, "gputag.") == 0;
    Require(line["kind"] == (isNoise ? "other" : isSymbol ? "symbol" : "finding"), line.dump());
    answers += line["kind"] == "finding" ? 1 : 0;
  }
  Require(findings == answers, std::to_string(findings) + " findings of " + std::to_string(answers));
}

// Throws what is wrong.
void Check(const Call& call, const Action& action, const Run& run) {
  Require(run.reached, "the call wasn't made");
  if (action.name == "error")
    CheckError(call, run);
  else
    CheckReport(call, action, run);
  CheckFindings(run.document);
  Require(run.document["notes"].empty(), run.document["notes"].dump());
  Require(run.seconds < run.bound + kKillSeconds, "the verdict came too late");
  Require(action.name != "hang" || run.seconds >= run.bound, "the verdict came too early");
  Require(action.name != "slow" || run.seconds >= kSlowSeconds, "the verdict came too early");
  // What prowl leaves behind becomes a child of this process.
  Require(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD, "a process is left");
}

// Prints the row; false if something in it is wrong.
bool Passes(const Call& call, const Action& action) {
  std::printf("%-26s %3d  %-8s", call.function.c_str(), call.number, action.name.c_str());
  try {
    const Run run = RunRow(call, action);
    std::printf("%3zu lines  %-23s%6.2f s  ", run.outcome.lines.size(), run.outcome.ending.c_str(),
                run.seconds);
    Check(call, action, run);
    std::printf("%s\n", QuestionOf(call).c_str());
    return true;
  } catch (const std::exception& wrong) {
    std::printf("WRONG: %s\n", wrong.what());
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool diagonal = argc > 1 && string(argv[1]) == "--diagonal";
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::set<string> functions;
  std::size_t rows = 0, wrong = 0;
  for (const Call& call : AllCalls()) {
    const bool isFirst = functions.insert(call.function).second;
    for (std::size_t i = 0; i < kActions.size(); ++i) {
      if (diagonal && (!isFirst || i != functions.size() % kActions.size())) continue;
      ++rows;
      wrong += Passes(call, kActions[i]) ? 0 : 1;
    }
  }
  std::printf("%zu functions, %zu rows, %zu wrong\n", functions.size(), rows, wrong);
  return wrong == 0 && rows > 0 ? 0 : 1;
}
