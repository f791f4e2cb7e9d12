// What it takes to decide about a stored document by a list of a hundred rules, compared with the bare
// parsing of that document, for ten thousand made machines.
//
// Exits with 1 if something goes wrong, never for a time.
#include "median.h"

#include <gpuprowler/rules.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMachines = 10000;
constexpr int kEntries = 100;

// With the lines that a run of the prober has.
gpuprowler::Answer MakeMachine(std::mt19937& random) {
  gpuprowler::Answer answer;
  answer.system = gpuprowler::OperatingSystem{random() % 2 == 0 ? "linux" : "win", "6.1.0"};
  answer.adapters.resize(1 + random() % 3);
  answer.runs.resize(1);
  for (gpuprowler::Adapter& adapter : answer.adapters) {
    const std::size_t place = answer.gpus.size();
    adapter.vendorID = random() % 2 == 0 ? 0x10DE : 0x8086;
    adapter.deviceID = static_cast<std::uint32_t>(1 + random() % 0xFFFF);
    adapter.driverVersion = std::to_string(random() % 600) + ".1";
    gpuprowler::GPU& gpu = answer.gpus.emplace_back();
    gpu.adapter = place;
    gpu.tag = "glgpu[" + std::to_string(place) + "]";
    gpu.values = {{"glVersion", "GLVersion", "4.1"},
                  {"glRenderer", "GLRenderer", "GeForce " + std::to_string(random())}};
    for (int i = 0; i < 50; ++i)
      answer.runs[0].output.lines.push_back(
          {0.01 * i, gpu.tag + ".glGetIntegerv[GL_MAX_DRAW_BUFFERS]=[8]", 0, gpuprowler::LineKind::kFinding});
  }
  return answer;
}

std::string MakeRules() {
  nlohmann::json rules = {{"entries", nlohmann::json::array()}};
  for (int i = 1; i <= kEntries; ++i)
    rules["entries"].push_back({{"id", i},
                                {"os", {{"type", i % 3 == 0 ? "win" : "linux"}}},
                                {"vendor_id", "0x10de"},
                                {"driver_version", {{"op", "<"}, {"value", std::to_string(6 * i)}}},
                                {"gl_renderer", "(?i).*geforce [0-9]*" + std::to_string(i) + ".*"},
                                {"exceptions", {{{"device_id", {"0x1000-0x1FFF"}}}}},
                                {"features", {"feature" + std::to_string(i % 10)}}});
  return rules.dump();
}

template <class Work>
double Milliseconds(const Work& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

int main() {
  std::mt19937 random(1);
  gpuprowler::Rules rules;
  bool isSound = true;
  const double reading = Milliseconds([&] { isSound = rules.Add("rules", MakeRules()); });
  std::vector<double> bare, ours, deciding;
  int blocked = 0;
  for (int i = 0; i < kMachines; ++i) {
    const std::string document = AsJSON(MakeMachine(random));
    bare.push_back(Milliseconds([&] { isSound = nlohmann::json::parse(document).is_object() && isSound; }));
    std::optional<gpuprowler::Answer> answer;
    const double taking = Milliseconds([&] { answer = gpuprowler::AnswerOf(document); });
    isSound = answer && isSound;
    if (!isSound) break;
    deciding.push_back(Milliseconds(
        [&] { blocked += Check(rules, *answer).outcome == gpuprowler::Outcome::kBlocked ? 1 : 0; }));
    ours.push_back(taking + deciding.back());
  }
  if (!isSound || blocked == 0) return 1;
  std::printf("reading %d rules: %.2f ms\n", kEntries, reading);
  std::printf(
      "%d documents, %d blocked: bare parsing %.3f ms, reading and deciding %.3f ms (aim 5, the most %.3f), "
      "ratio %.2f\n",
      kMachines, blocked, Median(bare), Median(ours), *std::max_element(ours.begin(), ours.end()),
      Median(ours) / Median(bare));
  std::printf("deciding alone: %.3f ms\n", Median(deciding));
  return 0;
}
