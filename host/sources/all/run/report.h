// All that a prober has written, as it comes in.
#ifndef GPUPROWLER_REPORT_H_
#define GPUPROWLER_REPORT_H_

#include "lines.h"
#include "walk.h"

#include <cstddef>
#include <string>

namespace gpuprowler {

// Takes the prober's bytes. One thread at a time. What it needs of memory is bounded.
class Report {
 public:
  // Standard output and standard error, that many seconds after the prober's start.
  void TakeOutput(const char* bytes, std::size_t count, double seconds);
  void TakeErrors(const char* bytes, std::size_t count, double seconds);

  // Lines are told apart by what is read from all of them: before Conclude no line of the output is a
  // finding.
  const Lines& Output() const { return fOutput; }
  const Lines& Errors() const { return fErrors; }

  // What they say by now.
  Reading Read() const { return fWalk.Read(fFailures); }

  // To be called when all has come. `failed` says that by its exit status the prober has met a failure.
  void Conclude(bool failed);
  const Reading& GetReading() const { return fReading; }

  // What the prober has told of failures on standard error; and whether the command line has asked for the
  // last, which comes behind the answer then, and not in its place.
  const Failures& GetFailures() const { return fFailures; }
  bool WasProgrammed() const;

 private:
  LineKind ReadOutputLine(const std::string& line);
  LineKind ReadErrorLine(const std::string& line);

  Lines fOutput;
  Lines fErrors;
  Walk fWalk;
  Failures fFailures;
  std::string fLastFailure;
  Reading fReading;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_REPORT_H_
