#include "verdict.h"

namespace prowl {

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

Verdict JudgeExit(int status, const Report& report) {
  const Reading& reading = report.GetReading();
  const std::string words = "status " + std::to_string(status);
  if (const char* const meaning = Meaning(status, report)) {
    const bool broken = status == kProberFailed && !reading.isWhole;
    return {"finished-with-failures", "finished with failures: " + words + ", " + meaning, kStatusFailures,
            broken ? AskedAtException(report) : std::vector<Question>()};
  }
  if (reading.isWhole)
    return {"finished", status == 0 ? "finished" : "finished: " + words, kStatusFinished, {}};
  return {"ended-early", "ended early: " + words + ", and its report has no end", kStatusEndedEarly,
          reading.asked};
}

std::string Process(std::uint32_t id) { return id != 0 ? " (process " + std::to_string(id) + ")" : ""; }

}  // namespace

Verdict Judge(const Ending& ending, const Report& report) {
  const std::vector<Question>& asked = report.GetReading().asked;
  const std::string killed =
      ending.detail.empty() ? ", and couldn't be killed" + Process(ending.processId) : ", and was killed";
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
