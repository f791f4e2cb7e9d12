// A console program as a child process, its standard streams on pipes, followed from any thread: the words
// for that, and ConsoleApp, which knows how the child stands. A child that hangs or crashes costs its host
// nothing but a wait with a limit. To launch one, begin with consoleappaccessor.h.
#ifndef ZTUTIL_CONSOLEAPP_H_
#define ZTUTIL_CONSOLEAPP_H_

#include "channel.h"
#include "launcher.h"
#include "managedthread.h"

#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/atomic_shared_ptr.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>

namespace ztutil {

class OutputTask;

namespace consoleapp {

class Deadline;
class ExecutionData;

// The proof that its maker holds the lock of the object that takes it.
using Lock = boost::unique_lock<boost::mutex>;

// A party of a launch.
enum class TaskID : std::int32_t {
  Undefined = -1,
  Client = 0,    // the host's own thread
  Stdout = 1,    // the thread that reads the child's standard output, "stdout"
  Stderr = 2,    // the same for its standard error, "stderr"
  Launcher = 3,  // the thread that starts the child and waits for it
};

// Only Stdout and Stderr. What takes one throws std::runtime_error with "invalid OutputChannel" for others.
using OutputChannel = TaskID;

// Arrays of this size are indexed by a channel's number; element 0 stays empty.
constexpr std::size_t kTaskArraySize = 3;

// Where the child is.
enum class State : std::int32_t {
  Undefined = -1,  // it ended in a way that has no name
  Idle = 0,        // nothing launched, or the last run collected
  Launching = 1,
  Launched = 2,   // the process is there, its output isn't read yet
  Running = 3,    // its output is read, its standard input handed over
  Finishing = 4,  // reserved
  Finished = 5,   // it ended by itself, with an exit code
  Crashed = 6,    // it ended without one, and nobody had asked for that
  Killing = 7,    // Kill was called, the end not yet seen
  Killed = 8,     // it ended after Kill
  Timeout = 9,    // somebody looked, and waited in vain for a stable state
};

// A place at which the library can be made to fail on purpose.
enum class Fault : std::int32_t {
  NoFault = 0,
  NotifyLaunching = 1,
  NotifyLaunched = 2,
  NotifyRunning = 3,
  NotifyFinished = 4,
  NotifyOutputTaskBegin = 5,
  NotifyOutputTaskEnd = 6,
  LauncherLaunch = 7,  // just before the process is made
  LauncherWait = 8,    // just before its end is awaited
  LauncherKill = 9,    // just before it is killed, by Kill or after a failure
};

// The names above, but for "stdout" and "stderr"; of other values such as "State(10)". Streams show the same.
std::string TaskIDName(TaskID taskID);
std::string StateName(State state);
std::string FaultName(Fault fault);
std::ostream& operator<<(std::ostream& out, TaskID taskID);
std::ostream& operator<<(std::ostream& out, State state);
std::ostream& operator<<(std::ostream& out, Fault fault);

// True for Idle, Running, Finished, Crashed and Killed: where the child stays until something happens.
bool IsStableState(State state);

// The channel's place in an array of kTaskArraySize.
std::size_t TaskIndex(OutputChannel channel);

// 0 for standard output, 1 for standard error.
std::size_t OutputChannelIndex(OutputChannel channel);

// A failure of a run. The text is the party's name, ": " and the message, or "<nullptr>" in place of null.
class Exception : public std::runtime_error {
 public:
  Exception(TaskID taskID, const char* message);
  // A copy shares nothing with its original: the two may be used in different threads.
  Exception(const Exception& other);
  Exception& operator=(const Exception& other);

  // The party that raised it.
  TaskID GetTaskID() const { return fTaskID; }

 private:
  TaskID fTaskID;
};

// What to launch, and who reads what it writes.
class LaunchParams {
 public:
  LaunchParams() = default;
  LaunchParams(const std::wstring& program, const std::deque<std::string>& arguments,
               const boost::shared_ptr<OutputTask>& stdoutTask,
               const boost::shared_ptr<OutputTask>& stderrTask);

  // As Launcher::Launch takes them.
  const std::wstring& GetProgram() const { return fProgram; }
  const std::deque<std::string>& GetArguments() const { return fArguments; }

  // Whether the host writes to the child's standard input. If not, and so at first, the child sees its end as
  // soon as it runs.
  bool GetKeepStdinOpen() const { return fKeepStdinOpen; }
  void SetKeepStdinOpen(bool keep) { fKeepStdinOpen = keep; }

  // Whether the child is killed when the host's process ends, however that happens. If not, and so at first,
  // it runs on.
  bool GetEndsWithHost() const { return fEndsWithHost; }
  void SetEndsWithHost(bool ends) { fEndsWithHost = ends; }

  // What the child's environment has other than the host's. Nothing at first.
  const EnvironmentChanges& GetEnvironmentChanges() const { return fEnvironmentChanges; }
  void SetEnvironmentChanges(const EnvironmentChanges& changes) { fEnvironmentChanges = changes; }

  // The task that reads a channel, one for each: the same for both is refused at the launch. Without one
  // nobody reads, and the child writes to a broken pipe.
  boost::shared_ptr<OutputTask> GetOutputTask(OutputChannel channel) const;
  void SetOutputTask(OutputChannel channel, const boost::shared_ptr<OutputTask>& task);

 private:
  std::wstring fProgram;
  std::deque<std::string> fArguments;
  bool fKeepStdinOpen = false;
  std::array<boost::shared_ptr<OutputTask>, kTaskArraySize> fOutputTasks;
  bool fEndsWithHost = false;
  EnvironmentChanges fEnvironmentChanges;
};

// The library's bounds in seconds, each from a debug flag, asked anew at each call.

// Of each wait inside the library: "ConsoleAppShortWaitSecondsMinusOne" + 1.
double GetShortWaitSeconds();
// For hosts that have none of their own: "ConsoleAppDefaultWaitSecondsMinus10" + 10.
double GetDefaultWaitSeconds();
// Of ConsoleAppAccessor::GetState: ("ConsoleAppDefaultStateWaitSecondsTimesTenMinus1" + 1) / 10.
double GetDefaultStateWaitSeconds();

}  // namespace consoleapp

// One child at a time, and how it stands. To be derived from by who wants to be told at once: the hooks.
// Owned by a shared pointer, because the threads of a run hold on to it while they report.
//
// Threads: GetState, Kill, GetTasksRunning, GetRawEnd and the operations on standard input may be called by
// any thread at any time, also while another waits, and by hooks. Launch, Wait and Reset are for one thread
// at a time.
//
// Failures of the run's own threads are kept, and thrown as consoleapp::Exception, the oldest first, by the
// next Launch, GetState, Wait or Kill. GetState and Kill leave the object as it is. Launch and Wait leave it
// Idle, and a child that has come to Running out of its reach: alive until it or, if that was asked for, the
// host ends. Who has to be sure of the end calls Launch, then GetState until the time is up or it throws,
// then Kill, and Wait last.
//
// A thread of a run that doesn't end when it should is abandoned. A launch thread then stays as long as its
// child, an output thread as long as anybody holds the other end of its pipe. Up to then it costs a thread,
// the pipe's descriptor and the task, and what the task uses must stay; behind that some hundred bytes for
// ever.
//
// No call takes longer than its bound and the short wait, and Launch no longer than three short waits, with
// one exception: a write to the standard input of a child that doesn't read lasts until that reads or ends,
// and every other call but GetTasksRunning waits for it.
class ConsoleApp {
 public:
  using Exception = consoleapp::Exception;
  using ExecutionData = consoleapp::ExecutionData;
  using Fault = consoleapp::Fault;
  using LaunchParams = consoleapp::LaunchParams;
  using OutputChannel = consoleapp::OutputChannel;
  using State = consoleapp::State;
  using TaskID = consoleapp::TaskID;

  // Uses this platform's launcher.
  ConsoleApp();
  ConsoleApp(const ConsoleApp&) = delete;
  ConsoleApp& operator=(const ConsoleApp&) = delete;
  // Resets.
  virtual ~ConsoleApp();

 protected:
  // Hooks, empty here, each called on the thread that reports and without a lock. What one throws becomes a
  // failure of the run.
  virtual void OnLaunching();
  virtual void OnRunning();
  virtual void OnOutputTaskBegin(OutputChannel channel);
  virtual void OnOutputTaskEnd(OutputChannel channel);
  // The child has ended; its output may not have been read to the end yet.
  virtual void OnFinished(std::int32_t exitCode);
  // Reserved.
  virtual void OnReserved();

  // Uses that launcher, never null.
  explicit ConsoleApp(boost::shared_ptr<Launcher> launcher);

 public:
  // Starts a run, whose record, never null, names this object, and gives it the short wait to get going:
  // afterwards the child may be running, ended, or still on its way. Throws what the start has raised, or
  // std::runtime_error with "ConsoleApp: must be idle", and resets, in this case a run that was under way,
  // too.
  void Launch(const boost::shared_ptr<ExecutionData>& executionData, const LaunchParams& launchParams);

  // Back to Idle, whatever there was. The run's threads are cut off and given the short wait to end. A child
  // that has come to Running is left alone; one that hasn't yet is killed, as soon as there is one.
  void Reset();

  // The state, once it is stable. When it isn't within that many seconds, it becomes Timeout, until the child
  // gets on.
  State GetState(double maxWaitSeconds);

  // Waits for the child's end. Once that and all its output have come, gives Finished, Crashed or Killed and,
  // unless the pointer is null, the exit code, 0 where there is none; the object is Idle then. Timeout, and
  // no exit code, if the time was too short for the child, which can then be waited for again; or for the
  // threads that still read its output, and then the object has been reset. Idle if nothing was launched.
  State Wait(std::int32_t* exitCode, double maxWaitSeconds);

  // Asks for the end of a child that runs, or hasn't come to run within the short wait, and doesn't wait for
  // it. No error when it has ended. Throws std::runtime_error where it can't be asked, with "TerminateProcess
  // failed" when it wasn't launched yet: the state stays Killing, and it may come to run all the same.
  void Kill();

  // Which of the run's threads are at work, as the sum of their 1 << TaskID: 8 while there is a launch
  // thread, 2 and 4 while a task reads standard output and standard error.
  std::int32_t GetTasksRunning() const;

  // How the last child that was waited for has ended: see Launcher::GetRawEnd.
  std::optional<std::uint32_t> GetRawEnd() const { return fLauncher->GetRawEnd(); }

  // The child of the last launch, as the system numbers it; 0 if there is none.
  std::uint32_t GetProcessID() const { return fLauncher->GetProcessID(); }

  // Why the last launch has failed: see Launcher::GetStartError. Still there when Launch has thrown.
  std::string GetStartError() const { return fLauncher->GetStartError(); }

  // Write to the child's standard input, the latter two a text and a line feed in one piece. Throw
  // std::runtime_error: "ztutil::Channel not open" if it was closed, or there is none since the run doesn't
  // keep it or hasn't come to Running; "WriteFile failed" if the child is gone; XUnderrun if that happens
  // half-way. Null is std::invalid_argument with "ConsoleApp::WritelnAppStdin str=nullptr".
  void WriteAppStdin(const void* bytes, std::size_t count);
  void WritelnAppStdin(const char* text);
  void WritelnAppStdin(const std::string& text);

  // Lets the child see the end of its standard input.
  void CloseAppStdin();

  // Makes the named place fail once, the next time that a thread gets there, with the fault's name as
  // message. Arming replaces what was armed, and a reset disarms nothing.
  void InjectFault(Fault fault) { fInjectedFault = fault; }

  // The reports of a run's threads come through ConsoleAppAccessor, with their run's record: where that has
  // been cut off they throw consoleapp::Exception with "no console app", and nothing else happens. Without a
  // record they mean the run that is.
  using Record = const ExecutionData*;

  // Throw the oldest failure that is kept, and the armed fault if it is that one.
  void ThrowIfFailurePending(Record record = nullptr);
  void ThrowIfInjected(TaskID caller, Fault fault, const char* message, Record record = nullptr);

  void NotifyLaunching(Record record = nullptr);
  void NotifyLaunched(Record record = nullptr);
  void NotifyRunning(const boost::shared_ptr<Writer>& appStdin, Record record = nullptr);
  void NotifyOutputTaskBegin(OutputChannel channel, Record record = nullptr);
  void NotifyOutputTaskEnd(OutputChannel channel, Record record = nullptr);
  void NotifyFinished(TaskID caller, std::int32_t exitCode, State finalState, Record record = nullptr);
  void NotifyFailure(const Exception& exception, Record record = nullptr);

 private:
  using Lock = consoleapp::Lock;

  Lock LockForReport(TaskID caller, Record record);

  State GetStateLocked(Lock& lock, double maxWaitSeconds);
  void SetState(State state);
  void SetStateLocked(Lock& lock, State state);
  void NotifyFailureLocked(Lock& lock, const Exception& exception);
  void ThrowIfFailurePendingLocked(Lock& lock);
  void ThrowIfInjectedLocked(Lock& lock, TaskID caller, Fault fault, const char* message);

  void LaunchLocked(Lock& lock, const boost::shared_ptr<ExecutionData>& executionData,
                    const LaunchParams& launchParams);
  State WaitForEndLocked(Lock& lock, const consoleapp::Deadline& deadline);

  // Give the launch thread time to end; the first abandons it where that isn't enough. The exception is null
  // if it is no std::exception.
  void HandleWaitException(Lock& lock, const consoleapp::Deadline& deadline, const std::exception* exception);
  void LaunchHandleException(Lock& lock, double joinWaitSeconds, const std::exception* exception);
  bool JoinLauncherThread(Lock& lock, double seconds);

  // Guards what follows, but for atomics and the launch thread's own state. Never held across a hook, or a
  // wait for another thread; the launcher's and the loggers' locks are taken after it.
  boost::mutex fMutex;
  // Notified when the state changes, and when a failure comes or goes.
  boost::condition_variable fCond;
  State fState = State::Idle;
  bool fHasChild = false;  // the run's child was launched
  std::int32_t fExitCode = 0;
  std::atomic<Fault> fInjectedFault{Fault::NoFault};
  const boost::shared_ptr<Launcher> fLauncher;
  ManagedThread fLauncherThread{"Launcher"};
  boost::shared_ptr<Writer> fAppStdin;
  LaunchParams fLaunchParams;
  // Written under fMutex, read also without.
  boost::atomic_shared_ptr<ExecutionData> fExecutionData;
  std::deque<Exception> fFailures;
};

}  // namespace ztutil

#endif  // ZTUTIL_CONSOLEAPP_H_
