#include "system/deadline.h"

#include <ztutil/consoleapp.h>
#include <ztutil/consoleappaccessor.h>
#include <ztutil/fmt.h>
#include <ztutil/launchthreadtask.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

#include <boost/thread/reverse_lock.hpp>

#include <algorithm>
#include <utility>

namespace ztutil {

using consoleapp::Deadline;
using consoleapp::GetShortWaitSeconds;

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};

const char* TextOf(const std::exception* exception, const char* otherwise) {
  const char* const text = exception != nullptr ? exception->what() : nullptr;
  return text != nullptr ? text : otherwise;
}

bool IsEnd(consoleapp::State state) {
  using State = consoleapp::State;
  return state == State::Finished || state == State::Crashed || state == State::Killed;
}

std::int32_t MaskOf(consoleapp::TaskID taskID) { return 1 << static_cast<std::int32_t>(taskID); }

// Has what `action` throws, or null if that is no std::exception, handled before it goes on.
template <class Action, class Handler>
auto HandlingExceptions(Action action, Handler handler) {
  try {
    return action();
  } catch (const std::exception& e) {
    handler(&e);
    throw;
  } catch (...) {
    handler(nullptr);
    throw;
  }
}

}  // namespace

ConsoleApp::ConsoleApp() : ConsoleApp(CreateLauncher()) {}

ConsoleApp::ConsoleApp(boost::shared_ptr<Launcher> launcher) : fLauncher(std::move(launcher)) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::ConsoleApp()");
}

ConsoleApp::~ConsoleApp() {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::~ConsoleApp()");
  Reset();
}

void ConsoleApp::OnLaunching() {}

void ConsoleApp::OnRunning() {}

void ConsoleApp::OnOutputTaskBegin(OutputChannel) {}

void ConsoleApp::OnOutputTaskEnd(OutputChannel) {}

void ConsoleApp::OnFinished(std::int32_t) {}

void ConsoleApp::OnReserved() {}

void ConsoleApp::Launch(const boost::shared_ptr<ExecutionData>& executionData,
                        const LaunchParams& launchParams) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::Launch()");
  try {
    Lock lock(fMutex);
    LaunchLocked(lock, executionData, launchParams);
  } catch (...) {
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "Launch exception: calling Reset()");
    if (executionData) executionData->Clear();  // this object may have another run's record
    Reset();
    throw;
  }
}

void ConsoleApp::LaunchLocked(Lock& lock, const boost::shared_ptr<ExecutionData>& executionData,
                              const LaunchParams& launchParams) {
  if (fState != State::Idle) throw std::runtime_error("ConsoleApp: must be idle");
  SetStateLocked(lock, State::Launching);
  fHasChild = false;
  fAppStdin.reset();
  // Threads that the former run had to abandon are none of this one's.
  const auto former = fExecutionData.exchange(executionData);
  if (former != nullptr && former != executionData) former->Clear();
  fLaunchParams = launchParams;
  fLauncherThread.Start(LaunchThreadTask(executionData, fLauncher, launchParams));
  HandlingExceptions([&] { GetStateLocked(lock, GetShortWaitSeconds()); },
                     [&](const std::exception* exception) {
                       LaunchHandleException(lock, GetShortWaitSeconds(), exception);
                     });
}

void ConsoleApp::LaunchHandleException(Lock& lock, double joinWaitSeconds, const std::exception* exception) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2,
               "ConsoleApp::LaunchHandleException exc=" << TextOf(exception, "?")
                                                        << " joinWaitSEconds=" << joinWaitSeconds);
  const bool joined = JoinLauncherThread(lock, joinWaitSeconds);
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "fLauncherThread.TimedJoin returns " << FmtBool(joined));
}

void ConsoleApp::Reset() {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::Reset");
  // Not under the lock, for which a blocked write can keep us waiting: the run is cut off from now on.
  if (const auto executionData = fExecutionData.load()) executionData->Clear();
  Lock lock(fMutex);
  if (fLauncherThread.GetThread() != nullptr) {
    try {
      if (!JoinLauncherThread(lock, GetShortWaitSeconds())) {
        ZT_LOG_LEVEL(gConsoleAppLog, 1, "ConsoleApp::Reset abandon fLauncherThread");
        fLauncherThread.Abandon();
      }
    } catch (...) {  // what remains has to be reset all the same
    }
  }
  SetStateLocked(lock, State::Idle);
  fExitCode = 0;
  fAppStdin.reset();
  fExecutionData.store({});
  fFailures.clear();
}

// Gives the launch thread time to end, without the lock, which it needs.
bool ConsoleApp::JoinLauncherThread(Lock& lock, double seconds) {
  const boost::reverse_lock<Lock> unlocked(lock);
  return fLauncherThread.TimedJoin(seconds);
}

consoleapp::State ConsoleApp::GetState(double maxWaitSeconds) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::GetState maxWaitSeconds=" << maxWaitSeconds);
  Lock lock(fMutex);
  const State state = GetStateLocked(lock, maxWaitSeconds);
  ZT_LOG_LEVEL(gConsoleAppLog, 3, "ConsoleApp::GetState returns " << state);
  return state;
}

consoleapp::State ConsoleApp::GetStateLocked(Lock& lock, double maxWaitSeconds) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::GetStateLocked maxWaitSeconds=" << maxWaitSeconds);
  const Deadline deadline(maxWaitSeconds);
  for (int nloops = 0;; ++nloops) {
    ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::GetStateLocked nloops=" << nloops << " fState=" << fState);
    ThrowIfFailurePendingLocked(lock);
    if (IsStableState(fState)) return fState;
    const double remaining = deadline.Remaining();
    ZT_LOG_LEVEL(gConsoleAppLog, 2, "timed_wait for " << remaining);
    const bool timedOut = !WaitFor(fCond, lock, remaining);
    ZT_LOG_LEVEL(gConsoleAppLog, 2,
                 "timed_wait returns, timeout=" << FmtBool(timedOut) << ", fState=" << fState);
    // What came while the lock was being taken again must not be lost: an end isn't told twice.
    if (!timedOut || IsStableState(fState) || !fFailures.empty()) continue;
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "ConsoleApp::GetStateLocked timeout, fState=" << fState);
    SetStateLocked(lock, State::Timeout);
    return State::Timeout;
  }
}

void ConsoleApp::SetState(State state) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::SetState state=" << state);
  Lock lock(fMutex);
  SetStateLocked(lock, state);
}

void ConsoleApp::SetStateLocked(Lock&, State state) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "SetStateLocked state=" << state);
  fState = state;
  fCond.notify_all();
}

consoleapp::State ConsoleApp::Wait(std::int32_t* exitCode, double maxWaitSeconds) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::Wait() maxWaitSeconds=" << maxWaitSeconds);
  const Deadline deadline(maxWaitSeconds);
  State result = State::Timeout;
  try {
    Lock lock(fMutex);
    result = WaitForEndLocked(lock, deadline);
  } catch (...) {
    Reset();
    throw;
  }
  if (IsEnd(result)) {
    const double joinSeconds = std::min(deadline.Remaining(), GetShortWaitSeconds());
    ZT_LOG_LEVEL(gConsoleAppLog, 3, "ConsoleApp::Wait fLauncherThread.TimedJoin(" << joinSeconds << ")");
    if (fLauncherThread.TimedJoin(joinSeconds)) {
      SetState(State::Idle);
      if (exitCode != nullptr) *exitCode = fExitCode;
    } else {
      ZT_LOG_LEVEL(gConsoleAppLog, 1, "ConsoleApp::Wait fLauncherThread never finished");
      fLauncherThread.Abandon();
      Reset();
      result = State::Timeout;
    }
  }
  ThrowIfFailurePending();
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::Wait returns " << result);
  return result;
}

// Gives the child's end, or Idle, or Timeout.
consoleapp::State ConsoleApp::WaitForEndLocked(Lock& lock, const Deadline& deadline) {
  for (;;) {
    const State state = HandlingExceptions(
        [&] { return GetStateLocked(lock, deadline.Remaining()); },
        [&](const std::exception* exception) { HandleWaitException(lock, deadline, exception); });
    if (IsEnd(state) || state == State::Idle) return state;
    const double remaining = deadline.Remaining();
    ZT_LOG_LEVEL(gConsoleAppLog, 1,
                 "ConsoleApp::Wait fState=" << fState << " fCond.timed_wait waitSeconds=" << remaining);
    if (!WaitFor(fCond, lock, remaining)) {
      ZT_LOG_LEVEL(gConsoleAppLog, 1, "ConsoleApp::Wait Wait timed out");
      return State::Timeout;
    }
  }
}

void ConsoleApp::HandleWaitException(Lock& lock, const Deadline& deadline, const std::exception* exception) {
  const double waitSeconds = deadline.Remaining();
  ZT_LOG_LEVEL(gConsoleAppLog, 1,
               "ConsoleApp::HandleWaitException exc=" << TextOf(exception, "?") << " waitSeconds="
                                                      << waitSeconds << " fState=" << fState);
  if (fLauncherThread.GetThread() == nullptr) return;
  if (fState == State::Timeout) {
    fLauncherThread.Abandon();
    return;
  }
  ZT_LOG_LEVEL(gConsoleAppLog, 1, "TimedJoin(" << waitSeconds << ")");
  const bool joined = JoinLauncherThread(lock, waitSeconds);
  ZT_LOG_LEVEL(gConsoleAppLog, 1, "fLauncherThread.TimedJoin timeout=" << FmtBool(!joined));
  if (joined) return;
  ZT_LOG_LEVEL(gConsoleAppLog, 1, "abandon fLauncherThread");
  fLauncherThread.Abandon();
}

void ConsoleApp::Kill() {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::Kill()");
  Lock lock(fMutex);
  const State state = GetStateLocked(lock, GetShortWaitSeconds());
  if (state != State::Running && state != State::Timeout) return;
  SetStateLocked(lock, State::Killing);
  ThrowIfInjectedLocked(lock, TaskID::Client, Fault::LauncherKill, "LauncherKill");
  // The launcher's last child would be that of an earlier run, which was left alone.
  if (!fHasChild) throw std::runtime_error("TerminateProcess failed");
  fLauncher->Kill();
}

std::int32_t ConsoleApp::GetTasksRunning() const {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::GetTasksRunning");
  std::int32_t result = fLauncherThread.GetThread() != nullptr ? MaskOf(TaskID::Launcher) : 0;
  if (const auto executionData = fExecutionData.load()) {
    for (const OutputChannel channel : {TaskID::Stdout, TaskID::Stderr}) {
      const auto task = executionData->GetOutputTask(channel);
      if (task != nullptr && task->IsRunning(0.0)) result |= MaskOf(channel);
    }
  }
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "GetTasksRunning result=" << result);
  return result;
}

void ConsoleApp::WriteAppStdin(const void* bytes, std::size_t count) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::WriteAppStdin nbytes=" << count);
  const Lock lock(fMutex);
  if (fAppStdin == nullptr) throw std::runtime_error("ztutil::Channel not open");
  fAppStdin->Write(bytes, count);
  fAppStdin->RequireOpen();
  fAppStdin->Flush();
}

void ConsoleApp::WritelnAppStdin(const char* text) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2,
                     "ConsoleApp::WritelnAppStdin(const char*) str=" << (text != nullptr ? text : "<NULL>"));
  if (text == nullptr) throw std::invalid_argument("ConsoleApp::WritelnAppStdin str=nullptr");
  WritelnAppStdin(std::string(text));
}

void ConsoleApp::WritelnAppStdin(const std::string& text) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::WritelnAppStdin(const std::string&) str=" << text);
  const std::string line = text + '\n';
  WriteAppStdin(line.data(), line.size());
}

void ConsoleApp::CloseAppStdin() {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::CloseAppStdin()");
  const Lock lock(fMutex);
  if (fAppStdin != nullptr) fAppStdin->CloseIfOpen();
  fAppStdin.reset();
}

// The record is compared under the lock: a straggler may have come here before its run was cut off.
consoleapp::Lock ConsoleApp::LockForReport(TaskID caller, Record record) {
  Lock lock(fMutex);
  if (record != nullptr && record->GetConsoleApp().get() != this) throw Exception(caller, "no console app");
  return lock;
}

void ConsoleApp::ThrowIfFailurePending(Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::ThrowIfFailurePending");
  Lock lock = LockForReport(TaskID::Undefined, record);
  ThrowIfFailurePendingLocked(lock);
}

void ConsoleApp::ThrowIfFailurePendingLocked(Lock&) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::ThrowIfFailurePendingLocked numFailures=" << fFailures.size());
  if (fFailures.empty()) return;
  const Exception failure = fFailures.front();
  fFailures.pop_front();
  fCond.notify_all();
  ZT_LOG_LEVEL(gConsoleAppLog, 3, "ThrowIfFailurePendingLocked throwing exc=" << failure.what());
  throw Exception(failure);
}

void ConsoleApp::ThrowIfInjected(TaskID caller, Fault fault, const char* message, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::ThrowIfInjected");
  Lock lock = LockForReport(caller, record);
  ThrowIfInjectedLocked(lock, caller, fault, message);
}

void ConsoleApp::ThrowIfInjectedLocked(Lock&, TaskID caller, Fault fault, const char* message) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "ConsoleApp::ThrowIfInjectedLocked");
  Fault armed = fault;
  if (!fInjectedFault.compare_exchange_strong(armed, Fault::NoFault)) return;
  ZT_LOG_LEVEL(gConsoleAppLog, 2,
               "ConsoleApp::ThrowIfInjectedLocked throwing, caller="
                   << caller << " fault=" << fault << " msg=" << (message != nullptr ? message : "<NULL>"));
  throw Exception(caller, message);
}

void ConsoleApp::NotifyLaunching(Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyLaunching()");
  {
    Lock lock = LockForReport(TaskID::Launcher, record);
    ThrowIfInjectedLocked(lock, TaskID::Launcher, Fault::NotifyLaunching, "NotifyLaunching");
    SetStateLocked(lock, State::Launching);
  }
  OnLaunching();
}

void ConsoleApp::NotifyLaunched(Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyLaunched()");
  Lock lock = LockForReport(TaskID::Launcher, record);
  fHasChild = true;
  ThrowIfInjectedLocked(lock, TaskID::Launcher, Fault::NotifyLaunched, "NotifyLaunched");
  SetStateLocked(lock, State::Launched);
}

void ConsoleApp::NotifyRunning(const boost::shared_ptr<Writer>& appStdin, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyRunning()");
  {
    Lock lock = LockForReport(TaskID::Launcher, record);
    ThrowIfInjectedLocked(lock, TaskID::Launcher, Fault::NotifyRunning, "NotifyRunning");
    fAppStdin = fLaunchParams.GetKeepStdinOpen() ? appStdin : nullptr;
    SetStateLocked(lock, State::Running);
  }
  OnRunning();
}

void ConsoleApp::NotifyOutputTaskBegin(OutputChannel channel, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyOutputTaskBegin channel=" << channel);
  consoleapp::TaskIndex(channel);
  ThrowIfInjected(channel, Fault::NotifyOutputTaskBegin, "NotifyOutputTaskBegin", record);
  OnOutputTaskBegin(channel);
}

void ConsoleApp::NotifyOutputTaskEnd(OutputChannel channel, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyOutputTaskEnd channel=" << channel);
  consoleapp::TaskIndex(channel);
  ThrowIfInjected(channel, Fault::NotifyOutputTaskEnd, "NotifyOutputTaskEnd", record);
  OnOutputTaskEnd(channel);
}

void ConsoleApp::NotifyFinished(TaskID caller, std::int32_t exitCode, State finalState, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "ConsoleApp::NotifyFinished()");
  {
    Lock lock = LockForReport(caller, record);
    ThrowIfInjectedLocked(lock, caller, Fault::NotifyFinished, "NotifyFinished");
    fExitCode = exitCode;
    SetStateLocked(lock, finalState);
  }
  OnFinished(exitCode);
}

void ConsoleApp::NotifyFailure(const Exception& exception, Record record) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2, "NotifyFailure: exc=" << TextOf(&exception, "Unknown exception"));
  Lock lock = LockForReport(exception.GetTaskID(), record);
  NotifyFailureLocked(lock, exception);
}

void ConsoleApp::NotifyFailureLocked(Lock&, const Exception& exception) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "NotifyFailureLocked: exc=" << exception.what());
  try {
    fFailures.push_back(exception);
  } catch (...) {
    return;
  }
  if (fFailures.size() > 1) {
    ZT_LOG_LEVEL(gConsoleAppLog, 1, "NotifyFailureLocked: fFailures.size()=" << fFailures.size());
  }
  fCond.notify_all();
}

}  // namespace ztutil
