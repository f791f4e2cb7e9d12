#include "proberrun.h"

#include "runplatform.h"

#include <ztutil/clock.h>
#include <ztutil/consoleappaccessor.h>
#include <ztutil/outputtask.h>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>

namespace gpuprowler {

namespace {

using ztutil::consoleapp::State;
using ztutil::consoleapp::TaskID;

constexpr std::size_t kReadBytes = 65536;
constexpr double kTickSeconds = 0.1;
constexpr double kMaxTickSeconds = 1;  // that count: in a longer one this process was stopped
constexpr double kMaxStopped = 10;     // times the timeout: how long a stopped prober's time doesn't count
constexpr double kKillSeconds = 5;     // what a killed process may take to go
constexpr double kCollectSeconds = 5;  // what the rest of its output may take to be read

// Where the threads of a run meet. It lives as long as the last of them.
class Recording {
 public:
  explicit Recording(RunOptions::PassOn passOn) : fPassOn(std::move(passOn)) {}

  // Since the prober's start.
  double Seconds() const { return ztutil::Now() - fStart; }

  void Take(bool isOutput, const char* bytes, std::size_t count) {
    const double seconds = Seconds();
    // Without the lock: it takes as long as whoever reads our own output.
    if (fPassOn && !fClosed) fPassOn(isOutput, bytes, count);
    const std::lock_guard<std::mutex> lock(fMutex);
    if (fClosed) return;
    isOutput ? fReport.TakeOutput(bytes, count, seconds) : fReport.TakeErrors(bytes, count, seconds);
  }

  bool Tick(const RunOptions::Tick& tick) {
    const std::lock_guard<std::mutex> lock(fMutex);
    return tick && tick(Seconds(), fReport);
  }

  // Gives the report away. What comes later is lost.
  Report Close() {
    const std::lock_guard<std::mutex> lock(fMutex);
    fClosed = true;
    return std::move(fReport);
  }

 private:
  const double fStart = ztutil::Now();
  const RunOptions::PassOn fPassOn;
  std::mutex fMutex;
  std::atomic<bool> fClosed{false};
  Report fReport;
};

class RecordingTask : public ztutil::OutputTask {
 public:
  RecordingTask(boost::shared_ptr<Recording> recording, bool isOutput)
      : fRecording(std::move(recording)), fIsOutput(isOutput) {}

 protected:
  // OutputTask
  void DoRun() override {
    std::vector<char> bytes(kReadBytes);
    while (const std::size_t count = GetReader()->ReadSome(bytes.data(), bytes.size()))
      fRecording->Take(fIsOutput, bytes.data(), count);
  }

 private:
  const boost::shared_ptr<Recording> fRecording;
  const bool fIsOutput;
};

// Tells of the process's end when it comes. Wait tells only when the output has ended as well, and something
// that the prober has started may hold that open.
class ProberApp : public ztutil::ConsoleApp {
 public:
  // The exit code, once it has ended.
  std::optional<std::int32_t> GetExitCode() {
    const std::lock_guard<std::mutex> lock(fEndMutex);
    return fExitCode;
  }

  // Waits at most that many seconds for the end.
  void WaitForEnd(double seconds) {
    std::unique_lock<std::mutex> lock(fEndMutex);
    fEnded.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return fExitCode.has_value(); });
  }

  bool HasRun() const { return fHasRun; }

 protected:
  // ConsoleApp
  void OnRunning() override { fHasRun = true; }
  void OnFinished(std::int32_t exitCode) override {
    {
      const std::lock_guard<std::mutex> lock(fEndMutex);
      fExitCode = exitCode;
    }
    fEnded.notify_all();
  }

 private:
  std::atomic<bool> fHasRun{false};
  std::mutex fEndMutex;
  std::condition_variable fEnded;
  std::optional<std::int32_t> fExitCode;
};

ztutil::consoleapp::LaunchParams LaunchParamsOf(const RunOptions& options,
                                                const boost::shared_ptr<Recording>& recording) {
  ztutil::consoleapp::LaunchParams params(platform::LaunchText(options.prober), options.arguments,
                                          boost::make_shared<RecordingTask>(recording, true),
                                          boost::make_shared<RecordingTask>(recording, false));
  params.SetEndsWithHost(true);
  return params;
}

class ProberRun {
 public:
  explicit ProberRun(const RunOptions& options)
      : fOptions(options),
        fRecording(boost::make_shared<Recording>(options.passOn)),
        fApp(boost::make_shared<ProberApp>()),
        fLauncher(LaunchParamsOf(options, fRecording), fApp) {}

  RunResult Run() {
    Ending ending;
    try {
      fLauncher.Launch();
      ending = Follow();
    } catch (const std::exception& failure) {
      if (fApp->HasRun())
        ending = {Ending::Kind::kLost, 0, failure.what()};
      else
        ending = {Ending::Kind::kNotStarted, 0, WhyNotStarted(failure.what())};
    }
    ending.seconds = fRecording->Seconds();
    if (fOptions.ended) fOptions.ended();
    if (fApp->GetExitCode()) Collect();
    Report report = fRecording->Close();
    report.Conclude(ending.kind == Ending::Kind::kExited && ending.status == kProberFailed);
    return {ending, std::move(report), fNotes, fStandsIn};
  }

 private:
  // Throws a failure of the thread that waits for the process.
  Ending Follow() {
    std::optional<std::int32_t> exitCode;
    double last = 0;
    while (!(exitCode = fApp->GetExitCode())) {
      const double seconds = fRecording->Seconds();
      Count(seconds - std::exchange(last, seconds));
      const bool unwanted = fRecording->Tick(fOptions.tick);
      if (!fStop && (unwanted || fCounted >= fOptions.timeoutSeconds))
        fStop = Stop{unwanted ? Ending::Kind::kInterrupted : Ending::Kind::kHung, seconds};
      if (!fStop)
        GetState();
      else if (!fStop->killed)
        Kill();
      if (fStop && seconds > fStop->seconds + kKillSeconds)
        return {fStop->kind, 0, "", 0, fApp->GetProcessID()};
      fApp->WaitForEnd(kTickSeconds);
    }
    const auto rawEnd = fApp->GetRawEnd();
    const std::string words = rawEnd ? ztutil::DescribeRawEnd(*rawEnd) : "";
    switch (GetState()) {
      case State::Killed:
        return {fStop->kind, 0, words};
      case State::Crashed: {
        // A terminal interrupts the prober, too, and that's not its fault.
        const bool unwanted = fRecording->Tick(fOptions.tick);
        return {unwanted ? Ending::Kind::kInterrupted : Ending::Kind::kCrashed, 0, words};
      }
      default:
        return {Ending::Kind::kExited, *exitCode, words};
    }
  }

  // The system's reason and the library's text.
  std::string WhyNotStarted(const std::string& failure) const {
    const std::string reason = fApp->GetStartError();
    return reason.empty() ? failure : reason + " (" + failure + ")";
  }

  // Adds time that has passed to what counts, or to what the prober was stopped for.
  void Count(double seconds) {
    seconds = std::min(seconds, kMaxTickSeconds);
    const bool stopped =
        fStopped < kMaxStopped * fOptions.timeoutSeconds && platform::IsStopped(fApp->GetProcessID());
    (stopped ? fStopped : fCounted) += seconds;
  }

  // Throws if the thread that waits for the process has failed, and the end isn't known. Notes other
  // failures.
  State GetState() {
    for (;;) {
      try {
        return fLauncher.GetState();
      } catch (const ztutil::consoleapp::Exception& failure) {
        if (failure.GetTaskID() == TaskID::Launcher && !fApp->GetExitCode()) throw;
        Note(failure.what());
      }
    }
  }

  void Kill() {
    if (fStop->kind == Ending::Kind::kHung && fStandsIn.empty())
      fStandsIn = platform::WhereItStands(fApp->GetProcessID());
    try {
      fLauncher.Kill();
      fStop->killed = true;
    } catch (const std::exception& failure) {
      Note(failure.what());
    }
  }

  // Waits for the rest of the output.
  void Collect() {
    try {
      if (fLauncher.Wait(nullptr, kCollectSeconds) != State::Timeout) return;
    } catch (const ztutil::consoleapp::Exception& failure) {
      if (failure.GetTaskID() != TaskID::Launcher) return Note(failure.what());
    }
    Note("something that the prober has started holds its output open, which was read no longer");
  }

  void Note(const std::string& note) {
    if (fNotes.empty() || fNotes.back() != note) fNotes.push_back(note);
  }

  struct Stop {
    Ending::Kind kind;
    double seconds;
    bool killed = false;
  };

  const RunOptions& fOptions;
  const boost::shared_ptr<Recording> fRecording;
  const boost::shared_ptr<ProberApp> fApp;
  ztutil::ConsoleAppLauncher fLauncher;
  std::optional<Stop> fStop;
  double fCounted = 0;  // of the timeout
  double fStopped = 0;
  std::vector<std::string> fNotes;
  std::string fStandsIn;
};

}  // namespace

RunResult RunProber(const RunOptions& options) { return ProberRun(options).Run(); }

}  // namespace gpuprowler
