// What is said of two answers.
#include "changed.h"
#include "expected.h"
#include "machines.h"

#include <ztutil/version.h>

#include <compare/meaning.h>
#include <gpuprowler/compare.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <run/steps.h>
#include <tell/documentfields.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>

namespace {

using namespace gpuprowler;
using std::string;

GPU MakeGPU(Interface interface, const string& name, std::optional<std::size_t> adapter) {
  const bool isOpenGL = interface == Interface::kOpenGL;
  GPU gpu;
  gpu.interface = interface;
  gpu.tag = isOpenGL ? "glgpu[0]" : "clgpu[0]";
  gpu.driver = isOpenGL ? 0 : 1;
  gpu.adapter = adapter;
  gpu.software = !adapter;
  gpu.complete = true;
  gpu.values = {{isOpenGL ? "glRenderer" : "clName", "", name}};
  return gpu;
}

// Two cards of a kind, of which OpenGL reaches both.
Answer Sound() {
  Answer answer;
  answer.verdict = Verdict::kFinished;
  answer.system = {"linux", "6.1"};
  Adapter card;
  card.name = "Card";
  card.vendorID = card.deviceID = 1;
  for (const char* const address : {"0000:01:00.0", "0000:02:00.0"}) {
    card.address = address;
    answer.adapters.push_back(card);
  }
  answer.adapters[1].memoryBytes = 1000;
  answer.drivers = {{Interface::kOpenGL, "a.json", "libA.so", "", 5, 6, Behaviour::kSound, "", ""},
                    {Interface::kOpenCL, "b.icd", "libB.so", "", 5, 6, Behaviour::kSound, "", ""}};
  answer.gpus = {MakeGPU(Interface::kOpenGL, "Card", 0), MakeGPU(Interface::kOpenGL, "Card", 1),
                 MakeGPU(Interface::kOpenCL, "Compute", {})};
  answer.gpus[1].values.insert(answer.gpus[1].values.end(), {{"glVersion", "", "4.1"},
                                                             {"glVendorID", "", std::int64_t{9}},
                                                             {"glMaxDrawBuffers", "", std::int64_t{8}},
                                                             {"glFrameBufferOK", "", true},
                                                             {"glMemoryMB", "", std::int64_t{1000}}});
  answer.gpus[2].values.push_back({"clBandwidth", "", 1e10});
  answer.runs.resize(1);
  answer.runs[0].values = {{"oglContextCreated", "", true}, {"numGLGPUs", "", std::int64_t{2}}};
  return answer;
}

// GPUs by a letter each for their card's ids and address, their driver and their name, "-" where there is
// none, and "s" for software. All parts have a number, with which they can be found.
Answer MachineOf(const string& gpus, int number) {
  Answer answer;
  std::istringstream words(gpus);
  for (string word; words >> word; ++number) {
    const auto part = [&](std::size_t place) { return word[place] == '-' ? "" : string(1, word[place]); };
    Adapter& adapter = answer.adapters.emplace_back();
    adapter.vendorID = adapter.deviceID = word[0] == '-' ? 0 : static_cast<std::uint32_t>(word[0]);
    adapter.address = part(1);
    Driver& driver = answer.drivers.emplace_back();
    driver.manifest = part(2);
    adapter.name = driver.library = part(3);
    driver.bytes = adapter.revision = static_cast<std::uint32_t>(number);
    GPU& gpu = answer.gpus.emplace_back();
    gpu.adapter = gpu.driver = answer.gpus.size() - 1;
    gpu.software = word.size() > 4;
    gpu.values = {{"glName", "", part(3)}, {"glVendorID", "", std::int64_t{number}}};
  }
  return answer;
}

// Which parts of MachineOf(before, 0) are which of MachineOf(after, 5), and what comes of others: "before |
// after".
string WhatIsTheSame(const string& machines) {
  const std::size_t bar = machines.find(" | ");
  string same, subject;
  for (const Change& change :
       Compare(MachineOf(machines.substr(0, bar), 0), MachineOf(machines.substr(bar + 3), 5)).changes) {
    if (change.subject != subject) same += " " + (subject = change.subject);
    if (change.key.empty()) same += string(" ") + EffectName(change.effect);
    if (change.key == "glVendorID" || change.key == "revision" || change.key == "bytes")
      same += " " + std::to_string(std::get<std::int64_t>(*change.before)) + "=" +
              std::to_string(std::get<std::int64_t>(*change.after));
  }
  return same;
}

// The rows of the file, each with what comes of it: changes of an answer, and machines.
TEST(CompareTest, Table) {
  std::istringstream rows(Expected("comparisons.txt"));
  string table;
  for (string row; std::getline(rows, row);) {
    if (row.rfind("/", 0) == 0) {
      const Comparison comparison = Compare(Sound(), Changed(Sound(), row));
      table += row + "\n" + AsText(comparison) + "\n";
      EXPECT_EQ(HasLost(comparison), AsText(comparison).rfind("Lost\n", 0) == 0);
    } else if (const std::size_t arrow = row.find(" ->"); row.find(" | ") < arrow && arrow != string::npos) {
      table += row.substr(0, arrow) + " ->" + WhatIsTheSame(row.substr(0, arrow)) + "\n";
    }
  }
  EXPECT_TRUE(AsExpected("comparisons.txt", table));
}

string NameOfEffect(const std::optional<Effect>& effect) { return effect ? EffectName(*effect) : "-"; }

// How less of each is taken, as far as that isn't as of any key.
TEST(CompareTest, KnowsWhatAKeyMeans) {
  std::set<string> keys;
  const auto put = [&](const char* key, auto) { keys.insert(key); };
  FieldsOf(static_cast<Answer*>(nullptr), put);
  FieldsOf(static_cast<Adapter*>(nullptr), put);
  FieldsOf(static_cast<Driver*>(nullptr), put);
  FieldsOf(static_cast<GPU*>(nullptr), put);
  for (const Step& step : Steps()) keys.insert(step.PlainKey());
  const auto effects = [](const string& key) {
    string told;
    for (const auto& [before, after] : std::initializer_list<std::pair<Datum, Datum>>{
             {103., 101.}, {103., 100.}, {103., 60.}, {true, false}, {"2.10 x", "2.9 x"}})
      told += " " + NameOfEffect(EffectOf(key, before, after, 1.5));
    return told + " " + NameOfEffect(EffectOfNone(key, 1., false)) + "\n";
  };
  const string ofAny = effects("any");
  string table = "any:" + ofAny;
  for (const string& key : keys)
    if (effects(key) != ofAny) table += key + ":" + effects(key);
  for (int i = 0; i <= static_cast<int>(kLast<Verdict>); ++i) {
    const string name = VerdictName(static_cast<Verdict>(i));
    table += "verdict " + name + ": " +
             NameOfEffect(EffectOf("verdict", "finished-with-failures", name, 1.5)) + "\n";
  }
  for (int i = 0; i <= static_cast<int>(kLast<Behaviour>); ++i) {
    const string name = BehaviourName(static_cast<Behaviour>(i));
    table += "behaviour " + name + ": " + NameOfEffect(EffectOf("behaviour", "unknown", name, 1.5)) + "\n";
  }
  EXPECT_TRUE(AsExpected("meanings.txt", table));
}

TEST(CompareTest, MakesADocument) {
  Answer after = Sound();
  after.time = "later";
  after.arguments = {"-a", "b\xFF"};
  after.adapters[1].memoryBytes = ~std::uint64_t{0};
  after.adapters[1].outputs = {"DP-1", "DP-2"};
  after.drivers.erase(after.drivers.begin());
  after.gpus.erase(after.gpus.begin());
  after.gpus[0].driver.reset();
  after.gpus[1].driver = 0;
  after.gpus[0].values = {{"glRenderer", "", "Card"}, {"new", "", std::vector<std::int64_t>{1, -1}}};
  after.gpus[1].values[1].value = 1.5e10;
  after.reasons = {{"code", "text", {}, {}}, {"code", "", {}, {}}};
  string document = AsJSON(Compare(Sound(), after, 1.4));
  const string version = ztutil::kVersion;
  document.replace(document.find(version), version.size(), "VERSION");
  EXPECT_TRUE(AsExpected("comparison.json", document));
}

// What one way loses the other way wins, and nothing is lost between a machine and itself.
TEST(CompareTest, IsTheSameBothWays) {
  const auto count = [](const Comparison& comparison, Effect effect) {
    return std::count_if(comparison.changes.begin(), comparison.changes.end(),
                         [&](const Change& change) { return change.effect == effect; });
  };
  for (unsigned number = 0; number < 200; ++number) {
    const Answer one = AnswerOfMachine(number), other = AnswerOfMachine(number + 1);
    const Comparison there = Compare(one, other), back = Compare(other, one);
    EXPECT_EQ(count(there, Effect::kLost), count(back, Effect::kWon)) << number;
    EXPECT_EQ(count(there, Effect::kWon), count(back, Effect::kLost)) << number;
    EXPECT_EQ(count(there, Effect::kChanged), count(back, Effect::kChanged)) << number;
    EXPECT_TRUE(Compare(one, *AnswerOf(AsJSON(one))).changes.empty()) << number;
    const auto document = nlohmann::json::parse(AsJSON(there));
    EXPECT_EQ(document["changes"].size(), there.changes.size());
    EXPECT_EQ(document["lost"], HasLost(there));
  }
}

}  // namespace
