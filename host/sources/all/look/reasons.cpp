#include "reasons.h"

#include <algorithm>

namespace gpuprowler {

namespace {

const char* NameOf(Interface interface) { return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"; }

// The library without its folder, which tells more of the machine than of the driver.
std::string FileOf(const Driver& driver) {
  return driver.library.substr(driver.library.find_last_of("/\\") + 1);
}

// The code and what the driver has done; nothing where it has behaved.
struct Misbehaviour {
  const char* code;
  const char* text;
};
std::optional<Misbehaviour> MisbehaviourOf(Behaviour behaviour) {
  switch (behaviour) {
    case Behaviour::kFailed:
      return Misbehaviour{"driver-failed", " failed"};
    case Behaviour::kEnded:
      return Misbehaviour{"driver-ended", " ended the process"};
    case Behaviour::kCrashed:
      return Misbehaviour{"driver-crashed", " crashed"};
    case Behaviour::kHung:
      return Misbehaviour{"driver-hung", " hung"};
    case Behaviour::kSetAside:
      return Misbehaviour{"driver-set-aside", " is set aside, having misbehaved earlier"};
    case Behaviour::kUnknown:
    case Behaviour::kSound:
      break;
  }
  return std::nullopt;
}

void AddMisbehaviour(Answer& answer, std::size_t index) {
  const Driver& driver = answer.drivers[index];
  const auto misbehaviour = MisbehaviourOf(driver.behaviour);
  if (!misbehaviour) return;
  std::string text = std::string(NameOf(driver.interface)) + " driver " + FileOf(driver) + misbehaviour->text;
  if (!driver.question.empty()) text += ", asked for " + driver.question;
  answer.reasons.push_back({misbehaviour->code, text + ".", {}, index});
}

// OpenGL 1.1 of Windows itself, for which there needs no driver to be.
bool IsWindowsOwn(const GPU& gpu) {
  const Value* const renderer = gpu.Find("glRenderer");
  return renderer != nullptr && renderer->value == decltype(renderer->value)("GDI Generic");
}

// A GPU that has answered knows better than what a machine looks like from outside.
void RemoveDisproved(Answer& answer) {
  for (const GPU& gpu : answer.gpus) {
    if (IsWindowsOwn(gpu)) continue;
    const std::string none = gpu.interface == Interface::kOpenGL ? "no-opengl-" : "no-opencl-";
    const auto isDisproved = [&](const Reason& reason) {
      return reason.code == none + "library" || reason.code == none + "driver";
    };
    auto& reasons = answer.reasons;
    reasons.erase(std::remove_if(reasons.begin(), reasons.end(), isDisproved), reasons.end());
  }
}

// Whether that can be why OpenGL has no card.
bool ConcernsOpenGL(const Reason& reason, const Answer& answer) {
  if (reason.driver) return answer.drivers[*reason.driver].interface == Interface::kOpenGL;
  return reason.code.find("opencl") == std::string::npos;
}

// A machine without a card has nothing better than software, and a reason of its own. So has a card that is
// out of reach.
void AddOnlySoftware(Answer& answer) {
  const auto isHardware = [](const GPU& gpu) { return gpu.interface == Interface::kOpenGL && !gpu.software; };
  const auto isOpenGL = [](const GPU& gpu) { return gpu.interface == Interface::kOpenGL; };
  const auto& gpus = answer.gpus;
  if (answer.adapters.empty() || std::none_of(gpus.begin(), gpus.end(), isOpenGL) ||
      std::any_of(gpus.begin(), gpus.end(), isHardware) ||
      std::any_of(answer.reasons.begin(), answer.reasons.end(),
                  [&](const Reason& reason) { return ConcernsOpenGL(reason, answer); }))
    return;
  std::string names;
  for (const Adapter& adapter : answer.adapters) names += (names.empty() ? "" : ", ") + adapter.name;
  answer.reasons.push_back(
      {"only-software", "OpenGL is only rendered in software, not by " + names + ".", {}, {}});
}

}  // namespace

void AddReasons(Answer& answer) {
  RemoveDisproved(answer);
  for (std::size_t i = 0; i < answer.drivers.size(); ++i) AddMisbehaviour(answer, i);
  AddOnlySoftware(answer);
}

void AddMissingDrivers(Interface interface, Machine& machine) {
  bool isAny = false;
  for (std::size_t i = 0; i < machine.drivers.size(); ++i) {
    const Driver& driver = machine.drivers[i];
    if (driver.interface != interface) continue;
    isAny = true;
    if (!driver.path.empty()) continue;
    machine.reasons.push_back({"driver-library-missing",
                               std::string(NameOf(interface)) + " driver " + FileOf(driver) +
                                   " is registered, but its file isn't there.",
                               {},
                               i});
  }
  if (isAny) return;
  const bool isOpenGL = interface == Interface::kOpenGL;
  machine.reasons.push_back({isOpenGL ? "no-opengl-driver" : "no-opencl-driver",
                             std::string("No driver for ") + NameOf(interface) + " is installed.",
                             {},
                             {}});
}

}  // namespace gpuprowler
