// One run of the prober, through the library.
#ifndef GPUPROWLER_PROBERRUN_H_
#define GPUPROWLER_PROBERRUN_H_

#include "report.h"
#include "verdict.h"

#include <ztutil/launcher.h>

#include <gpuprowler/answer.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace gpuprowler {

struct RunOptions {
  std::string prober;  // a path, or a name that is looked for on PATH
  std::deque<std::string> arguments;
  ztutil::EnvironmentChanges environment;
  double timeoutSeconds = 0;
  double questionSeconds = 0;  // as the next four, as Request has them
  bool measure = true;
  std::function<void(bool isOutput, const char* bytes, std::size_t count)> passOn;
  std::function<void()> passedOn;
  std::shared_ptr<Cancellation> cancellation;
  std::function<void(const Event&)> event;  // `run` stays 0
};

struct RunResult {
  Ending ending;
  Report report;
  std::vector<std::string> notes;  // what went wrong beside the prober, a sentence each
  double counted = 0;              // seconds of the timeout
  bool wasTimeUp = false;          // it had to be killed for the timeout, not for a question
  std::string standsIn;            // where a prober that hung stood: platform::WhereItStands
};

// Starts the prober and follows it to its end, which comes a few seconds behind the timeout at the latest.
// Time in which this process is stopped doesn't count, nor that in which the prober is, up to ten times the
// timeout. The prober ends with this process. Threads that couldn't be stopped may live on.
RunResult RunProber(const RunOptions& options);

}  // namespace gpuprowler

#endif  // GPUPROWLER_PROBERRUN_H_
