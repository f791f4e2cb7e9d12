#include "verdict.h"

namespace gpuprowler {

namespace {

// The prober's own exit statuses, and kProberFailed.
constexpr int kProberUsage = 3;
constexpr int kProberNotBegun = 4;

std::vector<Question> AskedAtException(const Report& report) {
  const Reading& reading = report.GetReading();
  std::vector<Question> asked;
  // What a GPU fails doesn't end the run.
  for (const Question& question : reading.asked)
    if (!report.WasProgrammed() && question.GetStep().scope == Scope::kRun) asked.push_back(question);
  if (asked.empty())
    asked.push_back(reading.findings.empty() ? Question{0, 0} : reading.findings.back().question);
  return asked;
}

// What the prober says by a status, or null where the report shows that another has set it: the command line,
// or a driver, say.
const char* Meaning(int status, const Report& report) {
  const Reading& reading = report.GetReading();
  const bool told = report.GetFailures().most > reading.dropped.size();
  switch (status) {
    case kProberFailed:
      if (reading.isWhole)
        return told || !reading.dropped.empty() ? "a GPU failed a question and was dropped" : nullptr;
      return told ? "an exception ended the run" : nullptr;
    case kProberUsage:
      return reading.findings.empty() ? "its command line couldn't be understood" : nullptr;
    case kProberNotBegun:
      return reading.findings.empty() ? "it couldn't even begin" : nullptr;
    default:
      return nullptr;
  }
}

Judgement JudgeExit(int status, const Report& report) {
  const Reading& reading = report.GetReading();
  const std::string words = "status " + std::to_string(status);
  if (const char* const meaning = Meaning(status, report)) {
    const bool broken = status == kProberFailed && !reading.isWhole;
    return {Verdict::kFailures, "finished with failures: " + words + ", " + meaning,
            broken ? AskedAtException(report) : std::vector<Question>()};
  }
  if (reading.isWhole) return {Verdict::kFinished, status == 0 ? "finished" : "finished: " + words, {}};
  return {Verdict::kEndedEarly, "ended early: " + words + ", and its report has no end", reading.asked};
}

std::string Process(std::uint32_t id) { return id != 0 ? " (process " + std::to_string(id) + ")" : ""; }

}  // namespace

const char* VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFinished:
      return "finished";
    case Verdict::kLost:
      return "lost";
    case Verdict::kFailures:
      return "finished-with-failures";
    case Verdict::kEndedEarly:
      return "ended-early";
    case Verdict::kCrashed:
      return "crashed";
    case Verdict::kHung:
      return "hung";
    case Verdict::kInterrupted:
      return "interrupted";
    default:
      return "not-started";
  }
}

const char* BehaviourName(Behaviour behaviour) {
  constexpr const char* kNames[] = {"unknown", "sound", "failed", "ended", "crashed", "hung", "set-aside"};
  return kNames[static_cast<std::size_t>(behaviour)];
}

Judgement Judge(const Ending& ending, const Report& report) {
  const std::vector<Question>& asked = report.GetReading().asked;
  const std::string killed =
      ending.detail.empty() ? ", and couldn't be killed" + Process(ending.processId) : ", and was killed";
  switch (ending.kind) {
    case Ending::Kind::kExited:
      return JudgeExit(ending.status, report);
    case Ending::Kind::kCrashed:
      return {Verdict::kCrashed, "crashed: " + ending.detail, asked};
    case Ending::Kind::kSpared:
      if (report.GetReading().dropped.empty()) return {Verdict::kFinished, "finished without measuring", {}};
      return {Verdict::kFailures, "finished with failures: a GPU failed a question and was dropped", {}};
    case Ending::Kind::kHung:
      return {Verdict::kHung, "hung" + killed, asked};
    case Ending::Kind::kNotWanted:
      return {Verdict::kInterrupted, "was interrupted before it was started", {}};
    case Ending::Kind::kInterrupted:
      return {Verdict::kInterrupted, "was interrupted" + killed, asked};
    case Ending::Kind::kLost:
      return {Verdict::kLost, "was lost sight of: " + ending.detail, asked};
    default:
      return {Verdict::kNotStarted, "could not start: " + ending.detail, {}};
  }
}

}  // namespace gpuprowler
