// What the thread does that ConsoleApp makes for each launch. A host has no need of it.
#ifndef ZTUTIL_LAUNCHTHREADTASK_H_
#define ZTUTIL_LAUNCHTHREADTASK_H_

#include "consoleappaccessor.h"
#include "launcher.h"
#include "managedthread.h"

#include <boost/shared_ptr.hpp>

#include <array>
#include <cstdint>

namespace ztutil {

// The life of one child, from its making to its end and the end of its output. It reports to the run's
// ConsoleApp, and nothing leaves it. The only one that waits without a bound, for the child.
class LaunchThreadTask : public ConsoleAppAccessor {
 public:
  LaunchThreadTask(const boost::shared_ptr<ExecutionData>& executionData,
                   const boost::shared_ptr<Launcher>& launcher, const LaunchParams& launchParams);

  void operator()();

 private:
  // The threads that read the child's output, by TaskID; the first is none.
  using OutputThreads = std::array<ManagedThread, consoleapp::kTaskArraySize>;

  // `mustKill` tells, also when it throws, whether there is a child that nobody has waited for.
  void RunChild(OutputThreads& threads, bool& mustKill);
  void StartOutput(OutputChannel channel, const LaunchResult& launched, ManagedThread& thread);
  void CleanupLaunchThreadTask(bool mustKill, OutputThreads& threads);
  void KillChild();
  void Fire(Fault fault, const char* message);

  boost::shared_ptr<Launcher> fLauncher;
  LaunchParams fLaunchParams;
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHTHREADTASK_H_
