#include <ztutil/consoleapp.h>
#include <ztutil/debugflag.h>

#include <ostream>

namespace ztutil::consoleapp {

namespace {

DebugFlag gShortWait{"ConsoleAppShortWaitSecondsMinusOne"};
DebugFlag gDefaultWait{"ConsoleAppDefaultWaitSecondsMinus10"};
DebugFlag gDefaultStateWait{"ConsoleAppDefaultStateWaitSecondsTimesTenMinus1"};

// The names of consecutive values, of which `first` is the lowest; "type(number)" for others.
template <class Enum, std::size_t N>
std::string NameOf(const char* type, Enum value, Enum first, const char* const (&names)[N]) {
  const auto number = static_cast<std::int32_t>(value);
  const std::int64_t index = std::int64_t{number} - static_cast<std::int32_t>(first);
  if (index >= 0 && index < static_cast<std::int64_t>(N)) return names[index];
  return std::string(type) + '(' + std::to_string(number) + ')';
}

double FlagValue(DebugFlag& flag) { return DebugFlagValue(flag); }

}  // namespace

std::string TaskIDName(TaskID taskID) {
  static const char* const kNames[] = {"Undefined", "Client", "stdout", "stderr", "Launcher"};
  return NameOf("TaskID", taskID, TaskID::Undefined, kNames);
}

std::string StateName(State state) {
  static const char* const kNames[] = {"Undefined", "Idle",      "Launching", "Launched",
                                       "Running",   "Finishing", "Finished",  "Crashed",
                                       "Killing",   "Killed",    "Timeout"};
  return NameOf("State", state, State::Undefined, kNames);
}

std::string FaultName(Fault fault) {
  static const char* const kNames[] = {
      "NoFault",        "NotifyLaunching",       "NotifyLaunched",      "NotifyRunning",
      "NotifyFinished", "NotifyOutputTaskBegin", "NotifyOutputTaskEnd", "LauncherLaunch",
      "LauncherWait",   "LauncherKill"};
  return NameOf("Fault", fault, Fault::NoFault, kNames);
}

std::ostream& operator<<(std::ostream& out, TaskID taskID) { return out << TaskIDName(taskID); }
std::ostream& operator<<(std::ostream& out, State state) { return out << StateName(state); }
std::ostream& operator<<(std::ostream& out, Fault fault) { return out << FaultName(fault); }

bool IsStableState(State state) {
  switch (state) {
    case State::Idle:
    case State::Running:
    case State::Finished:
    case State::Crashed:
    case State::Killed:
      return true;
    default:
      return false;
  }
}

std::size_t TaskIndex(OutputChannel channel) {
  if (channel != TaskID::Stdout && channel != TaskID::Stderr)
    throw std::runtime_error("invalid OutputChannel");
  return static_cast<std::size_t>(channel);
}

std::size_t OutputChannelIndex(OutputChannel channel) { return TaskIndex(channel) - 1; }

Exception::Exception(TaskID taskID, const char* message)
    : std::runtime_error(TaskIDName(taskID) + ": " + (message != nullptr ? message : "<nullptr>")),
      fTaskID(taskID) {}

// The base copies its text by counting its users, in a library that race detectors can't look into.
Exception::Exception(const Exception& other) : std::runtime_error(other.what()), fTaskID(other.fTaskID) {}

Exception& Exception::operator=(const Exception& other) {
  std::runtime_error::operator=(std::runtime_error(other.what()));
  fTaskID = other.fTaskID;
  return *this;
}

LaunchParams::LaunchParams(const std::wstring& program, const std::deque<std::string>& arguments,
                           const boost::shared_ptr<OutputTask>& stdoutTask,
                           const boost::shared_ptr<OutputTask>& stderrTask)
    : fProgram(program), fArguments(arguments), fOutputTasks{nullptr, stdoutTask, stderrTask} {}

boost::shared_ptr<OutputTask> LaunchParams::GetOutputTask(OutputChannel channel) const {
  return fOutputTasks[TaskIndex(channel)];
}

void LaunchParams::SetOutputTask(OutputChannel channel, const boost::shared_ptr<OutputTask>& task) {
  fOutputTasks[TaskIndex(channel)] = task;
}

double GetShortWaitSeconds() { return FlagValue(gShortWait) + 1.0; }

double GetDefaultWaitSeconds() { return FlagValue(gDefaultWait) + 10.0; }

double GetDefaultStateWaitSeconds() { return (FlagValue(gDefaultStateWait) + 1.0) / 10.0; }

}  // namespace ztutil::consoleapp
