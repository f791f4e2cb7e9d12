#include "isolation.h"

#include "showing.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace gpuprowler {

namespace {

// Those that a loader can have loaded.
Runs::Drivers Loadable(const Answer& answer, const Runs::Drivers& drivers) {
  Runs::Drivers loadable;
  for (const std::size_t driver : drivers)
    if (!answer.drivers[driver].path.empty()) loadable.push_back(driver);
  return loadable;
}

// Whether it was the drivers' turn when the run ended: before, it's the prober's.
bool HasComeToDrivers(const Run& run) {
  return std::any_of(run.values.begin(), run.values.end(),
                     [](const Value& value) { return value.key == "prowlerStart"; });
}

bool BeginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

// Of a question, whichever GPU it was put to.
std::string KeyOf(const std::string& question) { return question.substr(question.find('.') + 1); }

// The interface whose turn it was, as far as can be told.
Interface AskedInterface(const Run& run) {
  const std::string asked = run.asked.empty() ? "" : run.asked.front();
  return BeginsWith(asked, "clgpu[") || BeginsWith(asked, "NumCL") ? Interface::kOpenCL : Interface::kOpenGL;
}

class Isolation {
 public:
  Isolation(Runs& runs, Answer& answer)
      : fRuns(runs), fAnswer(answer), fSuspects(Loadable(answer, answer.runs[0].drivers)) {
    // The likely culprits last: they may take all the time that is left to them.
    const Interface asked = AskedInterface(answer.runs[0]);
    std::stable_partition(fSuspects.begin(), fSuspects.end(),
                          [&](std::size_t driver) { return answer.drivers[driver].interface != asked; });
  }

  void Run() {
    try {
      if (fSuspects.size() == 1)
        fRunOf[fSuspects[0]] = 0;
      else if (CanIsolate(fAnswer, fSuspects))
        AskAlone();
      else if (!fSuspects.empty())
        Note("its drivers can't be hidden from each other, so that it isn't known which one it was");
      if (AreAllBad()) AskNone();
    } catch (const std::runtime_error& why) {
      Note(why.what());
    }
    Conclude();
    GatherGPUs();
  }

 private:
  void AskAlone() {
    for (std::size_t i = 0; i < fSuspects.size() && HasTime(); ++i) {
      const std::size_t driver = fSuspects[i];
      if (!CanBeHidden(fAnswer.drivers[driver])) continue;  // it's a part of all runs
      const std::size_t others = fSuspects.size() - i - 1 + (AreAllBad() ? 1 : 0);
      fRuns.Make({driver}, fRuns.SecondsLeft() / static_cast<double>(1 + others));
      fRunOf[driver] = fAnswer.runs.size() - 1;
      if (!fRuns.WasTimeUp() || HasHung(fAnswer.runs.back())) continue;
      fUnproven.insert(driver);
      Note(fAnswer.drivers[driver].library + " wasn't asked to the end: there was no time left for it");
    }
  }

  // Of a run whose time was up. On a slow machine a share of the time may be too little for a sound driver.
  bool HasHung(const gpuprowler::Run& run) const {
    const gpuprowler::Run& first = fAnswer.runs[0];
    const auto wasAskedFirst = [&](const std::string& asked) {
      return std::any_of(first.asked.begin(), first.asked.end(),
                         [&](const std::string& other) { return KeyOf(other) == KeyOf(asked); });
    };
    return first.verdict == Verdict::kHung &&
           (fRuns.WasSilent() || std::any_of(run.asked.begin(), run.asked.end(), wasAskedFirst));
  }

  // Without any driver that can be hidden.
  void AskNone() {
    if (!HasTime() || !CanIsolate(fAnswer, fSuspects)) return;
    fRuns.Make({}, fRuns.SecondsLeft());
    const std::size_t run = fAnswer.runs.size() - 1;
    if (fRuns.WasTimeUp() || !HasEndedBadly(fAnswer.runs[run])) return;
    Note("it ends badly without any driver that can be hidden, too, so that it's none of these");
    fUnproven.insert(fSuspects.begin(), fSuspects.end());
    const Runs::Drivers rest = Loadable(fAnswer, fAnswer.runs[run].drivers);
    if (rest.size() != 1) return;
    fUnproven.erase(rest[0]);
    fRunOf[rest[0]] = run;
  }

  bool HasTime() const { return fRuns.SecondsLeft() > 0 && !fRuns.IsCancelled(); }

  // Also as long as none was asked.
  bool AreAllBad() const {
    return std::all_of(fRunOf.begin(), fRunOf.end(),
                       [&](const auto& asked) { return HasEndedBadly(fAnswer.runs[asked.second]); });
  }

  void Conclude() {
    std::size_t sound = 0;
    for (const auto& [place, run] : fRunOf) {
      if (fUnproven.count(place) > 0) continue;
      Driver& driver = fAnswer.drivers[place];
      const gpuprowler::Run& own = fAnswer.runs[run];
      driver.behaviour = BehaviourIn(own);
      if (driver.behaviour == Behaviour::kSound) ++sound;
      if (HasEndedBadly(own) && !own.asked.empty()) driver.question = own.asked.front();
    }
    if (sound > 0 && sound == fSuspects.size())
      Note("asked alone, each of its " + std::to_string(sound) + " drivers comes to its end");
  }

  // An interface's GPUs are from its drivers' own runs, or, if none has one, from the run that has told most.
  void GatherGPUs() {
    for (const Interface interface : {Interface::kOpenGL, Interface::kOpenCL}) {
      std::set<std::size_t> chosen;
      for (const auto& [driver, run] : fRunOf)
        if (fAnswer.drivers[driver].interface == interface) chosen.insert(run);
      if (chosen.empty()) chosen.insert(RunWithMost(interface));
      for (const GPU& gpu : fRuns.GetGPUs())
        if (gpu.interface == interface && chosen.count(gpu.run) > 0) fAnswer.gpus.push_back(gpu);
    }
  }

  std::size_t RunWithMost(Interface interface) const {
    std::vector<std::size_t> complete(fAnswer.runs.size());
    for (const GPU& gpu : fRuns.GetGPUs())
      if (gpu.interface == interface && gpu.complete) ++complete[gpu.run];
    return static_cast<std::size_t>(std::max_element(complete.begin(), complete.end()) - complete.begin());
  }

  void Note(const std::string& note) {
    std::vector<std::string>& notes = fAnswer.runs[0].notes;
    if (notes.empty() || notes.back() != note) notes.push_back(note);
  }

  Runs& fRuns;
  Answer& fAnswer;
  Runs::Drivers fSuspects;
  std::map<std::size_t, std::size_t> fRunOf;  // each driver's own
  std::set<std::size_t> fUnproven;            // drivers whose run says nothing about them
};

}  // namespace

bool HasEndedBadly(const Run& run) {
  switch (run.verdict) {
    case Verdict::kEndedEarly:
    case Verdict::kCrashed:
    case Verdict::kHung:
      return true;
    default:
      return run.verdict == Verdict::kFailures && !run.complete;
  }
}

Behaviour BehaviourIn(const Run& run) {
  switch (run.verdict) {
    case Verdict::kFinished:
      return Behaviour::kSound;
    case Verdict::kFailures:
      return run.complete ? Behaviour::kSound : Behaviour::kFailed;
    case Verdict::kEndedEarly:
      return Behaviour::kEnded;
    case Verdict::kCrashed:
      return Behaviour::kCrashed;
    case Verdict::kHung:
      return Behaviour::kHung;
    default:
      return Behaviour::kUnknown;
  }
}

bool CanIsolate(const Answer& answer, const Runs::Drivers& drivers) {
  return std::any_of(drivers.begin(), drivers.end(),
                     [&](std::size_t driver) { return CanBeHidden(answer.drivers[driver]); });
}

void Isolate(Runs& runs, Answer& answer) {
  if (HasComeToDrivers(answer.runs[0])) Isolation(runs, answer).Run();
}

}  // namespace gpuprowler
