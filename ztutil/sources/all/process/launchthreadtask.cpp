#include <ztutil/clock.h>
#include <ztutil/fmt.h>
#include <ztutil/launchoutputthreadtask.h>
#include <ztutil/launchthreadtask.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

#include <stdexcept>

namespace ztutil {

using consoleapp::GetShortWaitSeconds;

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};

// Whether it begins within the short wait. Where that took longer than it should, the host was stopped or the
// machine suspended: the task had no time either, and gets it now.
bool Begins(OutputTask& task) {
  constexpr double kMayOversleepSeconds = 0.1;
  const double bound = GetShortWaitSeconds();
  const double end = Now() + bound + kMayOversleepSeconds;
  // One that has begun may have ended by now, with a child that says nothing.
  const auto hasBegun = [&] { return task.IsRunning(bound) || task.HasStarted(); };
  return hasBegun() || (Now() > end && hasBegun());
}

// What Launcher::Wait gives as a state.
consoleapp::State FinalState(std::int32_t result) {
  using State = consoleapp::State;
  switch (result) {
    case 0:
      return State::Finished;
    case 1:
      return State::Crashed;
    case 2:
      return State::Killed;
    default:
      return State::Undefined;
  }
}

}  // namespace

LaunchThreadTask::LaunchThreadTask(const boost::shared_ptr<ExecutionData>& executionData,
                                   const boost::shared_ptr<Launcher>& launcher,
                                   const LaunchParams& launchParams)
    : ConsoleAppAccessor(TaskID::Launcher, executionData), fLauncher(launcher), fLaunchParams(launchParams) {}

void LaunchThreadTask::operator()() {
  try {
    ManagedThread::SetCurrentThreadName(MakeThreadName());
    ZT_LOG_LEVEL(gConsoleAppLog, 2, "LaunchThreadTask::operator()()");
    OutputThreads threads{ManagedThread(nullptr), ManagedThread("stdout"), ManagedThread("stderr")};
    bool mustKill = false;
    try {
      RunChild(threads, mustKill);
    } catch (const Exception& e) {
      ZT_LOG_LEVEL(gConsoleAppLog, 1, "LaunchThreadTask inner exception=" << e.what());
      NotifyFailure(e);
    } catch (const std::exception& e) {
      ZT_LOG_LEVEL(gConsoleAppLog, 1, "LaunchThreadTask inner exception=" << e.what());
      NotifyFailure(Exception(fTaskID, e.what()));
    } catch (...) {
      ZT_LOG_LEVEL(gConsoleAppLog, 1, "LaunchThreadTask inner exception=?");
      NotifyFailure(Exception(fTaskID, "LaunchThreadTask failed"));
    }
    CleanupLaunchThreadTask(mustKill, threads);
  } catch (const std::exception& e) {
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "LaunchThreadTask outer exception=" << e.what());
  } catch (...) {
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "LaunchThreadTask outer exception=?");
  }
}

void LaunchThreadTask::RunChild(OutputThreads& threads, bool& mustKill) {
  NotifyLaunching();
  ThrowIfInjected(Fault::LauncherLaunch, "LauncherLaunch");
  {
    // Lets go of the pipes before the wait: nobody else has the child's standard input if it isn't kept.
    const LaunchResult launched = fLauncher->LaunchWithEnvironment(
        fLaunchParams.GetProgram(), fLaunchParams.GetArguments(), fLaunchParams.GetEnvironmentChanges(),
        fLaunchParams.GetEndsWithHost());
    mustKill = true;
    NotifyLaunched();
    for (const OutputChannel channel : {TaskID::Stdout, TaskID::Stderr})
      StartOutput(channel, launched, threads[TaskIndex(channel)]);
    NotifyRunning(launched.fStdin);
  }
  Fire(Fault::LauncherWait, "LauncherWait");
  ZT_LOG_LEVEL(gConsoleAppLog, 3, "calling fLauncher->Wait");
  std::int32_t exitCode = 0;
  const std::int32_t result = fLauncher->Wait(&exitCode);
  mustKill = false;
  ZT_LOG_LEVEL(gConsoleAppLog, 3, "fLauncher->Wait returns " << result << " exitCode=" << exitCode);
  NotifyFinished(exitCode, FinalState(result));
}

// Has the channel read, if it has a task, and sees it begin.
void LaunchThreadTask::StartOutput(OutputChannel channel, const LaunchResult& launched,
                                   ManagedThread& thread) {
  const boost::shared_ptr<Reader>& reader = launched.fAppOutput[TaskIndex(channel)];
  ZT_LOG_LEVEL(gConsoleAppLog, 3,
               "LaunchThreadTask fAppOutput[" << channel << "]=" << reader.get()
                                              << " use_count=" << reader.use_count());
  const auto executionData = GetExecutionData();
  const auto task = fLaunchParams.GetOutputTask(channel);
  executionData->SetOutputTask(channel, task);
  if (task == nullptr) return;
  task->Configure(channel, executionData, reader);
  thread.Start(LaunchOutputThreadTask(channel, executionData));
  ZT_LOG_LEVEL(
      gConsoleAppLog, 3,
      "LaunchThreadTask OutputThreadTask spawned, use_count[" << channel << "]=" << reader.use_count());
  if (Begins(*task)) return;
  ThrowIfFailurePending();
  const std::string message = "LauncherTask: output task " + TaskIDName(channel) + " never started";
  ZT_LOG_LEVEL(gConsoleAppLog, 1, message);
  throw std::runtime_error(message);
}

void LaunchThreadTask::CleanupLaunchThreadTask(bool mustKill, OutputThreads& threads) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "LaunchThreadTask::CleanupLaunchThreadTask mustKill=" << FmtBool(mustKill));
  if (mustKill) {
    try {
      KillChild();
    } catch (...) {  // the output is to be joined all the same
    }
  }
  for (const OutputChannel channel : {TaskID::Stdout, TaskID::Stderr}) {
    ManagedThread& thread = threads[TaskIndex(channel)];
    if (thread.GetThread() == nullptr) continue;
    const double maxWait = GetShortWaitSeconds();
    ZT_LOG_LEVEL(
        gConsoleAppLog, 2,
        "CleanupLaunchThreadTask: joining output task thread for " << channel << " maxWait=" << maxWait);
    if (thread.TimedJoin(maxWait)) continue;
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "CleanupLaunchThreadTask: giving up waiting for output task " << channel);
    thread.Abandon();
    NotifyFailure(Exception(fTaskID, "output task thread abandoned"));
  }
}

// Where a run goes on though it has been cut off: then there is no fault to fire.
void LaunchThreadTask::Fire(Fault fault, const char* message) {
  try {
    ThrowIfInjected(fault, message);
  } catch (const Exception&) {
    if (GetConsoleApp(true) != nullptr) throw;
  }
}

void LaunchThreadTask::KillChild() {
  Fire(Fault::LauncherKill, "LauncherKill");
  ZT_LOG_LEVEL(gConsoleAppLog, 1, "CleanupLaunchThreadTask: calling fLauncher->Kill()");
  fLauncher->Kill();
  fLauncher->GiveUp();
}

}  // namespace ztutil
