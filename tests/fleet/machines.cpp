#include "machines.h"

#include <run/steps.h>

#include <random>
#include <string>
#include <utility>

using namespace gpuprowler;

namespace {

using std::string;

class Machine {
 public:
  explicit Machine(unsigned number) : fNumber(number), fRandom(number) {}

  Answer Ask() {
    const bool crashes = fNumber % 67 == 13;
    fAnswer.verdict = crashes ? Verdict::kCrashed : Verdict::kFinished;
    fAnswer.text = crashes ? "The prober crashed: signal 11 (SIGSEGV)" : "The prober finished";
    fAnswer.time = "2026-11-22T05:" + std::to_string(10 + Roll(50)) + ":05Z";
    fAnswer.seconds = 1 + Roll(3000) / 1000.;
    AddDrivers();
    fAnswer.runs.emplace_back().verdict = fAnswer.verdict;
    for (unsigned card = 0, cards = 1 + Roll(2); card < cards; ++card) AddCard(card, crashes);
    if (crashes) {
      fAnswer.drivers[0].behaviour = Behaviour::kCrashed;
      fAnswer.drivers[0].question = "glgpu[0].GLVersion";
      fAnswer.reasons.push_back({"driver-crashed", "OpenGL driver libEGL_mesa.so.0 crashed.", {}, 0});
    }
    return std::move(fAnswer);
  }

 private:
  unsigned Roll(unsigned sides) { return static_cast<unsigned>(fRandom() % sides); }

  string VersionText() {
    const unsigned major = 2 + Roll(3), minor = Roll(3);  // in this order
    return std::to_string(major) + "." + std::to_string(minor);
  }

  void AddDrivers() {
    fAnswer.drivers.push_back({Interface::kOpenGL, "/usr/share/glvnd/egl_vendor.d/50_mesa.json",
                               "libEGL_mesa.so.0", "/usr/lib/libEGL_mesa.so.0", 288248, 0, Behaviour::kSound,
                               "", ""});
    fAnswer.drivers.push_back({Interface::kOpenCL, "/etc/OpenCL/vendors/mesa.icd", "libMesaOpenCL.so.1",
                               "/usr/lib/libMesaOpenCL.so.1", 123456, 0, Behaviour::kSound, "", ""});
  }

  void AddCard(unsigned card, bool crashes) {
    const unsigned model = Roll(40);
    Adapter& adapter = fAnswer.adapters.emplace_back();
    adapter.address = "0000:0" + std::to_string(1 + card) + ":00.0";
    adapter.name = "Card " + std::to_string(model) + (fNumber % 67 == 14 ? "\"} 1\n\\x{a=\"\u202E" : "");
    adapter.vendorID = 0x1002;
    adapter.deviceID = 0x6700 + model;
    adapter.driver = "amdgpu";
    adapter.driverVersion = "6.1." + std::to_string(Roll(30));
    adapter.memoryBytes = std::uint64_t{1} << (30 + Roll(5));
    adapter.mayOpen = true;
    if (!crashes) AddGPU(Interface::kOpenGL, Scope::kGLGPU, card);
    AddGPU(Interface::kOpenCL, Scope::kCLGPU, card);
  }

  void AddGPU(Interface interface, Scope scope, unsigned card) {
    GPU& gpu = fAnswer.gpus.emplace_back();
    gpu.interface = interface;
    gpu.tag = (scope == Scope::kGLGPU ? "glgpu[" : "clgpu[") + std::to_string(card) + "]";
    gpu.driver = interface == Interface::kOpenGL ? 0 : 1;
    gpu.adapter = card;
    gpu.complete = true;
    for (const Step& step : Steps()) {
      if (step.scope != scope) continue;
      Value value{step.PlainKey(), string(step.key), ""};
      if (step.form == Form::kText)
        value.value = VersionText() + " of card " + std::to_string(card);
      else if (step.form == Form::kFlag)
        value.value = Roll(20) > 0;
      else if (step.form == Form::kReal)
        value.value = 1e9 * (1 + Roll(9));
      else
        value.value = std::int64_t{1024} << Roll(4);
      AddLine(gpu.tag + "." + value.reportKey + "=1");
      gpu.values.push_back(std::move(value));
    }
  }

  void AddLine(const string& text) {
    std::vector<Line>& lines = fAnswer.runs[0].output.lines;
    lines.push_back({0.01 * static_cast<double>(lines.size()), text, 0, LineKind::kFinding});
  }

  const unsigned fNumber;
  std::mt19937 fRandom;
  Answer fAnswer;
};

}  // namespace

Answer AnswerOfMachine(unsigned number) { return Machine(number).Ask(); }
