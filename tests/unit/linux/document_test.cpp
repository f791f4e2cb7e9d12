// Answers as documents, and what is taken for one.
#include "../ownhome.h"
#include "expected.h"
#include "schema.h"

#include <ztutil/version.h>

#include <gpuprowler/compare.h>
#include <gpuprowler/fleet.h>
#include <gpuprowler/show.h>
#include <gtest/gtest.h>
#include <tell/document.h>
#include <tell/privacy.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace {

using gpuprowler::Answer;
using std::string;
namespace fs = std::filesystem;

using JSON = nlohmann::ordered_json;

// All of its fields have something that they don't have by themselves.
Answer FullAnswer() {
  using namespace gpuprowler;
  constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  Answer answer;
  answer.verdict = Verdict::kCrashed;
  answer.text = "The prober crashed";
  answer.system = OperatingSystem{"linux", "6.1.0"};
  answer.adapters.push_back({"0000:03:00.0",
                             "Card",
                             1,
                             2,
                             3,
                             4294967295,
                             "module",
                             "1.0",
                             "2026-01-30",
                             kMost,
                             "sysfs",
                             true,
                             "/dev/dri/renderD128",
                             true,
                             "render",
                             {"HDMI-A-1"}});
  answer.drivers.push_back({Interface::kOpenCL, "/etc/a.icd", "liba.so", "/usr/lib/liba.so", kMost, kLeast,
                            Behaviour::kSetAside, "clgpu[0].CLName", "2026-11-22T05:29:05Z"});
  answer.reasons = {{"card", "A card.", 0, {}}, {"driver", "A driver.", {}, 0}};
  answer.gpus.push_back({Interface::kOpenCL, 0, "clgpu[0]", 0, 0, true, true, {"clgpu[0].CLName"}, {}});
  answer.gpus[0].values = {{"zText", "Text", "\u20AC"},
                           {"aFlag", "Flag", true},
                           {"least", "List[X]", kLeast},
                           {"real", "Real", 2.0},
                           {"list", "List", std::vector<std::int64_t>{1, -1}}};
  const Stream stream{7, {{0.25, "line", 3, LineKind::kFailure}}, "unfinished"};
  answer.runs.push_back({Verdict::kHung,
                         "hung",
                         {0},
                         true,
                         1.5,
                         "signal 9",
                         -1,
                         true,
                         "line",
                         {"exit"},
                         {"note"},
                         "main",
                         {{"key", "Key", "value"}},
                         stream,
                         stream});
  answer.prober = "gpuprowler";
  answer.arguments = {"-x"};
  answer.time = "2026-11-22T05:29:05Z";
  answer.seconds = 2.5;
  answer.remembered = true;
  return answer;
}

// All parts of a document, itself first.
void PutPlaces(const JSON& part, const JSON::json_pointer& at, std::vector<JSON::json_pointer>& places) {
  places.push_back(at);
  if (part.is_object())
    for (const auto& entry : part.items()) PutPlaces(entry.value(), at / entry.key(), places);
  else if (part.is_array())
    for (std::size_t i = 0; i < part.size(); ++i) PutPlaces(part[i], at / i, places);
}

// What becomes of it with one part of it changed.
std::vector<JSON> Changed(const JSON& document, const JSON::json_pointer& place) {
  std::vector<JSON> changed;
  for (const JSON& other : std::initializer_list<JSON>{nullptr, true, -1, 1, 1.5, 2e9, 1e300,
                                                       std::numeric_limits<std::uint64_t>::max(), "x",
                                                       JSON::array(), JSON::array({1}), JSON::object()}) {
    changed.push_back(document);
    changed.back()[place] = other;
  }
  if (document[place].is_object()) {
    changed.push_back(document);
    changed.back()[place]["x"] = "x";
  }
  if (!place.empty()) changed.push_back(document.patch({{{"op", "remove"}, {"path", place.to_string()}}}));
  return changed;
}

TEST(DocumentTest, IsReadBack) {
  const string document = AsJSON(FullAnswer());
  const auto answer = gpuprowler::AnswerOf(document);
  ASSERT_TRUE(answer);
  EXPECT_EQ(AsJSON(*answer), document);
  EXPECT_EQ(AsPrivateJSON(*answer), JSON::parse(document).dump());
  ExpectFitsSchema(JSON::parse(document));
  ExpectFitsSchema(JSON::parse(AsJSON(Answer())));
  string shown = document;
  const string version = string("\"") + ztutil::kVersion + '"';
  shown.replace(shown.find(version), version.size(), "VERSION");
  EXPECT_TRUE(AsExpected("document.json", shown));
}

// What the reader takes fits the schema, and comes out again.
TEST(DocumentTest, IsReadStrictly) {
  const JSON document = JSON::parse(AsJSON(FullAnswer()));
  std::vector<JSON::json_pointer> places;
  PutPlaces(document, JSON::json_pointer(), places);
  std::size_t count = 0, taken = 0;
  for (const auto& place : places) {
    for (const JSON& changed : Changed(document, place)) {
      ++count;
      const auto answer = gpuprowler::AnswerOf(changed.dump());
      if (!answer) continue;
      ++taken;
      ExpectFitsSchema(changed);
      JSON again = JSON::parse(AsPrivateJSON(*answer));
      for (const char* const own : {"version", "shortened", "reportKeys"}) again[own] = changed[own];
      EXPECT_EQ(again, changed) << place;
    }
  }
  EXPECT_GT(taken, places.size());
  EXPECT_LT(taken, count / 4);
  JSON many = document;
  JSON& keys = many["reportKeys"];
  while (keys.size() < 512) keys[std::to_string(keys.size())] = "x";
  EXPECT_TRUE(gpuprowler::AnswerOf(many.dump()));
  keys["one more"] = "x";
  EXPECT_FALSE(gpuprowler::AnswerOf(many.dump()));
  const string text = document.dump();
  for (const string& other :
       {string(), text + text, text.substr(1), string(900000, '['), "[" + string(900000, '1') + "]"})
    EXPECT_FALSE(gpuprowler::AnswerOf(other)) << other.substr(0, 20);
}

TEST(DocumentTest, TellsNoNames) {
  const gpuprowler::OwnNames names{{"/home/ann", "C:\\Users\\Ann Lee"},
                                   {"annsmith", "max", "al", "zoe"},
                                   {"build7.example.com", "build7", "mesa"}};
  const struct {
    string text, told;
  } rows[] = {
      {"-L/home/ann/lib:/home/ann/bin.", "-L~/lib:~/bin."},
      {"/home/annx /HOME/ann-x /home/ann.", "/home/annx /HOME/ann-x ~."},
      {"file:///home/ann\xFF\u2019/home/ann/home/ann", "file://~\xFF\u2019~~"},
      {"c:/users/ann lee\\AppData", "~\\AppData"},
      {"/tmp/AnnSmith-1/annsmith_x annsmiths", "/tmp/USER-1/USER_x annsmiths"},
      {"annsmitha Zannsmith annsmith0 9annsmith `annsmith{",
       "annsmitha Zannsmith annsmith0 9annsmith `USER{"},
      {"build7.example.com:0 //BUILD7/x build70", "HOST:0 //HOST/x build70"},
      // Words that mean something else.
      {"GL_MAX_X libEGL_mesa.so al max zoe", "GL_MAX_X libEGL_mesa.so al max USER"},
      {"\\Users\\Max\\x /media/al/ max@mesa /home/al //max",
       "\\Users\\USER\\x /media/USER/ USER@HOST /home/USER //USER"},
  };
  for (const auto& row : rows) {
    Answer answer;
    answer.prober = row.text;
    EXPECT_EQ(WithoutNames(answer, names).prober, row.told);
  }
}

// Wherever a text can stand, in whatever is given away.
TEST(DocumentTest, TellsNobodysNames) {
  const string home = OwnHome() + "/home";
  fs::create_directory(home + "s");
  fs::create_symlink(home + "s", home);
  setenv("HOME", (home + "//").c_str(), 1);
  for (const char* const variable : {"USER", "LOGNAME", "SUDO_USER"})
    setenv(variable, (string("annsmith") + variable[0]).c_str(), 1);
  const string host = "@" + gpuprowler::GetOwnNames().hosts[0];
  JSON document = JSON::parse(AsPrivateJSON(FullAnswer()));
  std::vector<JSON::json_pointer> places;
  PutPlaces(document, JSON::json_pointer(), places);
  int count = 0;
  for (const auto& place : places) {
    if (!document[place].is_string() || place.parent_pointer().to_string() == "/reportKeys") continue;
    JSON changed = document;
    changed[place] =
        document[place].get<string>() + " " + home + "/x " + home + "s annsmithU annsmithL annsmithS" + host;
    if (!gpuprowler::AnswerOf(changed.dump())) continue;
    document = changed;
    ++count;
  }
  EXPECT_GT(count, 30);
  const Answer answer = *gpuprowler::AnswerOf(document.dump());
  for (const string& output :
       {AsJSON(answer), AsJSONLine(answer), AsText(answer), AsText(answer, true), Summary(answer),
        AsMarkdown(answer), AsHTML(answer), AsPrometheus(answer), AsNFD(answer),
        AsJSON(Compare(answer, Answer())), AsJSON(Compare(Answer(), answer))})
    for (const string& name : {home, string("annsmith"), host})
      EXPECT_EQ(output.find(name), string::npos) << name << "\n" << output;
  setenv("HOME", OwnHome().c_str(), 1);
}

// A run that says too much takes nothing from another.
TEST(DocumentTest, HasABound) {
  Answer answer = FullAnswer();
  for (const char* const text : {"", "\x01\xFF\"\\ "}) {
    gpuprowler::Run& noisy = answer.runs.emplace_back(answer.runs[0]);
    const std::size_t length = 16000 * string(text).size() / 5;
    string words;
    while (words.size() < length) words += text;
    noisy.output.lines.assign(length > 0 ? 500 : 100000, {0.5, words});
    noisy.errors = noisy.output;
    noisy.asked.assign(length > 0 ? 1000 : 20000, words);
    gpuprowler::GPU gpu = answer.gpus[0];
    gpu.run = answer.runs.size() - 1;
    for (int i = 0; i < 60; ++i)
      gpu.values.push_back({"key" + std::to_string(i), "Key", std::vector<std::int64_t>(length / 16, 1)});
    for (int i = 0; i < (length > 0 ? 40 : 200); ++i) answer.gpus.push_back(gpu);
  }
  const string document = AsJSON(answer);
  EXPECT_LE(document.size(), gpuprowler::kMaxDocumentBytes);
  EXPECT_TRUE(JSON::parse(document)["shortened"]);
  const auto read = gpuprowler::AnswerOf(document);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->gpus[0].values.size(), answer.gpus[0].values.size());
  EXPECT_EQ(read->runs[0].output.lines.size(), 1u);
  const gpuprowler::Stream& output = read->runs[1].output;
  EXPECT_EQ(output.linesDropped + output.lines.size(), 7 + 100000u);
  string left;
  for (std::size_t run = 1; run < 3; ++run) {
    std::size_t gpus = 0, values = 0;
    for (const gpuprowler::GPU& gpu : read->gpus)
      if (gpu.run == run) gpus += 1, values += gpu.values.size();
    left += std::to_string(read->runs[run].output.lines.size()) + " lines, " +
            std::to_string(read->runs[run].asked.size()) + " asked, " + std::to_string(gpus) + " GPUs, " +
            std::to_string(values) + " values\n";
  }
  EXPECT_EQ(left,
            "4493 lines, 16046 asked, 196 GPUs, 12687 values\n19 lines, 935 asked, 28 GPUs, 180 values\n");
}

}  // namespace
