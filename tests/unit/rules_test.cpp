// What rules and requirements make of an answer.
#include "changed.h"
#include "expected.h"

#include <ztutil/version.h>

#include <decide/intelseries.h>
#include <gpuprowler/rules.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using gpuprowler::Answer;
using gpuprowler::Decision;
using gpuprowler::Interface;
using gpuprowler::Rules;
using std::string;

// A laptop: Intel's card renders by Mesa, NVIDIA's by a driver of its own; OpenCL reaches the latter.
Answer Laptop() {
  Answer answer;
  answer.system = gpuprowler::OperatingSystem{"linux", "6.1.0"};
  answer.adapters.resize(2);
  gpuprowler::Adapter &intel = answer.adapters[0], &nvidia = answer.adapters[1];
  intel.vendorID = 0x8086;
  intel.deviceID = 0x5916;
  intel.revision = 2;
  intel.driver = "i915";
  intel.driverVersion = "6.1.0-13-amd64";
  nvidia.vendorID = 0x10DE;
  nvidia.deviceID = 0x1C8D;
  nvidia.driver = "nvidia";
  nvidia.driverVersion = "535.54.03";
  nvidia.driverDate = "2023-06-06";
  answer.runs.resize(1);
  answer.runs[0].values = {{"numGLGPUs", "NumGLGPUs", std::int64_t{2}}};
  answer.gpus.resize(3);
  for (gpuprowler::GPU& gpu : answer.gpus) gpu.complete = true;
  answer.gpus[0].tag = "glgpu[0]";
  answer.gpus[0].adapter = 0;
  answer.gpus[0].values = {{"glVersion", "", "4.1"},
                           {"glVendor", "", "Intel"},
                           {"glRenderer", "", "Mesa Intel(R) HD Graphics 620 (KBL GT2)"},
                           {"glArbTextureFloat", "extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT]", true},
                           {"glMaxDrawBuffers", "", std::int64_t{8}},
                           {"canCompileProgramGLSL", "", true}};
  answer.gpus[1].tag = "glgpu[1]";
  answer.gpus[1].adapter = 1;
  answer.gpus[1].values = {{"glVersion", "", "3.2"}, {"glVendor", "", "NVIDIA Corporation"}};
  answer.gpus[2].interface = Interface::kOpenCL;
  answer.gpus[2].tag = "clgpu[0]";
  answer.gpus[2].values = {{"clVersion", "", "1.2"}, {"clBandwidth", "", 1.5e11}};
  return answer;
}

// With ' for ".
string OutcomeOf(string conditions, const Answer& answer) {
  std::replace(conditions.begin(), conditions.end(), '\'', '"');
  Rules rules;
  rules.Add("r", R"({"entries": [{"id": 1, "features": ["f"])" + string(conditions.empty() ? "" : ", ") +
                     conditions + "}]}");
  const Decision decision = Check(rules, answer, {"f"});
  string told = gpuprowler::OutcomeName(decision.outcome);
  for (const gpuprowler::RuleError& error : decision.errors) told = AsText(error);
  for (const auto& entry : decision.entries)
    for (const string& member : entry.unknown) told += " " + member;
  return told;
}

// The conditions of a rule, with changes of the answer in front; a whole file; a requirement.
string Told(const string& row, const Answer& answer) {
  Rules rules;
  if (row.rfind("file ", 0) == 0 && !rules.Add("r", row.substr(5))) return AsText(rules.GetErrors().at(0));
  if (row.rfind("require ", 0) == 0 && !rules.Require(row.substr(8))) return rules.GetErrors().at(0).text;
  if (row[0] == 'f' || row[0] == 'r') {
    const Decision decision = Check(rules, answer);
    string told = gpuprowler::OutcomeName(decision.outcome);
    for (const auto& gpu : decision.gpus) told += " " + gpu.name + "=" + gpuprowler::OutcomeName(gpu.outcome);
    return told;
  }
  const std::size_t bar = row.find(" | ");
  return bar == string::npos ? OutcomeOf(row, answer)
                             : OutcomeOf(row.substr(bar + 3), Changed(answer, row.substr(0, bar)));
}

// The rows of the file, each with what comes of it. "with" begins others, of the laptop with these changes.
TEST(RulesTest, Table) {
  std::istringstream rows(Expected("rules.txt"));
  string table;
  Answer answer = Laptop();
  for (string row; std::getline(rows, row); table += row + "\n") {
    const std::size_t end = row.rfind(" -> ");
    if (row.rfind("with", 0) == 0)
      answer = Changed(Laptop(), row.substr(std::min<std::size_t>(row.size(), 5)));
    if (end != string::npos) row = row.substr(0, end) + " -> " + Told(row.substr(0, end), answer);
  }
  EXPECT_TRUE(AsExpected("rules.txt", table));
}

// Cards that OpenGL doesn't reach, machines without one, and what renders without one.
TEST(RulesTest, MatchWhatIsThere) {
  const char* const ofNVIDIA = "'multi_gpu_category': 'any', 'gl_vendor': 'NVIDIA.*'";
  Answer answer = Laptop();
  answer.gpus.erase(answer.gpus.begin() + 1);
  EXPECT_EQ(OutcomeOf(ofNVIDIA, answer), "warned gl_vendor");
  answer.verdict = gpuprowler::Verdict::kFinished;
  EXPECT_EQ(OutcomeOf(ofNVIDIA, answer), "allowed");
  answer.gpus.clear();
  EXPECT_EQ(OutcomeOf(ofNVIDIA, answer), "warned gl_vendor");

  answer = Laptop();
  answer.gpus[0].adapter = 1;
  EXPECT_EQ(OutcomeOf("'vendor_id': '0x10de'", answer), "blocked");
  answer.gpus.resize(1);
  answer.gpus[0].adapter.reset();  // the first card is the active one
  EXPECT_EQ(OutcomeOf("'vendor_id': '0x8086', 'gl_renderer': 'Mesa.*'", answer), "blocked");
  answer.gpus[0].software = true;  // by a driver that isn't the card's
  answer.adapters[0].driverVersion = "535.54";
  EXPECT_EQ(OutcomeOf("'driver_vendor': 'Mesa', 'driver_version': {'op': '>', 'value': '30'}", answer),
            "warned driver_version");
  answer.adapters.clear();
  EXPECT_EQ(OutcomeOf("'vendor_id': '0x8086'", answer), "allowed");
  EXPECT_EQ(OutcomeOf("'gl_renderer': 'Mesa.*', 'driver_version': {'op': '>', 'value': '9'}", answer),
            "blocked");
  EXPECT_EQ(OutcomeOf("'os': {'type': 'linux'}", Answer()), "warned os.type");
  answer.gpus[0].values = {{"glVendor", "", string(4096, 'x')},
                           {"glVendorID", "", std::int64_t{0x8086}},
                           {"glRendererID", "", std::int64_t{0x5916}}};
  EXPECT_EQ(OutcomeOf("'gl_vendor': 'x*', 'vendor_id': '0x8086', 'intel_gpu_series': ['kabylake']", answer),
            "blocked");
  EXPECT_EQ(OutcomeOf("'gpu_count': {'op': '=', 'value': '0'}, 'device_id': ['5916']", answer), "blocked");
  answer.gpus[0].values[0].value = string(4097, 'x');
  EXPECT_EQ(OutcomeOf("'gl_vendor': 'x*'", answer), "warned gl_vendor");
}

// By the ids at which another one begins.
TEST(RulesTest, KnowsIntelsSeries) {
  std::ostringstream table;
  const gpuprowler::IntelSeries* last = nullptr;
  for (std::uint32_t id = 0; id <= 0x10000; ++id) {
    const gpuprowler::IntelSeries* const series = gpuprowler::FindIntelSeries(id);
    if (series != std::exchange(last, series))
      table << std::hex << id << std::dec << " " << (series != nullptr ? series->generation : 0) << " "
            << (series != nullptr ? series->name : "unknown") << "\n";
  }
  EXPECT_TRUE(AsExpected("intelseries.txt", table.str()));
}

TEST(RulesTest, HasABound) {
  const auto error = [](const string& text) {
    Rules rules;
    return rules.Add("r", text) ? "" : rules.GetErrors()[0].text;
  };
  const auto many = [](int count, const string& before, const string& behind) {
    string list = "{\"entries\": [" + before + "0" + behind;
    for (int i = 1; i < count; ++i) list += "," + before + std::to_string(i) + behind;
    return list;
  };
  const string empty = "{\"entries\": []}", entry = "{\"message\": \"x\", \"id\": 1";
  EXPECT_EQ(error(string((1 << 20) - empty.size(), ' ') + empty), "");
  EXPECT_EQ(error(string((1 << 20) - empty.size() + 1, ' ') + empty), "is too large: 1 MiB is the most");
  EXPECT_EQ(error(many(5000, entry, "}") + "]}"), "");
  EXPECT_EQ(error(many(5001, entry, "}") + "]}"), "has too many entries: 5000 are the most");
  EXPECT_EQ(error(many(500, entry + ", \"features\": [\"", "\"]}") + "]}"), "");
  EXPECT_EQ(error(many(501, entry + ", \"features\": [\"", "\"]}") + "]}"),
            "is too much: the file may name 500 features at most");
  EXPECT_EQ(error(many(300, entry + ", \"gl_vendor\": \"x{1000}", "\"}") + "]}"),
            "is too much: the file's patterns have become too large");
  EXPECT_EQ(error("{\"entries\": [], \"comment\": " + string(16, '[') + string(16, ']') + "}"), "");
  EXPECT_EQ(error("{\"entries\": [], \"comment\": " + string(17, '[') + string(17, ']') + "}"),
            "is nested too deeply");
  EXPECT_EQ(error("{\"entries\": [").substr(0, 33), "is no JSON: parse error at line 1");
}

// Which features an entry is about, and what is told of it.
TEST(RulesTest, DecideByFeature) {
  Rules rules;
  EXPECT_FALSE(rules.Add("a.json", R"({"version": "1", "entries": [
    {"id": 1, "description": "a\u001bb", "features": ["all", {"exceptions": ["video"]}], "vendor_id": "0x10de",
     "multi_gpu_category": "any", "message": "Update it.", "fixed_in": "550", "driver_update_url": "https://x.example",
     "disabled_extensions": ["GL_C"]},
    {"id": 2, "features": ["webgl"], "no": 1},
    {"id": 3, "features": ["webgl"], "cpu_info": ".*", "message": "Look at it."},
    {"id": 4, "disabled_extensions": ["GL_A", "GL_B"]}]})"));
  string told = AsText(Check(rules, Laptop())) + "--- With requirements\n";
  EXPECT_TRUE(rules.Add("b.json", R"({"entries": [{"id": 1, "message": "Only a word."}]})"));
  EXPECT_EQ(Check(rules, Laptop(), {"video"}).outcome, gpuprowler::Outcome::kWarned);
  EXPECT_EQ(Check(rules, Answer(), {"video"}).features.at("video").entries.size(), 1u);
  EXPECT_FALSE(rules.Require("GLVersion!3"));
  // One GPU must meet all of an interface's, and be complete.
  for (const char* const expression :
       {"GLVersion>=3.3", "GLVendor!=Intel", "GLMemoryMB>1", "CLBandwidth>1e11"})
    rules.Require(expression);
  Answer answer = Laptop();
  answer.gpus[2].complete = false;
  const Decision all = Check(rules, answer, {"webgl", "else"});
  told += AsText(all) + AsJSON(all);
  for (const gpuprowler::RuleError& error : all.errors) told += AsText(error) + "\n";
  const string version = ztutil::kVersion;
  told.replace(told.find(version), version.size(), "VERSION");
  EXPECT_TRUE(AsExpected("decision.txt", told));
}

}  // namespace
