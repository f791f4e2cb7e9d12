// What the thread does that reads a channel of a child: it runs the host's OutputTask. A host has no need of
// it.
#ifndef ZTUTIL_LAUNCHOUTPUTTHREADTASK_H_
#define ZTUTIL_LAUNCHOUTPUTTHREADTASK_H_

#include "consoleappaccessor.h"

#include <boost/shared_ptr.hpp>

namespace ztutil {

// Runs the task of its channel and reports its begin, its end and its failure to the run's ConsoleApp.
// Nothing leaves it.
class LaunchOutputThreadTask : public ConsoleAppAccessor {
 public:
  LaunchOutputThreadTask(OutputChannel channel, const boost::shared_ptr<ExecutionData>& executionData);

  void operator()();
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHOUTPUTTHREADTASK_H_
