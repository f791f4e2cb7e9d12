#include "runs.h"

#include "findings.h"
#include "run/proberrun.h"
#include "showing.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace gpuprowler {

namespace {

const char* NameOf(Interface interface) { return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"; }

}  // namespace

void Runs::Make(Drivers drivers, double seconds) {
  RunOptions options;
  std::vector<std::string> notes;
  for (std::size_t i = 0; i < fAnswer.drivers.size(); ++i) {
    const Driver& driver = fAnswer.drivers[i];
    if (CanBeHidden(driver) || std::count(drivers.begin(), drivers.end(), i) > 0) continue;
    drivers.push_back(i);
    notes.push_back(std::string(NameOf(driver.interface)) + "'s driver " + driver.library +
                    " can't be hidden, and was part of this run");
  }
  std::optional<Showing> showing;
  if (drivers.size() < fAnswer.drivers.size()) {
    std::vector<Driver> shown;
    for (const std::size_t driver : drivers) shown.push_back(fAnswer.drivers[driver]);
    options.environment = showing.emplace(shown).GetChanges();
  }
  options.prober = fAnswer.prober;
  options.arguments = fRequest.arguments;
  options.timeoutSeconds = seconds;
  options.questionSeconds = fRequest.questionSeconds;
  options.measure = fRequest.measure;
  options.cancellation = fRequest.cancellation;
  const std::size_t place = fAnswer.runs.size();
  if (fRequest.event)
    options.event = [&](Event event) {
      event.run = place;
      fRequest.event(event);
    };
  if (place == 0) {
    options.passOn = fRequest.passOn;
    options.passedOn = fRequest.passedOn;
  }

  const RunResult result = RunProber(options);
  fSeconds += result.counted;
  fWasTimeUp = result.wasTimeUp;
  Run run = RunOf(result, Judge(result.ending, result.report));
  run.drivers = drivers;
  run.alone = showing && drivers.size() == 1;
  run.notes.insert(run.notes.end(), notes.begin(), notes.end());
  fAnswer.runs.push_back(std::move(run));
  for (GPU& gpu : GPUsOf(result)) {
    gpu.run = place;
    fGPUs.push_back(std::move(gpu));
  }
}

bool Runs::WasSilent() const {
  const Run& run = fAnswer.runs.back();
  const double last = run.output.lines.empty() ? 0 : run.output.lines.back().seconds;
  return fRequest.questionSeconds > 0 && run.seconds - last >= fRequest.questionSeconds;
}

}  // namespace gpuprowler
