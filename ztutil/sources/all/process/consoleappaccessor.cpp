#include <ztutil/consoleappaccessor.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>
#include <boost/thread/thread.hpp>

#include <stdexcept>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};

constexpr char kNoConsoleApp[] = "ConsoleAppLauncher: no ConsoleApp";

}  // namespace

namespace consoleapp {

ExecutionData::ExecutionData(const boost::weak_ptr<ConsoleApp>& consoleApp,
                             const boost::weak_ptr<OutputTask>& stdoutTask,
                             const boost::weak_ptr<OutputTask>& stderrTask)
    : fConsoleApp(consoleApp), fOutputTasks{boost::weak_ptr<OutputTask>(), stdoutTask, stderrTask} {}

boost::shared_ptr<ConsoleApp> ExecutionData::GetConsoleApp() const {
  const Lock lock(fMutex);
  return fConsoleApp.lock();
}

boost::shared_ptr<OutputTask> ExecutionData::GetOutputTask(OutputChannel channel) const {
  const Lock lock(fMutex);
  return fOutputTasks[TaskIndex(channel)].lock();
}

void ExecutionData::SetOutputTask(OutputChannel channel, const boost::shared_ptr<OutputTask>& task) {
  const Lock lock(fMutex);
  fOutputTasks[TaskIndex(channel)] = task;
}

void ExecutionData::Clear() {
  const Lock lock(fMutex);
  fConsoleApp.reset();
  for (auto& task : fOutputTasks) task.reset();
}

}  // namespace consoleapp

ConsoleAppAccessor::ConsoleAppAccessor(TaskID taskID, const boost::shared_ptr<ExecutionData>& executionData)
    : fTaskID(CopyIfValid(taskID)), fExecutionData(executionData) {}

ConsoleAppAccessor::ConsoleAppAccessor(const ConsoleAppAccessor& other)
    : ConsoleAppAccessor(TaskID::Undefined, nullptr) {
  *this = other;
}

ConsoleAppAccessor& ConsoleAppAccessor::operator=(const ConsoleAppAccessor& other) {
  if (this == &other) return *this;
  const Lock lock(other.fMutex);
  fTaskID = other.fTaskID.load();
  fExecutionData.store(other.fExecutionData.load());
  return *this;
}

ConsoleAppAccessor::~ConsoleAppAccessor() = default;

consoleapp::TaskID ConsoleAppAccessor::CopyIfValid(TaskID taskID) {
  if (taskID < TaskID::Undefined || taskID > TaskID::Launcher)
    throw std::runtime_error("ConsoleAppAccessor::CopyIfValid invalid TaskID");
  return taskID;
}

boost::shared_ptr<consoleapp::ExecutionData> ConsoleAppAccessor::GetExecutionData() const {
  auto executionData = fExecutionData.load();
  if (executionData == nullptr) throw Exception(fTaskID, "no ExecutionData");
  return executionData;
}

boost::shared_ptr<ConsoleApp> ConsoleAppAccessor::GetConsoleApp(bool allowNull) const {
  auto consoleApp = GetExecutionData()->GetConsoleApp();
  if (consoleApp == nullptr && !allowNull) throw Exception(fTaskID, "no console app");
  return consoleApp;
}

boost::shared_ptr<ConsoleApp> ConsoleAppAccessor::GetConsoleAppFor() const {
  if (fTaskID != TaskID::Launcher)
    throw std::runtime_error("ConsoleAppAccessor::GetConsoleAppFor wrong TaskID");
  return GetConsoleApp(false);
}

boost::shared_ptr<ConsoleApp> ConsoleAppAccessor::GetConsoleAppIf(bool condition) const {
  if (!condition) throw std::runtime_error("ConsoleAppAccessor::GetConsoleAppIf condition not ok");
  return GetConsoleApp(false);
}

boost::shared_ptr<OutputTask> ConsoleAppAccessor::GetOutputTask(OutputChannel channel) const {
  auto task = GetExecutionData()->GetOutputTask(channel);
  if (task == nullptr) throw Exception(fTaskID, "no output task");
  return task;
}

bool ConsoleAppAccessor::IsOutputChannel() const {
  return fTaskID == TaskID::Stdout || fTaskID == TaskID::Stderr;
}

void ConsoleAppAccessor::NotifyLaunching() { GetConsoleAppFor()->NotifyLaunching(GetExecutionData().get()); }

void ConsoleAppAccessor::NotifyLaunched() { GetConsoleAppFor()->NotifyLaunched(GetExecutionData().get()); }

void ConsoleAppAccessor::NotifyRunning(const boost::shared_ptr<Writer>& appStdin) {
  GetConsoleAppFor()->NotifyRunning(appStdin, GetExecutionData().get());
}

void ConsoleAppAccessor::NotifyFinished(std::int32_t exitCode, State finalState) {
  GetConsoleAppFor()->NotifyFinished(fTaskID, exitCode, finalState, GetExecutionData().get());
}

void ConsoleAppAccessor::NotifyOutputTaskBegin() {
  GetConsoleAppIf(IsOutputChannel())->NotifyOutputTaskBegin(fTaskID, GetExecutionData().get());
}

void ConsoleAppAccessor::NotifyOutputTaskEnd() {
  GetConsoleAppIf(IsOutputChannel())->NotifyOutputTaskEnd(fTaskID, GetExecutionData().get());
}

void ConsoleAppAccessor::NotifyFailure(const Exception& exception) noexcept {
  const auto text = [&] { return exception.what() != nullptr ? exception.what() : "Unknown exception"; };
  try {
    GetConsoleApp(false)->NotifyFailure(exception, GetExecutionData().get());
  } catch (const std::exception& e) {
    ZT_LOG_LEVEL(
        gConsoleAppLog, 1,
        "ConsoleAppAccessor::NotifyFailure exc=" << text() << " could not notify app because " << e.what());
  } catch (...) {
    ZT_LOG_LEVEL(gConsoleAppLog, 1,
                 "ConsoleAppAccessor::NotifyFailure exc="
                     << text() << " could not notify app because of unknown exception");
  }
}

void ConsoleAppAccessor::ThrowIfFailurePending() {
  GetConsoleApp(false)->ThrowIfFailurePending(GetExecutionData().get());
}

void ConsoleAppAccessor::ThrowIfInjected(Fault fault, const char* message) {
  GetConsoleApp(false)->ThrowIfInjected(fTaskID, fault, message, GetExecutionData().get());
}

void ConsoleAppAccessor::InjectFault(Fault fault) { InjectFault(GetConsoleApp(false), fault); }

void ConsoleAppAccessor::InjectFault(const boost::shared_ptr<ConsoleApp>& consoleApp, Fault fault) {
  if (consoleApp == nullptr) throw std::runtime_error(kNoConsoleApp);
  consoleApp->InjectFault(fault);
}

void ConsoleAppAccessor::Launch(const LaunchParams& launchParams) {
  const auto executionData = GetExecutionData();
  GetConsoleApp(false)->Launch(executionData, launchParams);
}

consoleapp::State ConsoleAppAccessor::Wait(std::int32_t* exitCode, double maxWaitSeconds) {
  return GetConsoleApp(false)->Wait(exitCode, maxWaitSeconds);
}

void ConsoleAppAccessor::Kill() { GetConsoleApp(false)->Kill(); }

void ConsoleAppAccessor::Reset() {
  GetConsoleApp(false)->Reset();
  fExecutionData.store({});
}

consoleapp::State ConsoleAppAccessor::GetState() {
  auto executionData = fExecutionData.load();
  if (executionData == nullptr) return State::Idle;
  if (const auto consoleApp = executionData->GetConsoleApp())
    return consoleApp->GetState(consoleapp::GetDefaultStateWaitSeconds());
  // Another thread may be launching the next run: only this one is forgotten.
  fExecutionData.compare_exchange_strong(executionData, {});
  return State::Idle;
}

std::int32_t ConsoleAppAccessor::GetTasksRunning() const {
  const auto executionData = fExecutionData.load();
  const auto consoleApp = executionData != nullptr ? executionData->GetConsoleApp() : nullptr;
  return consoleApp != nullptr ? consoleApp->GetTasksRunning() : 0;
}

void ConsoleAppAccessor::WriteAppStdin(const void* bytes, std::size_t count) {
  GetConsoleApp(false)->WriteAppStdin(bytes, count);
}

void ConsoleAppAccessor::WritelnAppStdin(const char* text) { GetConsoleApp(false)->WritelnAppStdin(text); }

void ConsoleAppAccessor::WritelnAppStdin(const std::string& text) {
  GetConsoleApp(false)->WritelnAppStdin(text);
}

void ConsoleAppAccessor::CloseAppStdin() { GetConsoleApp(false)->CloseAppStdin(); }

std::string ConsoleAppAccessor::MakeThreadName() const {
  ClassicStream name;
  name << boost::this_thread::get_id() << "(app." << fTaskID << ')';
  return name.str();
}

ConsoleAppLauncher::ConsoleAppLauncher(const LaunchParams& launchParams,
                                       const boost::shared_ptr<ConsoleApp>& consoleApp)
    : ConsoleAppAccessor(TaskID::Client, nullptr), fConsoleApp(consoleApp), fLaunchParams(launchParams) {}

ConsoleAppLauncher::ConsoleAppLauncher(const ConsoleAppLauncher& other)
    : ConsoleAppAccessor(TaskID::Undefined, nullptr) {
  const Lock lock(other.fMutex);
  AssignLocked(other);
}

ConsoleAppLauncher& ConsoleAppLauncher::operator=(const ConsoleAppLauncher& other) {
  // Never both locks at once.
  const ConsoleAppLauncher copy(other);  // NOLINT(performance-unnecessary-copy-initialization)
  const Lock lock(fMutex);
  AssignLocked(copy);
  return *this;
}

ConsoleAppLauncher::~ConsoleAppLauncher() = default;

void ConsoleAppLauncher::AssignLocked(const ConsoleAppLauncher& other) {
  if (HasExecutionData()) throw std::runtime_error("ConsoleAppLauncher: can't assign while running");
  fTaskID = other.fTaskID.load();
  // A record comes along, so that a source that is launched is refused by what follows.
  fExecutionData.store(other.fExecutionData.load());
  fConsoleApp = other.fConsoleApp;
  SetLaunchParams(other.fLaunchParams);
}

void ConsoleAppLauncher::DoSetConsoleApp(const boost::shared_ptr<ConsoleApp>& consoleApp) {
  fConsoleApp = consoleApp;
}

void ConsoleAppLauncher::DoSetLaunchParams(const LaunchParams& launchParams) { fLaunchParams = launchParams; }

consoleapp::LaunchParams ConsoleAppLauncher::DoGetLaunchParams() const { return fLaunchParams; }

void ConsoleAppLauncher::DoLaunch() {
  fExecutionData.store(boost::make_shared<ExecutionData>(
      fConsoleApp, fLaunchParams.GetOutputTask(TaskID::Stdout), fLaunchParams.GetOutputTask(TaskID::Stderr)));
  ConsoleAppAccessor::Launch(fLaunchParams);
}

consoleapp::State ConsoleAppLauncher::DoWait(std::int32_t* exitCode, double maxWaitSeconds) {
  if (!HasExecutionData()) return State::Idle;
  try {
    const State state = ConsoleAppAccessor::Wait(exitCode, maxWaitSeconds);
    if (state != State::Timeout) fExecutionData.store({});
    return state;
  } catch (...) {
    fExecutionData.store({});
    throw;
  }
}

void ConsoleAppLauncher::DoKill() { ConsoleAppAccessor::Kill(); }

void ConsoleAppLauncher::SetConsoleApp(const boost::shared_ptr<ConsoleApp>& consoleApp) {
  if (HasExecutionData()) throw std::runtime_error("ConsoleAppLauncher::SetConsoleApp: already launched");
  DoSetConsoleApp(consoleApp);
}

void ConsoleAppLauncher::SetLaunchParams(const LaunchParams& launchParams) {
  if (HasExecutionData()) throw std::runtime_error("ConsoleAppLauncher::SetLaunchParams: already launched");
  DoSetLaunchParams(launchParams);
}

void ConsoleAppLauncher::RequireLaunchable() const {
  if (HasExecutionData()) throw std::runtime_error("ConsoleAppLauncher::Launch: already launched");
  if (fConsoleApp == nullptr) throw std::runtime_error(kNoConsoleApp);
}

void ConsoleAppLauncher::Launch() {
  RequireLaunchable();
  DoLaunch();
}

consoleapp::State ConsoleAppLauncher::LaunchAndWait(std::int32_t* exitCode, double maxWaitSeconds) {
  RequireLaunchable();
  DoLaunch();
  return DoWait(exitCode, maxWaitSeconds);
}

consoleapp::State ConsoleAppLauncher::Wait(std::int32_t* exitCode, double maxWaitSeconds) {
  return DoWait(exitCode, maxWaitSeconds);
}

void ConsoleAppLauncher::Kill() { DoKill(); }

void ConsoleAppLauncher::InjectFault(Fault fault) { ConsoleAppAccessor::InjectFault(fConsoleApp, fault); }

}  // namespace ztutil
