// What a host derives from to read a child's standard output or standard error, on a thread of its own.
#ifndef ZTUTIL_OUTPUTTASK_H_
#define ZTUTIL_OUTPUTTASK_H_

#include "consoleappaccessor.h"
#include "reader.h"

#include <boost/shared_ptr.hpp>

namespace ztutil {

// To be derived from: DoRun reads what GetReader gives. That is best done by ReadSome into a buffer of 64 KiB
// or more, which gives what is there as soon as something is; 0 is the end.
//
//   void DoRun() override {
//     std::vector<char> bytes(65536);
//     while (const std::size_t count = GetReader()->ReadSome(bytes.data(), bytes.size())) {...}
//   }
//
// A task is for one channel, and for one run at a time. It works on the thread of its channel. What it throws
// ends it, and becomes a failure of the run; the reader is closed in any case, and a child that still writes
// meets a broken pipe. Other threads of the host meet a task's data only under a lock of the task's own, or
// after a Wait that collected the run.
class OutputTask : public ConsoleAppAccessor {
 public:
  // A task that a LaunchParams takes needs neither channel, run nor reader: the launch gives it those.
  OutputTask();
  OutputTask(TaskID taskID, const boost::shared_ptr<ExecutionData>& executionData,
             const boost::shared_ptr<Reader>& reader);
  // A source that runs and a destination that works are std::runtime_error with "OutputTask::AssignLocked:
  // task is running".
  OutputTask(const OutputTask& other);
  OutputTask& operator=(const OutputTask& other);
  ~OutputTask() override;

 protected:
  // The steps of a run, empty here. The lock is the task's: whoever copies it or asks IsRunning waits for it.
  // The launch waits for DoBegin.
  virtual void DoBegin(Lock& lock);
  virtual void DoRun();
  virtual void DoEnd(Lock& lock);

  // Lets go of the reader, and closes it if it is open. An override calls it.
  virtual void CloseReader(Lock& lock);

  // The parent's end of the pipe, from the launch to the end of the run; else null. For the steps.
  const boost::shared_ptr<Reader>& GetReader() const { return fReader; }

 public:
  // Makes the task ready for a run, on the launch thread. Throws std::runtime_error with
  // "OutputTask::Configure: task is running" if it still works for an earlier one, whose threads had to be
  // abandoned.
  void Configure(OutputChannel channel, const boost::shared_ptr<ExecutionData>& executionData,
                 const boost::shared_ptr<Reader>& reader);

  // The steps, on the output thread.
  void Run();

  // Whether DoRun is at work; waits up to that many seconds for it to begin, if it hasn't been.
  bool IsRunning(double maxWaitSeconds);

  // Whether DoRun has begun in this run, however it went on.
  bool HasStarted() const;

 private:
  bool IsRunningLocked(Lock& lock, double maxWaitSeconds);
  void SetIsRunning(bool isRunning);
  void EndWork();
  void AssignLocked(const OutputTask& other);

  // All under the lock, but for the steps' own use of the reader.
  boost::shared_ptr<Reader> fReader;
  bool fIsRunning = false;
  bool fHasStarted = false;
  bool fIsAtWork = false;
};

}  // namespace ztutil

#endif  // ZTUTIL_OUTPUTTASK_H_
