#include "fault.h"

#include "calls.h"
#include "crash.h"
#include "settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>
#include <utility>

namespace rig {
namespace {

constexpr char kFaultVariable[] = "RIG_FAULT";
constexpr char kTraceVariable[] = "RIG_TRACE";

#define RIG_NAME(call) #call,
constexpr const char* kAllCalls[] = {"__egl_Main", "eglGetPlatformDisplay",
                                     RIG_EGL_CALLS(RIG_NAME) RIG_GL_CALLS(RIG_NAME) RIG_CL_CALLS(RIG_NAME)};
#undef RIG_NAME

enum class Action {
  kSegv,
  kAbort,
  kKill,
  kHang,
  kSpin,
  kExit,
  kSleep,
  kSay,
  kWarn,
  kRet,
  kText,
  kFail,
  kErr
};

enum class Argument { kNone, kText, kNumber };

struct ActionWord {
  const char* fWord;
  Action fAction;
  Argument fArgument;
  long long fLeast = 0;
  long long fMost = 0;
};

constexpr long long kLeastInt = std::numeric_limits<std::int32_t>::min();
constexpr long long kMostInt = std::numeric_limits<std::int32_t>::max();

constexpr ActionWord kActionWords[] = {
    {"segv", Action::kSegv, Argument::kNone},
    {"abort", Action::kAbort, Argument::kNone},
    {"kill", Action::kKill, Argument::kNone},
    {"hang", Action::kHang, Argument::kNone},
    {"spin", Action::kSpin, Argument::kNone},
    {"exit", Action::kExit, Argument::kNumber, 0, 255},
    {"sleep", Action::kSleep, Argument::kNumber, 0, kMostInt},
    {"say", Action::kSay, Argument::kText},
    {"warn", Action::kWarn, Argument::kText},
    {"ret", Action::kRet, Argument::kNumber, std::numeric_limits<long long>::min(),
     std::numeric_limits<long long>::max()},
    {"text", Action::kText, Argument::kText},
    {"fail", Action::kFail, Argument::kNumber, kLeastInt, kMostInt},
    {"err", Action::kErr, Argument::kNumber, 1, kMostInt},
};

struct Rule {
  std::string fCall;
  unsigned long fCount = 0;  // 0: every call
  Action fAction = Action::kSegv;
  long long fNumber = 0;
  std::string fText;
};

// Filled by LoadFaults and constant from then on. Never destroyed: driver threads outlive the end of main.
std::vector<Rule>& gRules = *new std::vector<Rule>;
std::string& gTraceFile = *new std::string;

thread_local std::optional<int> tEglError;
thread_local std::optional<int> tGlError;

std::optional<int>& PendingError(Api api) { return api == Api::kEgl ? tEglError : tGlError; }

bool IsKnownCall(const std::string& name) {
  return std::find(std::begin(kAllCalls), std::end(kAllCalls), name) != std::end(kAllCalls);
}

// Sets the rule's call and count from "call" or "call@n".
void ParseCall(const std::string& call, const std::string& whole, Rule* rule) {
  rule->fCall = call;
  if (const auto halves = Halve(call, '@')) {
    const auto count = ParseNumber(halves->second);
    if (!count || *count < 1) Refuse(kFaultVariable, whole, "the count behind @ must be 1 or more");
    rule->fCall = halves->first;
    rule->fCount = static_cast<unsigned long>(*count);
  }
  if (!IsKnownCall(rule->fCall)) Refuse(kFaultVariable, whole, "no wrapped function has this name");
}

// Sets the rule's action and argument from "word" or "word:argument".
void ParseAction(const std::string& action, const std::string& whole, Rule* rule) {
  const auto halves = Halve(action, ':');
  const std::string word = halves ? halves->first : action;
  const auto known = std::find_if(std::begin(kActionWords), std::end(kActionWords),
                                  [&](const ActionWord& candidate) { return word == candidate.fWord; });
  if (known == std::end(kActionWords)) Refuse(kFaultVariable, whole, "no such action");
  rule->fAction = known->fAction;
  const bool wantsArgument = known->fArgument != Argument::kNone;
  if (wantsArgument != halves.has_value())
    Refuse(kFaultVariable, whole,
           wantsArgument ? "the action needs an argument" : "the action takes no argument");
  if (known->fArgument == Argument::kText) rule->fText = halves->second;
  if (known->fArgument == Argument::kNumber) {
    const auto number = ParseNumber(halves->second);
    if (!number || *number < known->fLeast || *number > known->fMost)
      Refuse(kFaultVariable, whole, "the argument isn't a number in the action's range");
    rule->fNumber = *number;
  }
}

Rule ParseRule(const std::string& whole) {
  const auto halves = Halve(whole, '=');
  if (!halves) Refuse(kFaultVariable, whole, "a rule is call=action or call@n=action");
  Rule rule;
  ParseCall(halves->first, whole, &rule);
  ParseAction(halves->second, whole, &rule);
  return rule;
}

void CheckAction(const Rule& rule, const CallInfo& call, const std::string& whole) {
  if (rule.fAction == Action::kFail && !call.fCanFail)
    Refuse(kFaultVariable, whole, "the function has no error code to fail with; use ret");
  if (rule.fAction == Action::kErr && !call.fCanLeaveGlError)
    Refuse(kFaultVariable, whole, "the function leaves no error for glGetError");
  if (rule.fAction == Action::kText && !call.fReturnsText)
    Refuse(kFaultVariable, whole, "the function doesn't return a text");
}

// Opened for each line and closed again, since a host may close descriptors that it doesn't know and reuse
// their numbers. A trace with gaps would be taken for another sequence of calls, so that a failure ends the
// process.
void Trace(const char* name) {
  const int file = open(gTraceFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (file < 0) Refuse(kTraceVariable, gTraceFile, "can't be opened");
  if (!WriteLine(file, name)) Refuse(kTraceVariable, gTraceFile, "can't be written");
  close(file);
}

// A rule that doesn't touch the call itself gives kProceed.
Verdict Perform(const Rule& rule) {
  switch (rule.fAction) {
    case Action::kSegv:
      AccessBadAddress();
    case Action::kAbort:
      std::abort();
    case Action::kKill:
      KillProcess();
    case Action::kHang:
      SleepForEver();
    case Action::kSpin:
      SpinForEver();
    case Action::kExit:
      _exit(static_cast<int>(rule.fNumber));
    case Action::kSleep:
      std::this_thread::sleep_for(std::chrono::milliseconds(rule.fNumber));
      return {};
    case Action::kSay:
      WriteLine(STDOUT_FILENO, rule.fText);
      return {};
    case Action::kWarn:
      WriteLine(STDERR_FILENO, rule.fText);
      return {};
    case Action::kErr:
      // No wrapped call asks for errors by itself, so that the error may be left before the call as well as
      // after it.
      LeaveError(Api::kGl, static_cast<int>(rule.fNumber));
      return {};
    case Action::kRet:
      return {Verdict::Kind::kReturn, rule.fNumber, nullptr};
    case Action::kText:
      return {Verdict::Kind::kText, 0, rule.fText.c_str()};
    case Action::kFail:
      return {Verdict::Kind::kFail, rule.fNumber, nullptr};
  }
  std::abort();
}

}  // namespace

void LoadFaults(const std::vector<CallInfo>& calls) {
  gTraceFile = Setting(kTraceVariable);
  for (const std::string& text : Split(Setting(kFaultVariable), ';')) {
    Rule rule = ParseRule(text);
    for (const CallInfo& call : calls)
      if (rule.fCall == call.fName) CheckAction(rule, call, text);
    gRules.push_back(std::move(rule));
  }
}

Verdict BeforeCall(const char* name, unsigned long count) {
  if (!gTraceFile.empty()) Trace(name);
  for (const Rule& rule : gRules) {
    if (rule.fCall != name || (rule.fCount != 0 && rule.fCount != count)) continue;
    const Verdict verdict = Perform(rule);
    if (verdict.fKind != Verdict::Kind::kProceed) return verdict;
  }
  return {};
}

void LeaveError(Api api, int code) { PendingError(api) = code; }

std::optional<int> TakeError(Api api) { return std::exchange(PendingError(api), std::nullopt); }

}  // namespace rig
