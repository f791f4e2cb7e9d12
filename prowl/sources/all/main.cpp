// prowl: runs the prober, and tells a person what happened.
#include "hostplatform.h"
#include "presentation.h"
#include "progress.h"

#include <ztutil/managedthread.h>
#include <ztutil/platform.h>
#include <ztutil/winhandle.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
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

constexpr double kDefaultTimeoutSeconds = 60;
constexpr double kMaxTimeoutSeconds = 1e6;

std::atomic<bool> gInterrupted{false};
std::atomic<bool> gOutputFailed{false};

struct Options {
  prowl::RunOptions run;
  bool json = false;
  bool raw = false;
};

// Throws CLI::Error, also for the help text.
void Parse(CLI::App& app, int argc, char** argv, Options& options) {
  options.run.prober = prowl::platform::ProberBesideUs();
  options.run.timeoutSeconds = kDefaultTimeoutSeconds;
  app.footer(kStatuses);
  app.set_version_flag("--version", "prowl " PROWL_VERSION);
  app.add_option("--prober", options.run.prober, "The prober; a name without a slash is looked for on PATH")
      ->type_name("PATH")
      ->capture_default_str();
  app.add_option("--timeout", options.run.timeoutSeconds, "What the prober may take before it is killed")
      ->type_name("SECONDS")
      ->capture_default_str();
  CLI::Option* const json =
      app.add_flag("--json", options.json, "One JSON document, with each line and its time of arrival");
  app.add_flag("--raw", options.raw, "The report byte for byte; the verdict goes to standard error")
      ->excludes(json);

  // The prober's options aren't ours to understand.
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string("--"));
  if (mark != end) options.run.arguments.assign(mark + 1, end);
  app.parse(static_cast<int>(mark - argv), argv);
  if (!(options.run.timeoutSeconds > 0 && options.run.timeoutSeconds <= kMaxTimeoutSeconds))
    throw CLI::ValidationError("--timeout", "takes a number of seconds above 0, a million at most");
}

// False if it couldn't be written.
bool Write(ztutil::Writer& writer, const char* bytes, std::size_t count) noexcept {
  try {
    writer.Write(bytes, count);
    return true;
  } catch (...) {
    return false;
  }
}

// Once something is lost, nothing more is written, and the exit status tells.
void WriteOutput(const char* bytes, std::size_t count) noexcept {
  if (!gOutputFailed && !Write(ztutil::StdOut(), bytes, count)) gOutputFailed = true;
}

void PassOn(bool isOutput, const char* bytes, std::size_t count) noexcept {
  isOutput ? WriteOutput(bytes, count) : static_cast<void>(Write(ztutil::StdErr(), bytes, count));
}

// The second signal of a kind finds what was there before.
extern "C" void OnInterrupt(int signal) {
  gInterrupted = true;
  std::signal(signal, SIG_DFL);
}

int Run(Options options) {
  for (const int signal : {SIGINT, SIGTERM})
    if (std::signal(signal, OnInterrupt) == SIG_IGN) std::signal(signal, SIG_IGN);

  std::optional<prowl::Progress> progress;
  if (options.raw)
    options.run.passOn = PassOn;
  else
    progress.emplace();
  options.run.tick = [&](double seconds, const prowl::Report& report) {
    if (progress) progress->Show(seconds, report);
    return gInterrupted.load();
  };
  const prowl::RunResult result = RunProber(options.run);
  progress.reset();

  const prowl::Verdict verdict = Judge(result.ending, result.report);
  if (options.raw) {
    std::cerr << Summary(result, verdict);
  } else {
    const std::string text = prowl::platform::WithLineEnds(options.json ? AsJSON(options.run, result, verdict)
                                                                        : AsText(result, verdict));
    WriteOutput(text.data(), text.size());
  }
  if (!gOutputFailed) return verdict.status;
  std::cerr << "prowl: can't write to standard output\n";
  return prowl::kStatusError;
}

}  // namespace

int main(int argc, char** argv) {
  ztutil::platform::PrepareProberProcess();
  prowl::platform::PrepareHostProcess();
  int status = prowl::kStatusError;
  CLI::App app(kDescription, "prowl");
  try {
    Options options;
    Parse(app, argc, argv, options);
    status = Run(options);
  } catch (const CLI::Error& error) {
    status = app.exit(error) == 0 ? 0 : prowl::kStatusError;
  } catch (const std::exception& exception) {
    std::cerr << "prowl: " << exception.what() << "\n";
  }
  // A thread that had to be abandoned may still use what the end of main would destroy.
  if (ztutil::ManagedThread::GetThreadCount() > 0) std::_Exit(status);
  return status;
}
