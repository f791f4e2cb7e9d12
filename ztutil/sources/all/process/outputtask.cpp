#include "system/deadline.h"

#include <ztutil/fmt.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

#include <stdexcept>
#include <utility>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};

}  // namespace

OutputTask::OutputTask() : OutputTask(TaskID::Undefined, nullptr, nullptr) {}

OutputTask::OutputTask(TaskID taskID, const boost::shared_ptr<ExecutionData>& executionData,
                       const boost::shared_ptr<Reader>& reader)
    : ConsoleAppAccessor(taskID, executionData), fReader(reader) {}

OutputTask::OutputTask(const OutputTask& other) : ConsoleAppAccessor(TaskID::Undefined, nullptr) {
  const Lock lock(other.fMutex);
  AssignLocked(other);
}

OutputTask& OutputTask::operator=(const OutputTask& other) {
  if (this == &other) return *this;
  const OutputTask copy(other);
  const Lock lock(fMutex);
  AssignLocked(copy);
  return *this;
}

OutputTask::~OutputTask() = default;

void OutputTask::AssignLocked(const OutputTask& other) {
  if (other.fIsRunning || fIsAtWork) throw std::runtime_error("OutputTask::AssignLocked: task is running");
  fTaskID = other.fTaskID.load();
  fExecutionData.store(other.fExecutionData.load());
  fReader = other.fReader;
}

void OutputTask::DoBegin(Lock&) {}

void OutputTask::DoRun() {}

void OutputTask::DoEnd(Lock&) {}

void OutputTask::CloseReader(Lock&) {
  if (const auto reader = std::exchange(fReader, nullptr)) reader->CloseIfOpen();
}

void OutputTask::Configure(OutputChannel channel, const boost::shared_ptr<ExecutionData>& executionData,
                           const boost::shared_ptr<Reader>& reader) {
  const Lock lock(fMutex);
  if (fIsAtWork) throw std::runtime_error("OutputTask::Configure: task is running");
  fTaskID = CopyIfValid(channel);
  fExecutionData.store(executionData);
  fReader = reader;
  fHasStarted = false;
}

void OutputTask::Run() {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::Run " << fTaskID);
  try {
    {
      Lock lock(fMutex);
      fIsAtWork = true;
      ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::Run DoBegin " << fTaskID);
      DoBegin(lock);
    }
    SetIsRunning(true);
    ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::Run DoRun " << fTaskID);
    DoRun();
    SetIsRunning(false);
    Lock lock(fMutex);
    ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::Run DoEnd " << fTaskID);
    DoEnd(lock);
  } catch (...) {
    SetIsRunning(false);
    EndWork();
    throw;
  }
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::Run CloseReader " << fTaskID);
  EndWork();
}

// From here on another run may have the task.
void OutputTask::EndWork() {
  Lock lock(fMutex);
  fIsAtWork = false;
  CloseReader(lock);
}

bool OutputTask::IsRunning(double maxWaitSeconds) {
  ZT_LOG_SCOPE_LEVEL(gConsoleAppLog, 2,
                     "OutputTask::IsRunning " << fTaskID << " maxWaitSeconds=" << maxWaitSeconds);
  Lock lock(fMutex);
  return IsRunningLocked(lock, maxWaitSeconds);
}

bool OutputTask::IsRunningLocked(Lock& lock, double maxWaitSeconds) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2,
               "OutputTask::IsRunningLocked " << fTaskID << " maxWaitSeconds=" << maxWaitSeconds);
  const consoleapp::Deadline deadline(maxWaitSeconds);
  // One that was running and isn't any more won't begin again.
  while (!fIsRunning && !fHasStarted) {
    const double remaining = deadline.Remaining();
    if (remaining <= 0.0) break;
    ZT_LOG_LEVEL(gConsoleAppLog, 3,
                 "OutputTask::IsRunningLocked " << fTaskID << " waitSeconds=" << remaining);
    const bool notified = WaitFor(fCond, lock, remaining);
    ZT_LOG_LEVEL(gConsoleAppLog, 3,
                 "OutputTask::IsRunningLocked " << fTaskID << " timed_wait returns " << FmtBool(notified));
  }
  ZT_LOG_LEVEL(gConsoleAppLog, 3, "IsRunningLocked returns " << FmtBool(fIsRunning));
  return fIsRunning;
}

bool OutputTask::HasStarted() const {
  const Lock lock(fMutex);
  return fHasStarted;
}

void OutputTask::SetIsRunning(bool isRunning) {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "OutputTask::SetIsRunning(" << FmtBool(isRunning) << ") " << fTaskID);
  const Lock lock(fMutex);
  fIsRunning = isRunning;
  fHasStarted = fHasStarted || isRunning;
  fCond.notify_all();
}

}  // namespace ztutil
