// Driver calls of the prober, with each thing that a driver may do there: prowl must lose no line, find the
// right verdict in time and leave no process behind. One row of the table is one run.
//
//   matrix             the first call of each function, and the first for each question, with every action
//   matrix --diagonal  the same calls with one action each, in turn
//   matrix --all       each call, with every action
//   matrix --isolate   see isolate.h
#include "calls.h"
#include "isolate.h"
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

struct Action {
  string name, rule, verdict;
};

const string kNoise = "glgpu[0].Noise=1";

const std::vector<Action> kActions = {
    {"SIGSEGV", "segv", "crashed"},
    {"abort", "abort", "crashed"},
    {"hang", "hang", "hung"},
    {"exit", "exit:0", "ended-early"},
    {"error", "", ""},  // the rule depends on the function, the verdict on what the prober makes of it
    {"slow", "sleep:300", "finished"},
    {"noise", "say:" + kNoise, "finished"},
};
constexpr std::size_t kEnds = 4;  // so many of them, in front, end the process or its progress

string Rules(const Call& call, const Action& action) {
  const string place = call.function + "@" + std::to_string(call.number) + "=";
  if (action.name == "noise") return place + action.rule + ";" + place + "warn:" + kNoise;
  if (action.name != "error") return place + action.rule;
  if (call.function[0] == 'c') return place + "fail:-5";
  return place + (call.function[0] == 'g' ? "err:0x505" : "ret:0");
}

Texts TextsOf(const JSON& stream) {
  Texts texts;
  for (const JSON& line : stream["lines"]) texts.push_back(line["text"]);
  return texts;
}

struct Run {
  Environment drivers;
  JSON document;
  Outcome outcome;  // the verdict is its ending
  double bound;     // s, the prober's
  double seconds;   // to the verdict
  bool reached;     // the call was made
};

Run RunOnce(const Call& call, const Action& action, double bound) {
  const string trace = ScratchFile("calls");
  const Environment drivers = Drivers({{"RIG_FAULT", Rules(call, action)}, {"RIG_TRACE", trace}});
  std::filesystem::remove(trace);
  const auto start = std::chrono::steady_clock::now();
  const JSON document = RunProwlForJSON(drivers, {"--no-isolate", "--timeout", std::to_string(bound)});
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::ifstream file(trace);
  const bool reached = std::count(std::istream_iterator<string>(file), {}, call.function) >= call.number;
  const JSON& run = document["runs"][0];
  Outcome outcome{TextsOf(run["stdout"]), run["stdout"]["unfinished"], "", run["verdict"]};
  for (const string& line : TextsOf(run["stderr"])) outcome.errors += line + "\n";
  return {drivers, document, outcome, bound, seconds, reached};
}

// Time that was up before the call was made proves nothing, and more of it is given.
Run RunRow(const Call& call, const Action& action) {
  if (action.verdict != "hung") return RunOnce(call, action, kPatienceSeconds);
  for (double bound = kHangSeconds;; bound = std::min(2 * bound, kPatienceSeconds)) {
    Run run = RunOnce(call, action, bound);
    if (run.reached || bound == kPatienceSeconds) return run;
  }
}

void RequireSame(const Outcome& actual, const Outcome& expected) {
  const auto same = Same(actual, expected);
  Require(same, same.message());
}

bool Contains(const JSON& list, const string& word) { return std::count(list.begin(), list.end(), word) > 0; }

// The prober may take an error for an answer, or drop the GPU, or end: it's seen where it runs alone.
void CheckError(const Run& run) {
  Outcome expected = RunProber(run.drivers);
  const bool failed = expected.ending != "status 0";
  expected.ending = failed ? "finished-with-failures" : "finished";
  RequireSame(run.outcome, expected);
  if (!failed) return;
  // What the first answer that isn't there belongs to has failed.
  const Texts& sound = CleanRun().lines;
  const auto missing = std::find_if(sound.begin(), sound.end(), [&](const string& line) {
    return !IsSymbol(line) && ValueOf(expected, KeyOf(line)) == "none";
  });
  Require(missing != sound.end(), "no answer is missing");
  const string key = KeyOf(*missing);
  bool named = Contains(run.document["runs"][0]["asked"], key);
  for (const JSON& gpu : run.document["gpus"]) named = named || Contains(gpu["failed"], key);
  Require(named, key + " has failed and isn't named");
}

void CheckReport(const Call& call, const Action& action, const Run& run) {
  Outcome expected{CleanRun().lines, "", "", action.verdict};
  const auto due = expected.lines.begin() + call.due;
  const bool ends = action.verdict != "finished";
  if (ends) expected.lines.erase(due, expected.lines.end());
  if (action.name == "noise") {
    expected.lines.insert(due, kNoise);
    expected.errors = kNoise + "\n";
  }
  RequireSame(run.outcome, expected);
  const JSON& asked = run.document["runs"][0]["asked"];
  Require(ends ? Contains(asked, call.question) : asked.empty(), "asked is " + asked.dump());
}

// Throws what is wrong.
void Check(const Call& call, const Action& action, const Run& run) {
  Require(run.reached, "the call wasn't made");
  if (action.name == "error")
    CheckError(run);
  else
    CheckReport(call, action, run);
  const JSON& notes = run.document["runs"][0]["notes"];
  Require(notes.empty(), notes.dump());
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
    std::printf("%s\n", call.question.c_str());
    return true;
  } catch (const std::exception& wrong) {
    std::printf("WRONG: %s\n", wrong.what());
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const string mode = argc > 1 ? argv[1] : "";
  if (mode == "--isolate" || mode == "--isolate-part") return Isolate(mode == "--isolate") ? 0 : 1;
  const bool diagonal = mode == "--diagonal", all = mode == "--all";
  if (argc > 2 || (argc == 2 && !diagonal && !all)) {
    std::fprintf(stderr, "usage: matrix [--diagonal | --all | --isolate]\n");
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::set<string> functions;
  std::size_t rows = 0, wrong = 0;
  for (const Call& call : Calls(all)) {
    functions.insert(call.function);
    // Calls beyond the first of a function are there for the question that prowl finds.
    const std::size_t turn = rows % (call.number == 1 ? kActions.size() : kEnds);
    for (std::size_t i = 0; i < kActions.size(); ++i) {
      if (diagonal && i != turn) continue;
      ++rows;
      wrong += Passes(call, kActions[i]) ? 0 : 1;
    }
  }
  std::printf("%zu functions, %zu rows, %zu wrong\n", functions.size(), rows, wrong);
  return wrong == 0 && rows > 0 ? 0 : 1;
}
