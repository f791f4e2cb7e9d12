// What a host uses to launch a child: ConsoleAppLauncher starts a console program with its standard streams
// on pipes, waits for it with a limit, and kills it. What the child writes goes to the host's OutputTasks.
//
//   auto report = boost::make_shared<MyReader>();  // an OutputTask
//   ConsoleAppLauncher launcher(LaunchParams(L"/usr/bin/gpuprowler", {}, report, nullptr),
//                               boost::make_shared<ConsoleApp>());
//   std::int32_t exitCode = 0;
//   State state = launcher.LaunchAndWait(&exitCode, 30.0);
//   if (state == State::Timeout && launcher.GetState() != State::Idle) {
//     launcher.Kill();
//     state = launcher.Wait(&exitCode, 5.0);
//   }
//
// Its base, ConsoleAppAccessor, is how the parties of a launch reach each other without owning each other.
#ifndef ZTUTIL_CONSOLEAPPACCESSOR_H_
#define ZTUTIL_CONSOLEAPPACCESSOR_H_

#include "consoleapp.h"

#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/atomic_shared_ptr.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/weak_ptr.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ztutil {

namespace consoleapp {

// The record of a run, which all its parties share: who its ConsoleApp and its tasks are, as long as they are
// there. Any thread may call anything.
class ExecutionData {
 public:
  ExecutionData(const boost::weak_ptr<ConsoleApp>& consoleApp, const boost::weak_ptr<OutputTask>& stdoutTask,
                const boost::weak_ptr<OutputTask>& stderrTask);
  ExecutionData(const ExecutionData&) = delete;
  ExecutionData& operator=(const ExecutionData&) = delete;

  // Null once it is gone, or has cut the run off.
  boost::shared_ptr<ConsoleApp> GetConsoleApp() const;

  // Null if there is none.
  boost::shared_ptr<OutputTask> GetOutputTask(OutputChannel channel) const;
  void SetOutputTask(OutputChannel channel, const boost::shared_ptr<OutputTask>& task);

  // Forgets the ConsoleApp and the tasks.
  void Clear();

 private:
  // Guards the others; a leaf.
  mutable boost::mutex fMutex;
  boost::weak_ptr<ConsoleApp> fConsoleApp;
  std::array<boost::weak_ptr<OutputTask>, kTaskArraySize> fOutputTasks;
};

}  // namespace consoleapp

// A party of a run, and its way to the run's ConsoleApp, which it may outlive. Operations without a comment
// are the ConsoleApp's. Where the way ends, consoleapp::Exception of this party is thrown: "no ExecutionData"
// without a run, "no console app" when the ConsoleApp is gone or has been reset.
class ConsoleAppAccessor {
 public:
  using Exception = consoleapp::Exception;
  using ExecutionData = consoleapp::ExecutionData;
  using Fault = consoleapp::Fault;
  using LaunchParams = consoleapp::LaunchParams;
  using Lock = consoleapp::Lock;
  using OutputChannel = consoleapp::OutputChannel;
  using State = consoleapp::State;
  using TaskID = consoleapp::TaskID;

  // Throws std::runtime_error with "ConsoleAppAccessor::CopyIfValid invalid TaskID" for a value without a
  // name.
  ConsoleAppAccessor(TaskID taskID, const boost::shared_ptr<ExecutionData>& executionData);
  ConsoleAppAccessor(const ConsoleAppAccessor& other);
  ConsoleAppAccessor& operator=(const ConsoleAppAccessor& other);
  virtual ~ConsoleAppAccessor();

  bool HasExecutionData() const { return fExecutionData.load() != nullptr; }
  boost::shared_ptr<ExecutionData> GetExecutionData() const;

  // Null instead of "no console app" if that is allowed. The ConsoleApp lives at least as long as what is
  // given here.
  boost::shared_ptr<ConsoleApp> GetConsoleApp(bool allowNull) const;
  // For the launch thread alone: others are std::runtime_error with "ConsoleAppAccessor::GetConsoleAppFor
  // wrong TaskID".
  boost::shared_ptr<ConsoleApp> GetConsoleAppFor() const;
  // Unless the condition holds, std::runtime_error with "ConsoleAppAccessor::GetConsoleAppIf condition not
  // ok".
  boost::shared_ptr<ConsoleApp> GetConsoleAppIf(bool condition) const;

  // Throws consoleapp::Exception with "no output task".
  boost::shared_ptr<OutputTask> GetOutputTask(OutputChannel channel) const;

  // The reports: the first four by GetConsoleAppFor, the next two by GetConsoleAppIf, for a party that is a
  // channel.
  void NotifyLaunching();
  void NotifyLaunched();
  void NotifyRunning(const boost::shared_ptr<Writer>& appStdin);
  void NotifyFinished(std::int32_t exitCode, State finalState);
  void NotifyOutputTaskBegin();
  void NotifyOutputTaskEnd();
  // A failure that can't be told is said in the log, and lost.
  void NotifyFailure(const Exception& exception) noexcept;

  void ThrowIfFailurePending();
  void ThrowIfInjected(Fault fault, const char* message);
  void InjectFault(Fault fault);
  // Without a ConsoleApp std::runtime_error with "ConsoleAppLauncher: no ConsoleApp".
  static void InjectFault(const boost::shared_ptr<ConsoleApp>& consoleApp, Fault fault);

  // With this party's record.
  void Launch(const LaunchParams& launchParams);
  State Wait(std::int32_t* exitCode, double maxWaitSeconds);
  void Kill();
  // Forgets the run, too.
  void Reset();
  // Within GetDefaultStateWaitSeconds; Idle without a run or a ConsoleApp.
  State GetState();
  // 0 without a run or a ConsoleApp.
  std::int32_t GetTasksRunning() const;

  void WriteAppStdin(const void* bytes, std::size_t count);
  void WritelnAppStdin(const char* text);
  void WritelnAppStdin(const std::string& text);
  void CloseAppStdin();

  // Such as "1a2c(app.Launcher)": the calling thread's id, and this party.
  std::string MakeThreadName() const;

 protected:
  static TaskID CopyIfValid(TaskID taskID);

  // Guards copying, and what subclasses put under it.
  mutable boost::mutex fMutex;
  // For subclasses.
  boost::condition_variable fCond;
  std::atomic<TaskID> fTaskID;
  boost::atomic_shared_ptr<ExecutionData> fExecutionData;

 private:
  bool IsOutputChannel() const;
};

// Launches one run after another with a ConsoleApp and parameters that it keeps. It counts as launched from
// Launch until Wait gives anything but Timeout, or throws. It does so behind a Launch that has thrown, too:
// then GetState forgets the run, while Reset throws "no console app". Threads as ConsoleApp; what is set and
// copied is one thread's.
class ConsoleAppLauncher : public ConsoleAppAccessor {
 public:
  ConsoleAppLauncher(const LaunchParams& launchParams, const boost::shared_ptr<ConsoleApp>& consoleApp);
  // Neither may be launched: std::runtime_error with "ConsoleAppLauncher::SetLaunchParams: already launched"
  // for the source, and with "ConsoleAppLauncher: can't assign while running" for the destination.
  ConsoleAppLauncher(const ConsoleAppLauncher& other);
  ConsoleAppLauncher& operator=(const ConsoleAppLauncher& other);
  ~ConsoleAppLauncher() override;

 protected:
  virtual void DoSetConsoleApp(const boost::shared_ptr<ConsoleApp>& consoleApp);
  virtual void DoSetLaunchParams(const LaunchParams& launchParams);
  virtual LaunchParams DoGetLaunchParams() const;
  virtual void DoLaunch();
  virtual State DoWait(std::int32_t* exitCode, double maxWaitSeconds);
  virtual void DoKill();

 public:
  // Setting throws std::runtime_error with "ConsoleAppLauncher::SetConsoleApp: already launched" and
  // "ConsoleAppLauncher::SetLaunchParams: already launched".
  void SetConsoleApp(const boost::shared_ptr<ConsoleApp>& consoleApp);
  boost::shared_ptr<ConsoleApp> GetConsoleApp() const { return fConsoleApp; }
  void SetLaunchParams(const LaunchParams& launchParams);
  LaunchParams GetLaunchParams() const { return DoGetLaunchParams(); }

  // Throw std::runtime_error with "ConsoleAppLauncher::Launch: already launched", which costs a run that is
  // under way nothing, or "ConsoleAppLauncher: no ConsoleApp"; else as ConsoleApp.
  void Launch();
  State LaunchAndWait(std::int32_t* exitCode, double maxWaitSeconds);

  // Idle if nothing was launched.
  State Wait(std::int32_t* exitCode, double maxWaitSeconds);
  void Kill();

  // Needs no run: the fault may be armed before Launch. Throws as the static form.
  void InjectFault(Fault fault);

 private:
  void RequireLaunchable() const;
  void AssignLocked(const ConsoleAppLauncher& other);

  boost::shared_ptr<ConsoleApp> fConsoleApp;
  LaunchParams fLaunchParams;
};

}  // namespace ztutil

#endif  // ZTUTIL_CONSOLEAPPACCESSOR_H_
