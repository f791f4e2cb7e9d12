// One run of the prober, through the library.
#ifndef PROWL_PROBERRUN_H_
#define PROWL_PROBERRUN_H_

#include "report.h"
#include "verdict.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace prowl {

struct RunOptions {
  std::string prober;  // a path, or a name that is looked for on PATH
  std::deque<std::string> arguments;
  double timeoutSeconds = 0;

  // Is given what the prober writes, as it comes: standard output, else standard error, each on a thread of
  // its own. May be empty.
  using PassOn = std::function<void(bool isOutput, const char* bytes, std::size_t count)>;
  PassOn passOn;

  // Called about ten times a second while the prober runs; true ends the run. May be empty.
  using Tick = std::function<bool(double seconds, const Report& report)>;
  Tick tick;
};

struct RunResult {
  Ending ending;
  Report report;
  std::vector<std::string> notes;  // what went wrong beside the prober, a sentence each
};

// Starts the prober and follows it to its end, which comes a few seconds behind the timeout at the latest.
// Threads that couldn't be stopped may live on.
RunResult RunProber(const RunOptions& options);

}  // namespace prowl

#endif  // PROWL_PROBERRUN_H_
