#include "report.h"

#include <ztutil/gpuprowlerappandhost.h>

#include <algorithm>

namespace gpuprowler {

namespace {

bool BeginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

}  // namespace

void Report::TakeOutput(const char* bytes, std::size_t count, double seconds) {
  fOutput.Take(bytes, count, seconds, [this](const std::string& line) { return ReadOutputLine(line); });
}

void Report::TakeErrors(const char* bytes, std::size_t count, double seconds) {
  fErrors.Take(bytes, count, seconds, [this](const std::string& line) { return ReadErrorLine(line); });
}

bool Report::WasProgrammed() const {
  return fLastFailure == "exception: Programmed throw" || fLastFailure == "exception: programmed failure";
}

void Report::Conclude(bool failed) {
  Failures failures = fFailures;
  // Standard error may have been lost.
  if (failed && failures.most == 0) failures.most = 2 * Walk::kMaxGPUs;
  fReading = fWalk.Read(failures);
  // What no GPU has failed has ended the run, and it came last.
  if (failed && !fReading.isWhole && fFailures.most > fReading.dropped.size()) {
    --failures.most;
    failures.least -= std::min(failures.least, std::size_t{1});
    failures.programmed = std::min(failures.programmed, failures.most);
    fReading = fWalk.Read(failures);
  }
  for (const Finding& finding : fReading.findings)
    fOutput.Mark(finding.firstLine, finding.lastLine, LineKind::kFinding);
}

LineKind Report::ReadOutputLine(const std::string& line) {
  const std::size_t before = fWalk.Bytes();
  fWalk.Take(line);
  fOutput.Charge(fWalk.Bytes() - before);
  if (BeginsWith(line, std::string(ProwlerKey::kGPUTag) + ".")) return LineKind::kSymbol;
  return BeginsWith(line, "# ") ? LineKind::kComment : LineKind::kOther;
}

// A driver may have printed something in front of the failure, or something that looks like one.
LineKind Report::ReadErrorLine(const std::string& line) {
  constexpr const char* kBeginnings[] = {"exception: ", "KGX::LogicalException: ", "unknown exception"};
  std::size_t begin = std::string::npos;
  for (const char* const beginning : kBeginnings) begin = std::min(begin, line.find(beginning));
  if (begin == std::string::npos) return LineKind::kOther;
  fLastFailure = line.substr(begin);
  ++fFailures.most;
  if (begin == 0) ++fFailures.least;
  if (WasProgrammed()) ++fFailures.programmed;
  return LineKind::kFailure;
}

}  // namespace gpuprowler
