#include "proberrun.h"

#include "hostplatform.h"

#include <ztutil/clock.h>
#include <ztutil/consoleappaccessor.h>
#include <ztutil/outputtask.h>

#include <boost/make_shared.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <utility>

namespace prowl {

namespace {

using ztutil::consoleapp::State;
using ztutil::consoleapp::TaskID;

constexpr std::size_t kReadBytes = 65536;
constexpr double kTickSeconds = 0.1;
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
  // The exit code, if the end comes within that time.
  std::optional<std::int32_t> WaitForEnd(double seconds) {
    std::unique_lock<std::mutex> lock(fEndMutex);
    fEndCond.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return fExitCode.has_value(); });
    return fExitCode;
  }

  bool HasRun() const { return fHasRun; }

 protected:
  // ConsoleApp
  void OnRunning() override { fHasRun = true; }
  void OnFinished(std::int32_t exitCode) override {
    const std::lock_guard<std::mutex> lock(fEndMutex);
    fExitCode = exitCode;
    fEndCond.notify_all();
  }

 private:
  std::atomic<bool> fHasRun{false};
  std::mutex fEndMutex;
  std::condition_variable fEndCond;
  std::optional<std::int32_t> fExitCode;
};

// The library tells that the system has refused, and the system's reason only to the log.
std::string WhyNotStarted(const std::string& program, const std::string& failure) {
  if (failure.find("CreateProcessW") == std::string::npos) return failure;
  namespace fs = std::filesystem;
  const fs::path path(program);
  const auto why = [&]() -> std::string {
    if (!path.has_parent_path()) return "there is no such program on PATH, or it can't be run";
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return "there is no such file";
    if (fs::is_directory(status)) return "it is a folder";
    constexpr fs::perms kAnyExec = fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    if ((status.permissions() & kAnyExec) == fs::perms::none) return "it isn't executable";
    return "the system can't run it";
  };
  return why() + " (" + failure + ")";
}

class ProberRun {
 public:
  explicit ProberRun(const RunOptions& options)
      : fOptions(options),
        fRecording(boost::make_shared<Recording>(options.passOn)),
        fApp(boost::make_shared<ProberApp>()),
        fLauncher({platform::LaunchText(options.prober), options.arguments,
                   boost::make_shared<RecordingTask>(fRecording, true),
                   boost::make_shared<RecordingTask>(fRecording, false)},
                  fApp) {}

  RunResult Run() {
    Ending ending;
    try {
      fLauncher.Launch();
      ending = Follow();
    } catch (const std::exception& failure) {
      if (fApp->HasRun())
        ending = {Ending::Kind::kLost, 0, failure.what()};
      else
        ending = {Ending::Kind::kNotStarted, 0, WhyNotStarted(fOptions.prober, failure.what())};
    }
    ending.seconds = fRecording->Seconds();
    if (fApp->WaitForEnd(0)) Collect();
    Report report = fRecording->Close();
    report.Conclude(ending.kind == Ending::Kind::kExited && ending.status == kProberFailed);
    return {ending, std::move(report), fNotes};
  }

 private:
  // Throws a failure of the thread that waits for the process.
  Ending Follow() {
    std::optional<std::int32_t> exitCode;
    while (!(exitCode = fApp->WaitForEnd(kTickSeconds))) {
      const bool unwanted = fRecording->Tick(fOptions.tick);
      const double seconds = fRecording->Seconds();
      if (!fStop && (unwanted || seconds >= fOptions.timeoutSeconds))
        fStop = Stop{unwanted ? Ending::Kind::kInterrupted : Ending::Kind::kHung, seconds};
      if (!fStop)
        GetState();
      else if (!fStop->killed)
        Kill();
      if (fStop && seconds > fStop->seconds + kKillSeconds) return {fStop->kind, 0, ""};
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

  // Throws what the thread that waits for the process has failed of, as long as that is what matters.
  State GetState() {
    for (;;) {
      try {
        return fLauncher.GetState();
      } catch (const ztutil::consoleapp::Exception& failure) {
        if (failure.GetTaskID() == TaskID::Launcher && !fApp->WaitForEnd(0)) throw;
        Note(failure.what());
      }
    }
  }

  void Kill() {
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
  std::vector<std::string> fNotes;
};

}  // namespace

RunResult RunProber(const RunOptions& options) { return ProberRun(options).Run(); }

}  // namespace prowl
