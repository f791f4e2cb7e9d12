// All that a prober has written, as it comes in.
#ifndef PROWL_REPORT_H_
#define PROWL_REPORT_H_

#include "lines.h"
#include "walk.h"

#include <cstddef>
#include <string>
#include <vector>

namespace prowl {

struct Finding {
  Question question;
  std::string value;  // what stands behind the equals sign
};

// Takes the prober's bytes. One thread at a time. What it needs of memory is bounded.
class Report {
 public:
  // Standard output and standard error, that many seconds after the prober's start.
  void TakeOutput(const char* bytes, std::size_t count, double seconds);
  void TakeErrors(const char* bytes, std::size_t count, double seconds);

  const Lines& Output() const { return fOutput; }
  const Lines& Errors() const { return fErrors; }
  const Walk& GetWalk() const { return fWalk; }

  // In their order. A text with line ends in it is whole.
  const std::vector<Finding>& Findings() const { return fFindings; }

  // What the prober has told of failures on standard error: how many there were, and the last.
  std::size_t Failures() const { return fFailures; }
  const std::string& LastFailure() const { return fLastFailure; }

 private:
  LineKind ReadOutputLine(const std::string& line);
  LineKind ReadErrorLine(const std::string& line);

  Lines fOutput;
  Lines fErrors;
  Walk fWalk;
  std::vector<Finding> fFindings;
  bool fTextOpen = false;  // the last finding's text has no end yet
  std::size_t fFailures = 0;
  std::string fLastFailure;
};

}  // namespace prowl

#endif  // PROWL_REPORT_H_
