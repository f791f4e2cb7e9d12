#include "proberrun.h"

#include "cancellation.h"
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
constexpr double kMaxWaitSeconds = 1;  // that count: in a longer one this process was stopped
constexpr double kMaxStopped = 10;     // times the timeout: how long a stopped prober's time doesn't count
constexpr double kSpareSeconds = 0.1;  // without a line, where a measurement may have begun
constexpr double kKillSeconds = 5;     // what a killed process may take to go
constexpr double kCollectSeconds = 5;  // what the rest of its output may take to be read

// Wakes the thread that follows a run.
class Alarm {
 public:
  void Ring() {
    {
      const std::lock_guard<std::mutex> lock(fMutex);
      fHasRung = true;
    }
    fRung.notify_all();
  }

  // Until it rings, or has since the last wait; that many seconds at most.
  void Wait(double seconds) {
    std::unique_lock<std::mutex> lock(fMutex);
    fRung.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return fHasRung; });
    fHasRung = false;
  }

 private:
  std::mutex fMutex;
  std::condition_variable fRung;
  bool fHasRung = false;
};

struct NewLine {
  bool isOutput;
  Line line;
};

// How a run stands.
struct Standing {
  std::string question;
  bool mayMeasure = false;
  double silentSeconds = 0;  // of standard output, in which the prober could have written a line
  std::vector<NewLine> lines;
};

// Where the threads of a run meet. It lives as long as the last of them.
class Recording {
 public:
  Recording(const RunOptions& options, boost::shared_ptr<Alarm> alarm)
      : fPassOn(options.passOn),
        fAlarm(std::move(alarm)),
        fTellsLines(options.event != nullptr),
        fRings(options.event || !options.measure) {}

  // Since the prober's start.
  double Seconds() const { return ztutil::Now() - fStart; }

  void Take(bool isOutput, const char* bytes, std::size_t count) {
    const double seconds = Seconds();
    if (fPassOn && !fClosed) PassOn(isOutput, bytes, count);
    const std::lock_guard<std::mutex> lock(fMutex);
    if (fClosed) return;
    const std::uint64_t before = Count(fReport.Output());
    isOutput ? fReport.TakeOutput(bytes, count, seconds) : fReport.TakeErrors(bytes, count, seconds);
    if (Count(fReport.Output()) != before) fLastLine = std::max(fLastLine, seconds);
    if (fRings) fAlarm->Ring();
  }

  // Takes time from what the prober has been silent for.
  void Excuse(double seconds) {
    const std::lock_guard<std::mutex> lock(fMutex);
    fLastLine = std::min(fLastLine + seconds, Seconds());
  }

  // With the lines that have come since the last call, as they came.
  Standing GetStanding() {
    const std::lock_guard<std::mutex> lock(fMutex);
    const Reading reading = fReport.Read();
    Standing standing{reading.asked.front().Name(), reading.MayMeasure(), 0, {}};
    if (fPassing == 0) standing.silentSeconds = Seconds() - fLastLine;
    if (!fTellsLines) return standing;
    TakeNew(true, fReport.Output(), standing.lines);
    TakeNew(false, fReport.Errors(), standing.lines);
    std::stable_sort(
        standing.lines.begin(), standing.lines.end(),
        [](const NewLine& left, const NewLine& right) { return left.line.seconds < right.line.seconds; });
    return standing;
  }

  // Gives the report away. What comes later is lost.
  Report Close() {
    const std::lock_guard<std::mutex> lock(fMutex);
    fClosed = true;
    return std::move(fReport);
  }

 private:
  static std::uint64_t Count(const Lines& lines) { return lines.Dropped() + lines.Kept().size(); }

  // Without the lock: it takes as long as whoever reads our own output, and the prober waits.
  void PassOn(bool isOutput, const char* bytes, std::size_t count) {
    const double begin = Seconds();
    ++fPassing;
    fPassOn(isOutput, bytes, count);
    Excuse(Seconds() - begin);
    --fPassing;
  }

  void TakeNew(bool isOutput, const Lines& lines, std::vector<NewLine>& taken) {
    std::uint64_t& told = fTold[isOutput ? 1 : 0];
    for (told = std::max(told, lines.Dropped()); told < Count(lines); ++told)
      taken.push_back({isOutput, lines.Kept()[static_cast<std::size_t>(told - lines.Dropped())]});
  }

  const double fStart = ztutil::Now();
  const std::function<void(bool, const char*, std::size_t)> fPassOn;
  const boost::shared_ptr<Alarm> fAlarm;
  const bool fTellsLines;
  const bool fRings;  // when something has come
  std::atomic<int> fPassing{0};
  std::atomic<bool> fClosed{false};
  std::mutex fMutex;  // guards what follows
  Report fReport;
  double fLastLine = 0;  // when it came, and what was excused since
  std::uint64_t fTold[2] = {0, 0};
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
  explicit ProberApp(boost::shared_ptr<Alarm> alarm) : fAlarm(std::move(alarm)) {}

  // The exit code, once it has ended.
  std::optional<std::int32_t> GetExitCode() const {
    if (!fHasEnded) return std::nullopt;
    return fExitCode;
  }

  bool HasRun() const { return fHasRun; }

 protected:
  // ConsoleApp
  void OnRunning() override { fHasRun = true; }
  void OnFinished(std::int32_t exitCode) override {
    fExitCode = exitCode;
    fHasEnded = true;
    fAlarm->Ring();
  }

 private:
  const boost::shared_ptr<Alarm> fAlarm;
  std::atomic<bool> fHasRun{false};
  std::atomic<bool> fHasEnded{false};
  std::atomic<std::int32_t> fExitCode{0};
};

ztutil::consoleapp::LaunchParams LaunchParamsOf(const RunOptions& options,
                                                const boost::shared_ptr<Recording>& recording) {
  ztutil::consoleapp::LaunchParams params(platform::LaunchText(options.prober), options.arguments,
                                          boost::make_shared<RecordingTask>(recording, true),
                                          boost::make_shared<RecordingTask>(recording, false));
  params.SetEndsWithHost(true);
  params.SetEnvironmentChanges(options.environment);
  return params;
}

class ProberRun {
 public:
  explicit ProberRun(const RunOptions& options)
      : fOptions(options),
        fAlarm(boost::make_shared<Alarm>()),
        fCancellation(options.cancellation, [alarm = fAlarm] { alarm->Ring(); }),
        fRecording(boost::make_shared<Recording>(options, fAlarm)),
        fApp(boost::make_shared<ProberApp>(fAlarm)),
        fLauncher(LaunchParamsOf(options, fRecording), fApp) {}

  RunResult Run() {
    Tell(Event::Kind::kRunBegins);
    Ending ending;
    try {
      if (IsUnwanted()) {
        ending.kind = Ending::Kind::kNotWanted;
      } else {
        fLauncher.Launch();
        ending = Follow();
      }
    } catch (const std::exception& failure) {
      if (fApp->HasRun()) {
        ending = {Ending::Kind::kLost, 0, failure.what()};
        fStop = Stop{ending.kind, fRecording->Seconds()};
        Kill();
      } else {
        ending = {Ending::Kind::kNotStarted, 0, WhyNotStarted(failure.what())};
      }
    }
    ending.seconds = fRecording->Seconds();
    CallHost([&] {
      if (fOptions.passedOn) fOptions.passedOn();
    });
    if (fApp->GetExitCode()) Collect();
    TellOf(fRecording->GetStanding());
    Report report = fRecording->Close();
    report.Conclude(ending.kind == Ending::Kind::kExited && ending.status == kProberFailed);
    // What happens at a measurement that isn't wanted is nobody's fault.
    const bool ended = ending.kind == Ending::Kind::kExited || ending.kind == Ending::Kind::kCrashed;
    const Reading& reading = report.GetReading();
    if (!fOptions.measure && ended && !reading.isWhole && reading.MayMeasure())
      ending.kind = Ending::Kind::kSpared;
    Tell(Event::Kind::kRunEnds);
    fCounted += fRecording->Seconds() - ending.seconds;
    return {ending, std::move(report), fNotes, fCounted, fStop && fStop->wasTimeUp, fStandsIn};
  }

 private:
  struct Stop {
    Ending::Kind kind;
    double seconds;
    bool wasTimeUp = false;
    bool wasKilled = false;
  };

  // Throws a failure of the thread that waits for the process.
  Ending Follow() {
    CountWait(fRecording->Seconds());
    while (!fApp->GetExitCode()) {
      const double begin = fRecording->Seconds();
      const Standing standing = fRecording->GetStanding();
      TellOf(standing);
      if (!fStop) fStop = WhyStop(standing);
      if (!fStop)
        GetState();
      else if (!fStop->wasKilled)
        Kill();
      const double now = fRecording->Seconds();
      if (fStop && now > fStop->seconds + kKillSeconds) return {fStop->kind, 0, "", 0, fApp->GetProcessID()};
      fCounted += now - begin;
      fAlarm->Wait(WaitSeconds(standing));
      CountWait(fRecording->Seconds() - now);
    }
    const auto rawEnd = fApp->GetRawEnd();
    const std::string words = rawEnd ? ztutil::DescribeRawEnd(*rawEnd) : "";
    switch (GetState()) {
      case State::Killed:
        return {fStop->kind, 0, words};
      case State::Crashed:
        // A terminal interrupts the prober, too, and that's not its fault.
        Tell(Event::Kind::kTick);
        return {IsUnwanted() ? Ending::Kind::kInterrupted : Ending::Kind::kCrashed, 0, words};
      default:
        return {Ending::Kind::kExited, *fApp->GetExitCode(), words};
    }
  }

  bool IsUnwanted() const { return fCancellation.IsCancelled() || fHasThrown; }

  std::optional<Stop> WhyStop(const Standing& standing) const {
    const double now = fRecording->Seconds();
    const bool isQuestion = fOptions.questionSeconds > 0 && !standing.mayMeasure;
    if (IsUnwanted()) return Stop{Ending::Kind::kInterrupted, now};
    if (!fOptions.measure && standing.mayMeasure && standing.silentSeconds >= kSpareSeconds)
      return Stop{Ending::Kind::kSpared, now};
    if (isQuestion && standing.silentSeconds >= fOptions.questionSeconds)
      return Stop{Ending::Kind::kHung, now};
    if (fCounted >= fOptions.timeoutSeconds) return Stop{Ending::Kind::kHung, now, true};
    return std::nullopt;
  }

  // Up to the next look.
  double WaitSeconds(const Standing& standing) const {
    if (fStop || fOptions.measure || !standing.mayMeasure) return kTickSeconds;
    return std::clamp(kSpareSeconds - standing.silentSeconds, 0.0, kTickSeconds);
  }

  // Adds time that was waited for to what counts, or to what the prober was stopped for.
  void CountWait(double seconds) {
    const double counting = std::min(seconds, kMaxWaitSeconds);
    const bool stopped =
        fStopped < kMaxStopped * fOptions.timeoutSeconds && platform::IsStopped(fApp->GetProcessID());
    (stopped ? fStopped : fCounted) += counting;
    fRecording->Excuse(stopped ? seconds : seconds - counting);
  }

  void TellOf(const Standing& standing) {
    for (const NewLine& line : standing.lines) Tell(Event::Kind::kLine, &line);
    if (std::exchange(fQuestion, standing.question) != standing.question) Tell(Event::Kind::kQuestion);
    if (fRecording->Seconds() < fNextTick) return;
    fNextTick = fRecording->Seconds() + kTickSeconds;
    Tell(Event::Kind::kTick);
  }

  void Tell(Event::Kind kind, const NewLine* line = nullptr) {
    Event event;
    event.kind = kind;
    event.seconds = fRecording->Seconds();
    event.question = fQuestion;
    if (line != nullptr) {
      event.isOutput = line->isOutput;
      event.line = &line->line;
    }
    CallHost([&] {
      if (fOptions.event && !fHasThrown) fOptions.event(event);
    });
  }

  template <class Function>
  void CallHost(Function function) {
    try {
      function();
    } catch (...) {
      fHasThrown = true;
      Note("the host's own function has thrown an exception");
    }
  }

  // The system's reason and the library's text.
  std::string WhyNotStarted(const std::string& failure) const {
    const std::string reason = fApp->GetStartError();
    return reason.empty() ? failure : reason + " (" + failure + ")";
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
      fStop->wasKilled = true;
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

  const RunOptions& fOptions;
  const boost::shared_ptr<Alarm> fAlarm;
  const CancellationWatch fCancellation;
  const boost::shared_ptr<Recording> fRecording;
  const boost::shared_ptr<ProberApp> fApp;
  ztutil::ConsoleAppLauncher fLauncher;
  std::optional<Stop> fStop;
  double fCounted = 0;  // of the timeout
  double fStopped = 0;
  double fNextTick = 0;
  std::string fQuestion;
  bool fHasThrown = false;
  std::vector<std::string> fNotes;
  std::string fStandsIn;
};

}  // namespace

RunResult RunProber(const RunOptions& options) { return ProberRun(options).Run(); }

}  // namespace gpuprowler
