// prowl: asks this machine's graphics drivers through the library, and tells a person what happened.
#include "files.h"
#include "hostplatform.h"
#include "options.h"
#include "outlet.h"
#include "progress.h"

#include <ztutil/clock.h>
#include <ztutil/managedthread.h>
#include <ztutil/prepareprocess.h>
#include <ztutil/winhandle.h>

#include <gpuprowler/answer.h>
#include <gpuprowler/compare.h>
#include <gpuprowler/fleet.h>
#include <gpuprowler/rules.h>
#include <gpuprowler/show.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using prowl::Form;
using prowl::Options;
using prowl::Verb;
using prowl::platform::WithLineEnds;

constexpr int kStatusError = static_cast<int>(gpuprowler::Verdict::kLost);
constexpr int kStatusLess = 1;  // of diff
constexpr int kStatusNotCompared = 2;

constexpr double kTickSeconds = 0.1;
constexpr double kHoldSeconds = 0.5;  // what the result has of time before a second interrupt ends us
constexpr double kFlushSeconds = 5;   // what whoever reads our output may take behind the timeout

// Standard output and error while the prober's bytes are passed on.
class Raw {
 public:
  explicit Raw(gpuprowler::Request& request) {
    request.passOn = [output = fOutput, errors = fErrors](bool isOutput, const char* bytes,
                                                          std::size_t count) {
      (isOutput ? output : errors)->Put(bytes, count);
    };
    request.passedOn = [this] {
      fOutput->Widen();
      fErrors->Widen();
    };
  }

  // Writes the rest and the verdict, for that time and a little more at most, only the latter behind an
  // interrupt. False if output was lost.
  bool Finish(const std::string& summary, double seconds) {
    fErrors->Put(summary.data(), summary.size());
    const double usual = prowl::platform::WasInterrupted() ? 0 : std::max(seconds, 0.0);
    const double end = ztutil::Now() + usual + kFlushSeconds;
    const auto drain = [this](double wait) { return fOutput->Drain(wait) && fErrors->Drain(wait); };
    if (!drain(kHoldSeconds)) {
      prowl::platform::ReleaseInterrupts();
      while (!drain(kTickSeconds) && ztutil::Now() < end) {
      }
    }
    return fOutput->Drain(0) && !fOutput->HasFailed();
  }

 private:
  // A thread that had to be abandoned may still use them.
  const std::shared_ptr<prowl::Outlet> fOutput = std::make_shared<prowl::Outlet>(ztutil::StdOut());
  const std::shared_ptr<prowl::Outlet> fErrors = std::make_shared<prowl::Outlet>(ztutil::StdErr());
};

// Waits for the reader of our output, as long as nobody interrupts that. False if output was lost.
bool Finish(prowl::Outlet& output) {
  if (!output.Drain(kHoldSeconds)) {
    prowl::platform::ReleaseInterrupts();
    while (!output.Drain(kFlushSeconds)) {
    }
  }
  return !output.HasFailed();
}

bool WriteOutput(const std::string& text) {
  prowl::Outlet output(ztutil::StdOut());
  const std::string ended = WithLineEnds(text);
  output.Put(ended.data(), ended.size());
  return Finish(output);
}

// Lines of JSON. A reader that stops reading holds nobody up: what there is no room for is left out and
// counted.
class Events {
 public:
  Events() { fOutput.Widen(); }

  void Show(const gpuprowler::Event& event) {
    if (event.kind == gpuprowler::Event::Kind::kTick) return;
    if (!fOutput.HasRoom()) {
      ++fLeftOut;
      return;
    }
    PutLeftOut();
    Put(AsJSONLine(event));
  }

  bool Finish(const gpuprowler::Answer& answer) {
    if (!::Finish(fOutput)) return false;
    PutLeftOut();
    Put(AsJSONLine(answer));
    return ::Finish(fOutput);
  }

 private:
  void PutLeftOut() {
    if (fLeftOut > 0) Put("{\"event\":\"left-out\",\"count\":" + std::to_string(fLeftOut) + "}\n");
    fLeftOut = 0;
  }

  void Put(const std::string& line) {
    const std::string ended = WithLineEnds(line);
    fOutput.Put(ended.data(), ended.size());
  }

  prowl::Outlet fOutput{ztutil::StdOut()};
  std::size_t fLeftOut = 0;
};

int Conclude(bool written, int status) {
  if (written) return status;
  const std::string complaint = WithLineEnds("prowl: can't write to standard output\n");
  prowl::Outlet errors(ztutil::StdErr());
  errors.Put(complaint.data(), complaint.size());
  errors.Drain(kHoldSeconds);
  return kStatusError;
}

std::string Told(const gpuprowler::Answer& answer, Form form) {
  return form == Form::kJSON       ? AsJSON(answer)
         : form == Form::kMarkdown ? AsMarkdown(answer)
                                   : AsText(answer, form == Form::kAll);
}

// Until somebody interrupts that.
gpuprowler::Answer Ask(gpuprowler::Request request,
                       const std::function<void(const gpuprowler::Event&)>& show) {
  request.cancellation = std::make_shared<gpuprowler::Cancellation>();
  request.event = [&](const gpuprowler::Event& event) {
    show(event);
    if (prowl::platform::WasInterrupted()) request.cancellation->Cancel();
  };
  prowl::platform::HoldInterrupts();
  return gpuprowler::Ask(request);
}

gpuprowler::Answer AskWithProgress(
    const gpuprowler::Request& request,
    const std::function<void(const gpuprowler::Event&)>& show = [](const gpuprowler::Event&) {}) {
  prowl::Progress progress;
  return Ask(request, [&](const gpuprowler::Event& event) {
    progress.Show(event.seconds, event.question);
    show(event);
  });
}

// The answer that most commands are about.
gpuprowler::Answer GetAnswer(const Options& options) {
  return options.from.empty() ? AskWithProgress(options.request) : prowl::ReadAnswer(options.from);
}

int StatusOf(const gpuprowler::Answer& answer) { return static_cast<int>(answer.verdict); }

int AskRaw(gpuprowler::Request request) {
  const double start = ztutil::Now();
  Raw raw(request);
  const gpuprowler::Answer answer = Ask(request, [](const gpuprowler::Event&) {});
  return Conclude(raw.Finish(Summary(answer), start + request.seconds - ztutil::Now()), StatusOf(answer));
}

int AskForEvents(const gpuprowler::Request& request) {
  Events events;
  const gpuprowler::Answer answer =
      AskWithProgress(request, [&](const gpuprowler::Event& event) { events.Show(event); });
  return Conclude(events.Finish(answer), StatusOf(answer));
}

// The files that are wanted. False if there are none.
bool WriteFiles(const gpuprowler::Answer& answer, const Options& options) {
  const struct {
    const std::string& file;
    std::string (*as)(const gpuprowler::Answer&);
  } wanted[] = {{options.html, gpuprowler::AsHTML},
                {options.prometheus, gpuprowler::AsPrometheus},
                {options.nfd, gpuprowler::AsNFD}};
  bool isWritten = false;
  for (const auto& [file, as] : wanted) {
    if (file.empty()) continue;
    prowl::ReplaceFile(file, as(answer));
    isWritten = true;
  }
  return isWritten;
}

// Where a file can't be written, the answer isn't lost with it.
int TellAnswer(const gpuprowler::Answer& answer, const Options& options, int status) {
  const auto tell = [&] { return Conclude(WriteOutput(Told(answer, options.form)), status); };
  try {
    return WriteFiles(answer, options) && options.form == Form::kText ? status : tell();
  } catch (const std::runtime_error&) {
    tell();
    throw;
  }
}

int TellAnswer(const Options& options) {
  const gpuprowler::Answer answer = GetAnswer(options);
  return TellAnswer(answer, options, StatusOf(answer));
}

// Beside those of asking.
constexpr int kStatusBlocked = 8, kStatusWarned = 9, kStatusBadRules = 10;

int StatusOf(const gpuprowler::Decision& decision) {
  if (decision.outcome == gpuprowler::Outcome::kBlocked) return kStatusBlocked;
  if (!decision.errors.empty()) return kStatusBadRules;
  return decision.outcome == gpuprowler::Outcome::kWarned ? kStatusWarned : 0;
}

int Check(const Options& options) {
  gpuprowler::Rules rules;
  for (const std::string& file : options.rules) rules.AddFile(file);
  for (const std::string& expression : options.requirements) rules.Require(expression);
  for (const gpuprowler::RuleError& error : rules.GetErrors())
    std::cerr << "prowl: " << AsText(error) << "\n";
  const gpuprowler::Answer answer = GetAnswer(options);
  const bool isAsked = options.from.empty();
  if (isAsked && answer.verdict != gpuprowler::Verdict::kFinished) std::cerr << Summary(answer);
  if (isAsked && answer.verdict == gpuprowler::Verdict::kInterrupted) return StatusOf(answer);
  const gpuprowler::Decision decision = Check(rules, answer, options.features);
  const bool written = WriteOutput(options.form == Form::kJSON ? AsJSON(decision) : AsText(decision));
  return Conclude(written, StatusOf(decision));
}

// As it would be stored.
gpuprowler::Answer AskToCompare(const gpuprowler::Request& request) {
  using gpuprowler::Verdict;
  const gpuprowler::Answer answer = AskWithProgress(request);
  for (const Verdict verdict : {Verdict::kNotStarted, Verdict::kInterrupted, Verdict::kLost})
    if (answer.verdict == verdict) throw std::runtime_error(answer.text);
  return *gpuprowler::AnswerOf(AsJSON(answer));
}

int Diff(const Options& options) {
  const gpuprowler::Answer before = prowl::ReadAnswer(options.before);
  const gpuprowler::Answer after =
      options.after.empty() ? AskToCompare(options.request) : prowl::ReadAnswer(options.after);
  const gpuprowler::Comparison comparison = Compare(before, after, options.noise);
  const bool isWritten = WriteOutput(options.form == Form::kJSON ? AsJSON(comparison) : AsText(comparison));
  const int status = Conclude(isWritten, HasLost(comparison) ? kStatusLess : 0);
  return isWritten ? status : kStatusNotCompared;
}

std::string ShowMemory() {
  gpuprowler::Answer answer;
  answer.drivers = gpuprowler::GetSetAside();
  return answer.drivers.empty() ? "No driver is set aside.\n" : AsText(answer);
}

std::string Forget(const std::string& driver) {
  const std::size_t count = gpuprowler::Forget(driver);
  return "All answers are forgotten, and " + std::to_string(count) + (count == 1 ? " driver" : " drivers") +
         " that had been set aside.\n";
}

int Run(const Options& options) {
  switch (options.verb) {
    case Verb::kLook:
      return TellAnswer(gpuprowler::Look(), options, 0);
    case Verb::kCheck:
      return Check(options);
    case Verb::kDiff:
      return Diff(options);
    case Verb::kMemory:
      return Conclude(WriteOutput(ShowMemory()), 0);
    case Verb::kForget:
      return Conclude(WriteOutput(Forget(options.driver)), 0);
    default:
      return options.form == Form::kRaw      ? AskRaw(options.request)
             : options.form == Form::kEvents ? AskForEvents(options.request)
                                             : TellAnswer(options);
  }
}

int StatusOfFailure(const CLI::App& app) {
  return app.got_subcommand("diff") ? kStatusNotCompared : kStatusError;
}

}  // namespace

int main(int argc, char** argv) {
  ztutil::platform::PrepareProberProcess();
  prowl::platform::PrepareHostProcess();
  int status = kStatusError;
  CLI::App app("", "prowl");
  try {
    status = Run(prowl::ParseOptions(app, argc, argv));
  } catch (const CLI::Error& error) {
    status = app.exit(error) == 0 ? 0 : StatusOfFailure(app);
  } catch (const std::exception& exception) {
    std::cerr << "prowl: " << exception.what() << "\n";
    status = StatusOfFailure(app);
  }
  // A thread that had to be abandoned may still use what the end of main would destroy.
  if (ztutil::ManagedThread::GetThreadCount() > 0) std::_Exit(status);
  return status;
}
