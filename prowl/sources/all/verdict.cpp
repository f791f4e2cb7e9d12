#include "verdict.h"

namespace prowl {

namespace {

// The prober's own exit statuses.
constexpr int kProberFailed = 2;
constexpr int kProberUsage = 3;
constexpr int kProberNotBegun = 4;

// True for a failure that the command line asked for. It comes behind the answer, and not in its place.
bool IsProgrammed(const std::string& failure) {
  return failure == "exception: Programmed throw" || failure == "exception: programmed failure";
}

std::vector<Question> AskedAtException(const Report& report) {
  const Walk& walk = report.GetWalk();
  std::vector<Question> asked;
  if (!IsProgrammed(report.LastFailure())) {
    // The last failure is the run's. What a GPU fails doesn't end the run.
    for (const Question& question : walk.Asked(report.Failures() > 0 ? report.Failures() - 1 : 0))
      if (question.GetStep().scope == Scope::kRun) asked.push_back(question);
  }
  if (asked.empty()) asked.push_back(walk.Latest().value_or(Question{0, 0}));
  return asked;
}

// What the prober says by a status, or null where the report shows that another has set it: a driver, say.
const char* Meaning(int status, const Report& report) {
  const Walk& walk = report.GetWalk();
  switch (status) {
    case kProberFailed:
      if (walk.AtEnd()) return "a GPU failed a question and was dropped";
      return report.Failures() > walk.Dropped().size() ? "an exception ended the run" : nullptr;
    case kProberUsage:
      return walk.AtEnd() || !walk.Latest() ? "its command line couldn't be understood" : nullptr;
    case kProberNotBegun:
      return walk.AtEnd() || !walk.Latest() ? "it couldn't even begin" : nullptr;
    default:
      return nullptr;
  }
}

Verdict JudgeExit(int status, const Report& report) {
  const Walk& walk = report.GetWalk();
  const std::string words = "status " + std::to_string(status);
  if (const char* const meaning = Meaning(status, report)) {
    const bool broken = status == kProberFailed && !walk.AtEnd();
    return {"finished-with-failures", "finished with failures: " + words + ", " + meaning, kStatusFailures,
            broken ? AskedAtException(report) : std::vector<Question>()};
  }
  if (walk.AtEnd()) return {"finished", status == 0 ? "finished" : "finished: " + words, kStatusFinished, {}};
  return {"ended-early", "ended early: " + words + ", and its report has no end", kStatusEndedEarly,
          walk.Asked(report.Failures())};
}

}  // namespace

Verdict Judge(const Ending& ending, const Report& report) {
  const std::vector<Question> asked = report.GetWalk().Asked(report.Failures());
  const std::string killed = ending.detail.empty() ? ", and couldn't be killed" : ", and was killed";
  switch (ending.kind) {
    case Ending::Kind::kExited:
      return JudgeExit(ending.status, report);
    case Ending::Kind::kCrashed:
      return {"crashed", "crashed: " + ending.detail, kStatusCrashed, asked};
    case Ending::Kind::kHung:
      return {"hung", "hung" + killed, kStatusHung, asked};
    case Ending::Kind::kInterrupted:
      return {"interrupted", "was interrupted" + killed, kStatusInterrupted, asked};
    case Ending::Kind::kLost:
      return {"lost", "was lost sight of: " + ending.detail, kStatusError, asked};
    default:
      return {"not-started", "could not start: " + ending.detail, kStatusNotStarted, {}};
  }
}

}  // namespace prowl
