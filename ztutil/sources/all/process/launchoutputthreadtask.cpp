#include <ztutil/launchoutputthreadtask.h>
#include <ztutil/managedthread.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};

}  // namespace

LaunchOutputThreadTask::LaunchOutputThreadTask(OutputChannel channel,
                                               const boost::shared_ptr<ExecutionData>& executionData)
    : ConsoleAppAccessor(channel, executionData) {}

void LaunchOutputThreadTask::operator()() {
  ZT_LOG_LEVEL(gConsoleAppLog, 2, "LaunchOutputThreadTask::operator()() fOutputChannel=" << fTaskID);
  try {
    ManagedThread::SetCurrentThreadName(MakeThreadName());
    NotifyOutputTaskBegin();
    ThrowIfFailurePending();
    GetOutputTask(fTaskID)->Run();
    ThrowIfFailurePending();
    NotifyOutputTaskEnd();
  } catch (const Exception& e) {
    NotifyFailure(e);
  } catch (const std::exception& e) {
    NotifyFailure(Exception(fTaskID, e.what()));
  } catch (...) {
    NotifyFailure(Exception(fTaskID, "LaunchOutputThreadTask failed"));
  }
}

}  // namespace ztutil
