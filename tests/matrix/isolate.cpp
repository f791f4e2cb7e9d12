#include "isolate.h"

#include "calls.h"
#include "proberprocess.h"

#include <gpuprowler/answer.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>

namespace {

using gpuprowler::Answer;
using gpuprowler::Behaviour;
using std::string;

constexpr double kSeconds = 15;
constexpr double kQuestionSeconds = 2;
constexpr double kMoreSeconds = 3;  // that an answer may take at most
constexpr double kPatience = 6;     // times as much, where the machine is too slow for that

struct Place {
  string name, variable, before;  // the variable is `before` and the action
  string culprit, question;
};

struct Action {
  const char* rule;
  Behaviour behaviour;
};

constexpr Action kActions[] = {{"segv", Behaviour::kCrashed},
                               {"abort", Behaviour::kCrashed},
                               {"hang", Behaviour::kHung},
                               {"exit:0", Behaviour::kEnded}};

constexpr char kVendor[] = "librigegl.so", kLayered[] = "libpocl.so.2", kBadICD[] = "librigbadicd.so";

// In the order of a run, but for what an OpenCL driver does before a layer is asked.
std::vector<Place> Places(bool all) {
  std::vector<Place> places = {{"load of a driver", "RIG_BAD_ICD", "load=", kBadICD, "NumCLGPUs"},
                               {"enumeration", "RIG_BAD_ICD", "enumerate=", kBadICD, "NumCLGPUs"}};
  std::size_t count = 0;
  for (const Call& call : Calls(false)) {
    const bool isEnumeration = call.number == 1 && call.function == "eglQueryDevicesEXT";
    if (!call.isAsked && !isEnumeration) continue;
    const bool isPart = isEnumeration || count++ % 9 == 0;
    if (!all && !isPart) continue;
    const string place = call.function + "@" + std::to_string(call.number);
    places.push_back(
        {place, "RIG_FAULT", place + "=", call.function[0] == 'c' ? kLayered : kVendor, call.question});
  }
  return places;
}

// A folder with these drivers for OpenCL's loader.
string DriverFolder(const std::vector<string>& libraries) {
  string folder = ScratchFile("icd");
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  for (const string& library : libraries)
    std::ofstream(folder + "/" + std::filesystem::path(library).filename().string() + ".icd")
        << library << "\n";
  return folder;
}

// This process's own environment becomes that of a machine with two EGL vendors and two OpenCL drivers, or
// three.
void SetMachine(const Place& place, const string& action) {
  std::vector<string> libraries = {kLayered, "libRusticlOpenCL.so.1"};
  if (place.culprit == kBadICD) libraries.push_back(BuildFile("lib/") + kBadICD);
  std::filesystem::create_directory(ScratchFile("temporary"));
  Environment machine = Drivers({
      {"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("rig/egl/rigegl.json") + ":" + BuildFile("e2e/mesa.json")},
      {"OCL_ICD_VENDORS", DriverFolder(libraries)},
      {"RUSTICL_ENABLE", "llvmpipe"},
      {"RUSTICL_DEVICE_TYPE", "gpu"},
      {"RIG_BAD_ICD", "none="},
      {"TMPDIR", ScratchFile("temporary")},
  });
  if (place.culprit == kLayered) machine["RIG_FAULT_ONLY_WITH"] = kLayered;
  if (!action.empty()) machine[place.variable] = place.before + action;
  clearenv();
  for (const auto& [name, value] : machine) setenv(name.c_str(), value.c_str(), 1);
}

gpuprowler::Request MakeRequest(double times = 1) {
  gpuprowler::Request request;
  request.prober = BuildFile("bin/gpuprowler");
  request.seconds = times * kSeconds;
  request.questionSeconds = times * kQuestionSeconds;
  request.remember = false;
  return request;
}

bool IsCulprit(const gpuprowler::Driver& driver, const Place& place) {
  return std::filesystem::path(driver.library).filename() == place.culprit;
}

// Whether the bounds, and not a fault, have ended a sound driver's run.
bool WasTooSlow(const Answer& answer, const Place& place) {
  return std::any_of(answer.drivers.begin(), answer.drivers.end(), [&](const gpuprowler::Driver& driver) {
    return !IsCulprit(driver, place) &&
           (driver.behaviour == Behaviour::kHung || driver.behaviour == Behaviour::kUnknown);
  });
}

// Its GPUs are there and whole, though another driver did harm.
void CheckSound(const Answer& answer, std::size_t driver) {
  const string name = answer.drivers[driver].library;
  Require(answer.drivers[driver].behaviour == Behaviour::kSound, name + " isn't called sound");
  std::size_t count = 0;
  for (const gpuprowler::GPU& gpu : answer.gpus) {
    if (gpu.driver != driver) continue;
    ++count;
    const bool isOpenGL = gpu.interface == gpuprowler::Interface::kOpenGL;
    Require(gpu.complete && gpu.Find(isOpenGL ? "glMaxDrawBuffers" : "clCompute") != nullptr,
            name + "'s " + gpu.tag + " isn't complete");
  }
  Require(count == 1, name + " has " + std::to_string(count) + " GPUs");
}

// Throws what is wrong.
void Check(const Answer& answer, const Place& place, Behaviour behaviour, double seconds) {
  for (std::size_t i = 0; i < answer.drivers.size(); ++i) {
    if (!IsCulprit(answer.drivers[i], place)) {
      CheckSound(answer, i);
      continue;
    }
    Require(answer.drivers[i].behaviour == behaviour, "the culprit isn't named");
    const auto own = std::find_if(answer.runs.begin(), answer.runs.end(), [&](const gpuprowler::Run& run) {
      return run.alone && run.drivers[0] == i;
    });
    Require(own != answer.runs.end() && std::count(own->asked.begin(), own->asked.end(), place.question) == 1,
            place.question + " isn't among what was asked");
  }
  Require(answer.runs.size() == 1 + answer.drivers.size(),
          "there are " + std::to_string(answer.runs.size()) + " runs");
  Require(answer.seconds < seconds + kMoreSeconds, "it came too late");
  Require(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD, "a process is left");
  Require(std::filesystem::is_empty(ScratchFile("temporary")), "a file is left");
}

// Prints the row; false if something in it is wrong.
bool Passes(const Place& place, const Action& action) {
  std::printf("%-34s %-7s", place.name.c_str(), action.rule);
  try {
    SetMachine(place, action.rule);
    gpuprowler::Request request = MakeRequest();
    Answer answer = Ask(request);
    if (WasTooSlow(answer, place)) answer = Ask(request = MakeRequest(kPatience));
    std::printf("%-12s %zu runs %6.2f s  ", VerdictName(answer.verdict), answer.runs.size(), answer.seconds);
    Check(answer, place, action.behaviour, request.seconds);
    std::printf("%s: %s\n", place.culprit.c_str(), place.question.c_str());
    return true;
  } catch (const std::exception& wrong) {
    std::printf("WRONG: %s\n", wrong.what());
    return false;
  }
}

}  // namespace

bool Isolate(bool all) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::size_t rows = 0, wrong = 0, turn = 0;
  for (const Place& place : Places(all)) {
    for (const Action& action : kActions) {
      // Who ends a process that ends does no harm.
      if (place.question == "exit" && action.behaviour == Behaviour::kEnded) continue;
      if (!all && &action != &kActions[turn % std::size(kActions)]) continue;
      ++rows;
      wrong += Passes(place, action) ? 0 : 1;
    }
    ++turn;
  }
  std::printf("%zu rows, %zu wrong\n", rows, wrong);
  return wrong == 0 && rows > 0;
}
