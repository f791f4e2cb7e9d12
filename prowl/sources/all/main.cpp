// prowl: runs the prober, and tells a person what happened.
#include "hostplatform.h"
#include "outlet.h"
#include "progress.h"

#include <ztutil/clock.h>
#include <ztutil/managedthread.h>
#include <ztutil/prepareprocess.h>
#include <ztutil/version.h>
#include <ztutil/winhandle.h>

#include <CLI/CLI.hpp>
#include <gpuprowler/answer.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace {

constexpr char kDescription[] =
    "Runs the GPU prober, and tells what it found and how it ended. What stands behind -- goes to the "
    "prober.";
constexpr char kStatuses[] =
    "Exit status: 0 the prober finished, 2 it finished with failures, 3 it ended early, 4 it crashed, 5 it "
    "hung and\n"
    "was killed, 6 it could not start, 7 it was interrupted; 1 prowl itself failed.";

constexpr int kStatusError = static_cast<int>(gpuprowler::Verdict::kLost);

constexpr double kDefaultTimeoutSeconds = 60;
constexpr double kMaxTimeoutSeconds = 1e6;

constexpr double kTickSeconds = 0.1;
constexpr double kHoldSeconds = 0.5;  // what the result has of time before a second interrupt ends us
constexpr double kFlushSeconds = 5;   // what whoever reads our output may take behind the timeout

struct Options {
  gpuprowler::Request request;
  bool json = false;
  bool raw = false;
};

// Throws CLI::Error, also for the help text.
void Parse(CLI::App& app, int argc, char** argv, Options& options) {
  options.request.seconds = kDefaultTimeoutSeconds;
  app.footer(kStatuses);
  app.set_version_flag("--version", std::string("prowl ") + ztutil::kVersion);
  app.add_option("--prober", options.request.prober,
                 "The prober; a name without a slash is looked for on PATH. The one beside prowl without it")
      ->type_name("PATH");
  app.add_option("--timeout", options.request.seconds, "What the prober may take before it is killed")
      ->type_name("SECONDS")
      ->capture_default_str();
  CLI::Option* const json =
      app.add_flag("--json", options.json, "One JSON document, with each line and its time of arrival");
  app.add_flag("--raw", options.raw, "The report byte for byte; the verdict goes to standard error")
      ->excludes(json);

  // The prober's options aren't ours to understand.
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string("--"));
  if (mark != end) options.request.arguments.assign(mark + 1, end);
  app.parse(static_cast<int>(mark - argv), argv);
  if (!(options.request.seconds > 0 && options.request.seconds <= kMaxTimeoutSeconds))
    throw CLI::ValidationError("--timeout", "takes a number of seconds above 0, a million at most");
}

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

bool WriteOutput(const std::string& text) {
  prowl::Outlet output(ztutil::StdOut());
  output.Put(text.data(), text.size());
  if (!output.Drain(kHoldSeconds)) {
    prowl::platform::ReleaseInterrupts();
    while (!output.Drain(kFlushSeconds)) {
    }
  }
  return !output.HasFailed();
}

int Run(Options options) {
  const double start = ztutil::Now();
  std::optional<prowl::Progress> progress;
  std::optional<Raw> raw;
  gpuprowler::Request& request = options.request;
  request.cancellation = std::make_shared<gpuprowler::Cancellation>();
  if (options.raw)
    raw.emplace(request);
  else
    progress.emplace();
  request.event = [&](const gpuprowler::Event& event) {
    if (progress) progress->Show(event.seconds, event.question);
    if (prowl::platform::WasInterrupted()) request.cancellation->Cancel();
  };
  prowl::platform::HoldInterrupts();
  const gpuprowler::Answer answer = gpuprowler::Ask(request);
  progress.reset();

  const auto text = [&] {
    return prowl::platform::WithLineEnds(options.json ? AsJSON(answer) : AsText(answer));
  };
  const bool written =
      raw ? raw->Finish(Summary(answer), start + request.seconds - ztutil::Now()) : WriteOutput(text());
  if (written) return static_cast<int>(answer.verdict);
  const std::string complaint = prowl::platform::WithLineEnds("prowl: can't write to standard output\n");
  prowl::Outlet errors(ztutil::StdErr());
  errors.Put(complaint.data(), complaint.size());
  errors.Drain(kHoldSeconds);
  return kStatusError;
}

}  // namespace

int main(int argc, char** argv) {
  ztutil::platform::PrepareProberProcess();
  prowl::platform::PrepareHostProcess();
  int status = kStatusError;
  CLI::App app(kDescription, "prowl");
  try {
    Options options;
    Parse(app, argc, argv, options);
    status = Run(options);
  } catch (const CLI::Error& error) {
    status = app.exit(error) == 0 ? 0 : kStatusError;
  } catch (const std::exception& exception) {
    std::cerr << "prowl: " << exception.what() << "\n";
  }
  // A thread that had to be abandoned may still use what the end of main would destroy.
  if (ztutil::ManagedThread::GetThreadCount() > 0) std::_Exit(status);
  return status;
}
