#include "report.h"

#include <ztutil/gpuprowlerappandhost.h>

namespace prowl {

namespace {

bool BeginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

// A text isn't escaped, so that a line end in it is a line end of the report.
bool IsOpenText(const std::string& value) {
  return !value.empty() && value.front() == '"' && (value.size() == 1 || value.back() != '"');
}

}  // namespace

void Report::TakeOutput(const char* bytes, std::size_t count, double seconds) {
  fOutput.Take(bytes, count, seconds, [this](const std::string& line) { return ReadOutputLine(line); });
}

void Report::TakeErrors(const char* bytes, std::size_t count, double seconds) {
  fErrors.Take(bytes, count, seconds, [this](const std::string& line) { return ReadErrorLine(line); });
}

LineKind Report::ReadOutputLine(const std::string& line) {
  if (const auto answer = fWalk.Take(line)) {
    fFindings.push_back({answer->question, std::string(answer->value)});
    fTextOpen = IsOpenText(fFindings.back().value);
    return LineKind::kFinding;
  }
  if (BeginsWith(line, std::string(ProwlerKey::kGPUTag) + ".")) return LineKind::kSymbol;
  if (!fTextOpen) return BeginsWith(line, "# ") ? LineKind::kComment : LineKind::kOther;

  std::string& text = fFindings.back().value;
  text += "\n" + line;
  fTextOpen = text.size() < Lines::kMaxLineBytes && text.back() != '"';
  return LineKind::kFinding;
}

LineKind Report::ReadErrorLine(const std::string& line) {
  if (!BeginsWith(line, "exception: ") && !BeginsWith(line, "KGX::LogicalException: ") &&
      line != "unknown exception")
    return LineKind::kOther;
  ++fFailures;
  fLastFailure = line;
  return LineKind::kFailure;
}

}  // namespace prowl
