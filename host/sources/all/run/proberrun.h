// One run of the prober, through the library.
#ifndef GPUPROWLER_PROBERRUN_H_
#define GPUPROWLER_PROBERRUN_H_

#include "report.h"
#include "verdict.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace gpuprowler {

struct RunOptions {
  std::string prober;  // a path, or a name that is looked for on PATH
  std::deque<std::string> arguments;
  double timeoutSeconds = 0;

  // Is given what the prober writes, as it comes: standard output, else standard error, each on a thread of
  // its own. As long as it takes the prober waits. May be empty.
  using PassOn = std::function<void(bool isOutput, const char* bytes, std::size_t count)>;
  PassOn passOn;

  // Called when the prober has ended: from here on passOn must not wait. May be empty.
  std::function<void()> ended;

  // Called about ten times a second while the prober runs; true ends the run. It must not wait. May be empty.
  using Tick = std::function<bool(double seconds, const Report& report)>;
  Tick tick;
};

struct RunResult {
  Ending ending;
  Report report;
  std::vector<std::string> notes;  // what went wrong beside the prober, a sentence each
  std::string standsIn;            // where a prober that hung stood: platform::WhereItStands
};

// Starts the prober and follows it to its end, which comes a few seconds behind the timeout at the latest.
// Time in which this process is stopped doesn't count, nor that in which the prober is, up to ten times the
// timeout. The prober ends with this process. Threads that couldn't be stopped may live on.
RunResult RunProber(const RunOptions& options);

}  // namespace gpuprowler

#endif  // GPUPROWLER_PROBERRUN_H_
