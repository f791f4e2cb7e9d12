#include "isolation.h"
#include "look/attribution.h"
#include "look/machine.h"
#include "look/reasons.h"
#include "remember/fingerprint.h"
#include "remember/memory.h"
#include "run/runplatform.h"
#include "runs.h"
#include "showing.h"

#include <ztutil/clock.h>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace gpuprowler {

namespace {

constexpr double kFirstShare = 0.5;  // of the time, for a first run that others may have to follow

std::string TimeNow() {
  namespace time = boost::posix_time;
  return time::to_iso_extended_string(time::second_clock::universal_time()) + "Z";
}

std::string MemoryFolder(const Request& request) {
  if (!request.remember) return "";
  return request.memoryFolder.empty() ? UsersMemoryFolder() : request.memoryFolder;
}

// What follows the numbers of a release may name a host.
std::string NumbersOf(const std::string& release) {
  return release.substr(0, release.find_first_not_of("0123456789."));
}

Answer AnswerAbout(const Machine& machine) {
  Answer answer;
  answer.system = OperatingSystem{machine.systemType, NumbersOf(machine.system)};
  answer.adapters = machine.adapters;
  answer.drivers = machine.drivers;
  answer.reasons = machine.reasons;
  return answer;
}

// Marks the drivers that have misbehaved earlier. Where a loader can't be told to leave one out it's asked
// again.
void LeaveOut(const Memory& memory, const Machine& machine, Answer& answer) {
  const std::vector<SetAside> known = memory.GetSetAside();
  for (Driver& driver : answer.drivers) {
    const std::string fingerprint = FingerprintOf(machine, driver);
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const SetAside& one) { return one.fingerprint == fingerprint; });
    if (found == known.end() || !CanBeHidden(driver)) continue;
    driver.behaviour = Behaviour::kSetAside;
    driver.question = found->question;
    driver.since = found->since;
  }
}

// The run that costs the drivers nothing, where all of them are sound.
void RunTogether(Runs& runs, const Request& request, Answer& answer) {
  Runs::Drivers drivers;
  for (std::size_t i = 0; i < answer.drivers.size(); ++i)
    if (answer.drivers[i].behaviour != Behaviour::kSetAside) drivers.push_back(i);
  const bool mayIsolate = request.isolate && CanIsolate(answer, drivers);
  runs.Make(drivers, request.seconds * (mayIsolate ? kFirstShare : 1));
}

// The same where the drivers that were set aside can't be hidden just now.
void RunAll(Runs& runs, const Request& request, Answer& answer, const std::string& why) {
  for (Driver& driver : answer.drivers) {
    driver.behaviour = Behaviour::kUnknown;
    driver.question.clear();
    driver.since.clear();
  }
  RunTogether(runs, request, answer);
  answer.runs[0].notes.push_back(why);
}

void JudgeDriversTogether(Answer& answer) {
  for (const std::size_t driver : answer.runs[0].drivers)
    if (!answer.drivers[driver].path.empty()) answer.drivers[driver].behaviour = BehaviourIn(answer.runs[0]);
}

// Once it's known whose the GPUs are.
void JudgeDriversByGPUs(Answer& answer) {
  for (const GPU& gpu : answer.gpus) {
    if (!gpu.driver || gpu.failed.empty()) continue;
    Driver& driver = answer.drivers[*gpu.driver];
    if (driver.behaviour != Behaviour::kSound) continue;
    driver.behaviour = Behaviour::kFailed;
    driver.question = gpu.failed.front();
  }
}

// Those that have ended a run of their own.
void SetAsideCulprits(Memory& memory, const Machine& machine, Answer& answer) {
  for (Driver& driver : answer.drivers) {
    const Behaviour behaviour = driver.behaviour;
    if (behaviour < Behaviour::kFailed || behaviour > Behaviour::kHung || !CanBeHidden(driver)) continue;
    driver.since = answer.time;
    memory.Put({FingerprintOf(machine, driver), driver.interface, driver.manifest, driver.behaviour,
                driver.question, driver.since});
  }
}

// Those that were asked again and have come to their end.
void TakeBack(Memory& memory, const Machine& machine, const Answer& answer) {
  for (const Driver& driver : answer.drivers)
    if (driver.behaviour == Behaviour::kSound) memory.Drop(FingerprintOf(machine, driver));
}

void Conclude(const Runs& runs, Answer& answer) {
  answer.verdict = answer.runs[0].verdict;
  answer.text = answer.runs[0].text;
  if (runs.IsCancelled() && HasEndedBadly(answer.runs[0])) {
    answer.verdict = Verdict::kInterrupted;
    answer.text += "; what was to follow was interrupted";
  }
  if (answer.runs.size() == 1) answer.gpus = runs.GetGPUs();
  Attribute(answer);
  JudgeDriversByGPUs(answer);
  AddReasons(answer);
}

}  // namespace

const Value* GPU::Find(const std::string& key) const {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const Value& value) { return value.key == key; });
  return found != values.end() ? &*found : nullptr;
}

Answer Look() { return AnswerAbout(LookAtMachine()); }

Answer Ask(const Request& request) {
  const double start = ztutil::Now();
  const Machine machine = LookAtMachine();
  Answer answer = AnswerAbout(machine);
  answer.prober = request.prober.empty() ? platform::DefaultProber() : request.prober;
  answer.arguments = request.arguments;
  answer.time = TimeNow();

  const std::string folder = MemoryFolder(request);
  Memory memory(folder);
  const std::string fingerprint = FingerprintOf(machine, request, answer.prober);
  if (!request.fresh) {
    if (const auto remembered = memory.Recall(fingerprint)) return *remembered;
    LeaveOut(memory, machine, answer);
  }

  Runs runs(request, answer);
  try {
    RunTogether(runs, request, answer);
  } catch (const std::runtime_error& why) {
    RunAll(runs, request, answer, why.what());
  }
  if (!HasEndedBadly(answer.runs[0])) {
    JudgeDriversTogether(answer);
  } else if (request.isolate) {
    Isolate(runs, answer);
    if (!folder.empty()) SetAsideCulprits(memory, machine, answer);
  }

  Conclude(runs, answer);
  if (request.fresh) TakeBack(memory, machine, answer);
  answer.seconds = ztutil::Now() - start;
  memory.Keep(fingerprint, answer);
  return answer;
}

}  // namespace gpuprowler
