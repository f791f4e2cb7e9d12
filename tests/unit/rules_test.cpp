// What rules and requirements make of an answer.
#include <gpuprowler/rules.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
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

// The same on Windows, with Intel's card alone.
Answer Desktop() {
  Answer answer = Laptop();
  answer.system = gpuprowler::OperatingSystem{"win", "10.0.19045.2006"};
  answer.adapters.resize(1);
  answer.adapters[0].driverVersion = "26.20.99.8000";
  answer.adapters[0].driverDate = "2019-10-02";
  answer.gpus.resize(1);
  return answer;
}

// With ' for ".
string OutcomeOf(string conditions, const Answer& answer) {
  std::replace(conditions.begin(), conditions.end(), '\'', '"');
  Rules rules;
  rules.Add("r", R"({"entries": [{"id": 1, "features": ["f"])" + string(conditions.empty() ? "" : ", ") +
                     conditions + "}]}");
  string told = gpuprowler::OutcomeName(Check(rules, answer, {"f"}).outcome);
  for (const gpuprowler::RuleError& error : rules.GetErrors()) told = AsText(error);
  for (const auto& entry : Check(rules, answer, {"f"}).entries)
    for (const string& member : entry.unknown) told += " " + member;
  return told;
}

struct Case {
  const char* conditions;
  const char* outcome;  // with what isn't known, or what is wrong
};

TEST(RulesTest, Match) {
  const Case cases[] = {
      {"", "blocked"},
      {"'os': {'type': 'any'}", "blocked"},
      {"'os': {'type': 'win'}", "allowed"},
      {"'os': {'type': 'linux', 'version': {'op': '<', 'value': '6.2'}}", "blocked"},
      {"'os': {'type': 'linux', 'version': {'op': '=', 'value': '6'}}", "blocked"},
      {"'os': {'type': 'linux', 'version': {'op': '>', 'value': '6.1'}}", "allowed"},
      {"'vendor_id': '0x8086'", "blocked"},
      {"'vendor_id': '8086', 'device_id': ['0x1', '0x5916']", "blocked"},
      {"'vendor_id': '0x8086', 'device_id': ['0x5900-0x5915', '0x5917-0x59FF']", "allowed"},
      {"'device_id': ['0x5900-0x59ff'], 'device_revision': ['0x1', '0x2']", "blocked"},
      {"'device_id': ['0x5916', '0x5917'], 'device_revision': ['0x1', '0x2']", "allowed"},
      {"'vendor_id': '0x10de'", "allowed"},
      {"'vendor_id': '0x10de', 'multi_gpu_category': 'primary'", "allowed"},
      {"'vendor_id': '0x10de', 'multi_gpu_category': 'secondary'", "blocked"},
      {"'vendor_id': '0x10de', 'multi_gpu_category': 'any', 'gl_vendor': 'NVIDIA.*'", "blocked"},
      {"'vendor_id': '0x10de', 'multi_gpu_category': 'any', 'gl_vendor': 'Intel'", "allowed"},
      {"'multi_gpu_category': 'any', 'driver_version': {'op': 'between', 'value': '535', 'value2': '535.54'}",
       "blocked"},
      {"'multi_gpu_category': 'any', 'driver_vendor': 'NVIDIA', 'driver_date': {'op': '<', 'value': "
       "'2023.7'}",
       "blocked"},
      {"'multi_gpu_category': 'any', 'driver_vendor': 'NVIDIA', 'driver_date': {'op': '<', 'value': "
       "'2023.6'}",
       "allowed"},
      {"'multi_gpu_style': 'optimus', 'gpu_count': {'op': '=', 'value': 2}", "blocked"},
      {"'multi_gpu_style': 'amd_switchable'", "allowed"},
      {"'intel_gpu_series': ['skylake', 'kabylake'], 'intel_gpu_generation': {'op': '>=', 'value': '9'}",
       "blocked"},
      {"'intel_gpu_series': ['skylake']", "allowed"},
      // Mesa's own version isn't told: it's one with libglvnd.
      {"'driver_vendor': 'Mesa', 'driver_version': {'op': '<', 'value': '10.1'}", "allowed"},
      {"'driver_version': {'op': '<', 'value': '22.3'}", "warned driver_version"},
      {"'gl_renderer': '(?i).*mesa.*'", "blocked"},
      {"'gl_renderer': 'Mesa'", "allowed"},
      {"'gl_renderer': {'op': 'beginwith', 'value': 'Mesa Intel('}", "blocked"},
      {"'gl_extensions': '.*GL_ARB_texture_float.*'", "blocked"},
      {"'gl_extensions': '.*GL_ARB_sync.*'", "warned gl_extensions"},
      {"'gl_type': 'gl', 'gl_version': {'op': '>=', 'value': '4.1'}", "blocked"},
      {"'gl_version': {'op': '<', 'value': '4.5'}", "warned gl_version"},
      {"'gl_version': {'op': '<', 'value': '4.1'}", "allowed"},
      {"'gl_type': 'gles'", "allowed"},
      {"'direct_rendering': false", "allowed"},
      {"'direct_rendering_version': {'op': '<', 'value': '2'}", "allowed"},
      {"'in_process_gpu': true, 'cpu_info': 'x.*'", "warned cpu_info in_process_gpu"},
      {"'in_process_gpu': true, 'vendor_id': '0x10de'", "allowed"},
      {"'hardware_overlay': 'dont_care', 'comment2': 1, 'cr_bugs': [1]", "blocked"},
      {"'disabled': true", "allowed"},
      {"'test_group': 1", "allowed"},
      {"'exceptions': [{'vendor_id': '0x10de'}, {'vendor_id': '0x8086', 'os': {'type': 'linux'}}]",
       "allowed"},
      {"'exceptions': [{'vendor_id': '0x10de'}, {'vendor_id': '0x8086', 'os': {'type': 'win'}}]", "blocked"},
      {"'exceptions': [{}, {'pixel_shader_version': {'op': 'any'}}]", "allowed"},
      {"'exceptions': [{'pixel_shader_version': {'op': 'any'}}]",
       "warned exceptions[0].pixel_shader_version"},
  };
  for (const Case& one : cases) EXPECT_EQ(OutcomeOf(one.conditions, Laptop()), one.outcome) << one.conditions;
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
  answer.system.reset();
  answer.drivers.resize(1);
  answer.drivers[0].path = "C:\\Windows\\nvoglv64.dll";
  EXPECT_EQ(OutcomeOf("'os': {'type': 'win'}", answer), "blocked");
}

TEST(RulesTest, CompareDriverVersions) {
  struct {
    const char *found, *test, *outcome;
  } const cases[] = {
      {"10.6.8", "'op': '=', 'value': '10.6'", "blocked"},
      {"10.6", "'op': '=', 'value': '10.6.8'", "allowed"},
      {"10.6", "'op': '<', 'value': '10.6.8'", "blocked"},
      {"10.10", "'op': '>', 'value': '10.9'", "blocked"},
      {"10.08", "'op': '<=', 'value': '10.8'", "blocked"},
      {"8.768.1", "'op': '=', 'style': 'lexical', 'value': '8.76'", "blocked"},
      {"8.9", "'op': '<', 'style': 'lexical', 'value': '8.98'", "blocked"},
      {"8.201", "'op': '<', 'style': 'lexical', 'value': '8.98'", "blocked"},
      {"10.1", "'op': '<', 'style': 'lexical', 'value': '8.98'", "allowed"},
      {"26.20.99.8000", "'op': '<', 'schema': 'intel_driver', 'value': '24.20.100.7000'", "blocked"},
      {"31.0.101.2111",
       "'op': 'between', 'schema': 'intel_driver', 'value': '24.20.100.1', 'value2': '0.0.101.2111'",
       "blocked"},
      {"", "'op': '<', 'value': '1'", "warned driver_version"},
      {"", "'op': 'any'", "blocked"},
      {"999999999999999999999.1", "'op': '>', 'value': '99999999999999999999'", "blocked"},
  };
  for (const auto& one : cases) {
    Answer answer = Desktop();
    answer.adapters[0].driverVersion = one.found;
    const string rule =
        "'os': {'type': 'win'}, 'vendor_id': '0x8086', 'driver_version': {" + string(one.test) + "}";
    EXPECT_EQ(OutcomeOf(rule, answer), one.outcome) << one.found << " " << one.test;
  }
  Answer nvidia = Desktop();
  nvidia.adapters[0].vendorID = 0x10DE;
  nvidia.adapters[0].driverVersion = "31.0.15.3623";
  for (const char* const version : {"536.23", "31.0.15.3623"})
    EXPECT_EQ(OutcomeOf("'os': {'type': 'win'}, 'vendor_id': '0x10de', 'driver_version': {'op': '=', "
                        "'schema': 'nvidia_driver', 'value': '" +
                            string(version) + "'}",
                        nvidia),
              "blocked");
}

TEST(RulesTest, SayWhatIsWrong) {
  const Case cases[] = {
      {"'foo': 1", "r, entry 1, foo: isn't known"},
      {"'os': {'type': 'linux', 'version': {'op': '~', 'value': '1'}}",
       "r, entry 1, os.version.op: must be one of =, <, <=, >, >=, any, between"},
      {"'exceptions': [{}, {'os': {'kind': 'linux'}}]", "r, entry 1, exceptions[1].os.kind: isn't known"},
      {"'exceptions': [{'disabled': true}]", "r, entry 1, exceptions[0].disabled: isn't known"},
      {"'driver_version': {'op': 'between', 'value': '1'}", "r, entry 1, driver_version.value2: is missing"},
      {"'gl_vendor': '('", "r, entry 1, gl_vendor: is no pattern: missing ): ("},
      {"'gl_vendor': '((x{100}){10}){100}'",
       "r, entry 1, gl_vendor: is no pattern: invalid repetition size: {100}"},
      {"'gl_version': {'op': '<', 'style': 'lexical', 'value': '1'}",
       "r, entry 1, gl_version.style: only driver_version can be lexical"},
      {"'driver_version': {'op': '<', 'schema': 'intel_driver', 'value': '1'}",
       "r, entry 1, driver_version.schema: is for that vendor's GPUs on Windows alone"},
      {"'vendor_id': '0x0'", "r, entry 1, vendor_id: must not be 0"},
      {"'device_id': '0x1'", "r, entry 1, device_id: must be a list"},
      {"'device_id': ['x\\u001b']",
       "r, entry 1, device_id[0]: must be a hexadecimal number, such as \"0x10de\""},
      {"'\\u001b\\u202e': 1", "r, entry 1, \\x1B\\u202E: isn't known"},
  };
  for (const Case& one : cases) EXPECT_EQ(OutcomeOf(one.conditions, Laptop()), one.outcome);

  const Case files[] = {
      {"[]", "r: must be an object with a list of \"entries\""},
      {R"({"entries": [{"features": ["f"]}]})", "r, entry at place 1, id: is missing"},
      {R"({"entries": [{"id": 0, "features": ["f"]}]})", "r, entry at place 1, id: must be a number above 0"},
      {R"({"entries": [{"id": 3}]})", "r, entry 3, features: is missing"},
      {R"({"entries": [], "x": 1})", "r, x: isn't known"},
  };
  for (const Case& one : files) {
    Rules rules;
    EXPECT_FALSE(rules.Add("r", one.conditions));
    EXPECT_EQ(AsText(rules.GetErrors().at(0)), one.outcome);
  }
  for (const string& text :
       {string(1 << 20, ' ') + "[]", string(100, '[') + string(100, ']'), string("{\"entries\": [")}) {
    Rules rules;
    EXPECT_FALSE(rules.Add("r", text));
  }
}

// Which features an entry is about, and what is told of it.
TEST(RulesTest, DecideByFeature) {
  Rules rules;
  EXPECT_FALSE(rules.Add("a.json", R"({"version": "1", "entries": [
    {"id": 1, "description": "a\u001bb", "features": ["all", {"exceptions": ["video"]}], "vendor_id": "0x10de",
     "multi_gpu_category": "any", "message": "Update it.", "fixed_in": "550", "driver_update_url": "https://x.example"},
    {"id": 2, "features": ["webgl"], "no": 1},
    {"id": 3, "features": ["webgl"], "cpu_info": ".*"},
    {"id": 4, "disabled_extensions": ["GL_A", "GL_B"]}]})"));
  const Decision decision = Check(rules, Laptop());
  EXPECT_EQ(AsText(decision), R"(video: allowed
webgl: blocked by a.json 1, a.json 3

a.json 1: a\x1Bb
  Update it.
  Fixed in 550
  A newer driver: https://x.example
a.json 3: 
  Can't be decided, not knowing cpu_info
a.json 4: 
  Extensions not to be used: GL_A, GL_B
)");
  EXPECT_TRUE(rules.Add("b.json", R"({"entries": [{"id": 1, "message": "Only a word."}]})"));
  EXPECT_EQ(Check(rules, Laptop(), {"video"}).outcome, gpuprowler::Outcome::kWarned);
  EXPECT_EQ(Check(rules, Answer(), {"video"}).features.at("video").entries.size(), 1u);
}

TEST(RulesTest, Require) {
  const Case cases[] = {
      {"GLVersion>=3.3", "allowed"},
      {"glVersion >= 4.1", "allowed"},
      {"glVersion>=4.2", "warned"},
      {"GLVersion=3", "allowed"},
      {"glVendor=\"NVIDIA Corporation\"", "allowed"},
      {"GLVendor!=Intel", "allowed"},
      {"GLVendor=12", "blocked"},
      {"glGetIntegerv[GL_MAX_DRAW_BUFFERS]>8", "warned"},
      {"CanCompileProgramGLSL=0", "warned"},
      {"extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT]=true", "allowed"},
      {"CLBandwidth>1e11", "allowed"},
      {"CLBandwidth>2e11", "blocked"},
      {"NumGLGPUs>2", "blocked"},
      {"interface=OpenCL", "allowed"},
      {"software=1", "blocked"},
      {"GLVersion", "must be a key, one of = != < <= > >=, and a value"},
      {"GLVersion=", "must have a value behind the comparison"},
      {"GLVersion>=x", "must be compared with a version, such as 3.3, or by = and !="},
      {"GLMemoryMB>=x", "must be compared with a number"},
      {"GLFrameBufferOK>0", "is yes or no: it can be compared by = and != alone"},
      {"GLfoo=1", "asks for a key that isn't known"},
  };
  for (const Case& one : cases) {
    Rules rules;
    const bool isSound = rules.Require(one.conditions);
    EXPECT_EQ(isSound ? gpuprowler::OutcomeName(Check(rules, Laptop()).outcome) : rules.GetErrors()[0].text,
              one.outcome)
        << one.conditions;
  }

  // One GPU must meet all of an interface's, and be complete.
  Rules rules;
  for (const char* const expression : {"GLVersion>=3.3", "GLVendor!=Intel", "CLBandwidth>1e11"})
    rules.Require(expression);
  EXPECT_EQ(AsText(Check(rules, Laptop())),
            "Requirements: blocked\n"
            "  glgpu[0] doesn't meet GLVendor!=Intel\n"
            "  glgpu[1] doesn't meet GLVersion>=3.3\n"
            "  clgpu[0] meets them\n");
  Answer answer = Laptop();
  answer.gpus[2].complete = false;
  EXPECT_EQ(Check(rules, answer).gpus.at(2).outcome, gpuprowler::Outcome::kBlocked);
}

}  // namespace
