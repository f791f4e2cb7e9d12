// What is remembered of earlier answers, and for how long.
#include "ownhome.h"

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <remember/fingerprint.h>
#include <remember/memory.h>
#include <tell/documentfields.h>

#include <ctime>
#include <functional>
#include <string>

namespace {

using gpuprowler::Answer;
using gpuprowler::Machine;
using gpuprowler::Memory;
using gpuprowler::Request;
using gpuprowler::SetAside;
using gpuprowler::Verdict;
using std::string;

namespace fs = boost::filesystem;

using JSON = nlohmann::json;

Answer AnswerWith(const string& text) {
  Answer answer;
  answer.verdict = Verdict::kFinished;
  answer.text = text;
  answer.runs.emplace_back().output = {1, {{0.5, "line"}}, ""};
  return answer;
}

string TextOf(const Memory& memory, const string& fingerprint) {
  const auto answer = memory.Recall(fingerprint);
  return answer ? answer->text : "none";
}

SetAside DriverOf(const string& manifest) {
  return {"of " + manifest, gpuprowler::Interface::kOpenCL,
          manifest,         gpuprowler::Behaviour::kHung,
          "exit",           "now"};
}

TEST(MemoryTest, GivesBackWhatItWasGiven) {
  Memory memory(OwnHome() + "/deep/memory");
  EXPECT_EQ(TextOf(memory, "0"), "none");
  EXPECT_EQ(memory.Forget(""), 0u);
  EXPECT_FALSE(fs::exists(OwnHome() + "/deep"));
  for (const int i : {0, 1, 0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16})
    memory.Keep(std::to_string(i), AnswerWith(std::to_string(i) + OwnHome() + "\xFF"));
  for (const int i : {0, 2, 16})
    EXPECT_EQ(TextOf(memory, std::to_string(i)), std::to_string(i) + OwnHome() + "\uFFFD");
  EXPECT_EQ(TextOf(memory, "1"), "none");  // the oldest of 17
  const Answer answer = *memory.Recall("16");
  EXPECT_TRUE(answer.remembered);
  EXPECT_TRUE(answer.runs[0].output.lines.empty());
  EXPECT_EQ(answer.runs[0].output.linesDropped, 2u);

  Answer other = AnswerWith(string(100000, 'x'));
  memory.Keep("0", other);  // too much for a memory
  other.text = "";
  for (const Verdict verdict : {Verdict::kNotStarted, Verdict::kInterrupted, Verdict::kLost}) {
    other.verdict = verdict;
    memory.Keep("0", other);
  }
  EXPECT_EQ(TextOf(memory, "0"), "0" + OwnHome() + "\uFFFD");

  for (const char* const manifest : {"a.icd", "b.icd", "a.icd"}) memory.Put(DriverOf(manifest));
  const auto drivers = gpuprowler::GetSetAside(OwnHome() + "/deep/memory");
  ASSERT_EQ(drivers.size(), 2u);
  EXPECT_EQ(drivers[0].manifest + drivers[0].question + drivers[0].since, "a.icdexitnow");
  EXPECT_EQ(drivers[0].interface, gpuprowler::Interface::kOpenCL);
  EXPECT_EQ(drivers[0].behaviour, gpuprowler::Behaviour::kHung);
  EXPECT_EQ(memory.Forget("a."), 1u);
  EXPECT_EQ(memory.GetSetAside().at(0).manifest, "b.icd");
  EXPECT_EQ(TextOf(memory, "16"), "none");
  memory.Drop("of b.icd");
  EXPECT_TRUE(memory.GetSetAside().empty());

  // The oldest go where there are too many, answers in front of drivers.
  for (const char* const name : {"5", "4", "3", "2", "1"}) memory.Keep(name, AnswerWith(string(60000, 'x')));
  EXPECT_EQ(TextOf(memory, "4").size() + TextOf(memory, "5").size(), 60004u);
  for (int i = 0; i < 65; ++i) memory.Put(DriverOf(std::to_string(i) + string(i == 64 ? 90000 : 1, 'x')));
  EXPECT_EQ(TextOf(memory, "1"), "none");
  EXPECT_EQ(memory.GetSetAside().size(), 64u);
}

TEST(MemoryTest, TakesWhatIsNotSoundForNone) {
  const auto edited = [](const std::function<void(JSON & file, JSON & entry)>& edit) {
    return [edit](const string& text) {
      JSON file = JSON::parse(text);
      for (const char* const list : {"answers", "setAside"}) edit(file, file[list][0]);
      return file.dump();
    };
  };
  const auto keptSince = [&](std::int64_t seconds) {
    return edited([=](JSON&, JSON& entry) { entry["kept"] = std::time(nullptr) - seconds; });
  };
  constexpr std::int64_t kDay = 86400;
  const struct {
    const char* what;
    std::function<string(const string& text)> change;
    bool sound = false;
  } rows[] = {
      {"as it is", [](const string& text) { return text; }, true},
      {"6 days old", keptSince(6 * kDay), true},
      {"7 days old", keptSince(7 * kDay + 1)},
      {"of tomorrow", keptSince(-kDay)},
      {"of no time", edited([](JSON&, JSON& entry) { entry["kept"] = 1e300; })},
      {"of a later version", edited([](JSON& file, JSON&) { file["version"] = 2; })},
      {"another document", edited([](JSON&, JSON& entry) { entry["document"] = "{}"; })},
      {"no document", edited([](JSON&, JSON& entry) { entry.erase("document"); })},
      {"no list", edited([](JSON&, JSON& entry) { entry = 1; })},
      {"empty", [](const string&) { return ""; }},
      {"cut", [](const string& text) { return text.substr(0, text.size() - 2); }},
      {"garbage", [](const string&) { return string("\0\xFF{", 3); }},
      {"huge", [](const string& text) { return text + string(300000, ' '); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(OwnHome() + "/memory");
    Memory memory(OwnHome() + "/memory");
    memory.Keep("1", AnswerWith("kept"));
    memory.Put(DriverOf("a.icd"));
    WriteInHome("memory/memory.json", row.change(ReadInHome("memory/memory.json")));
    EXPECT_EQ(TextOf(memory, "1"), row.sound ? "kept" : "none");
    EXPECT_EQ(memory.GetSetAside().size(), row.sound ? 1u : 0u);
    memory.Keep("1", AnswerWith("again"));
    EXPECT_EQ(TextOf(memory, "1"), "again");
  }
  Memory none("");
  none.Keep("1", AnswerWith("x"));
  EXPECT_EQ(TextOf(none, "1"), "none");
}

template <class Field>
void Alter(Field& field) {
  if constexpr (std::is_class_v<Field>)
    field.resize(field.size() + 1);
  else
    field = static_cast<Field>(static_cast<int>(field) + 1);
}

// The fields of such a part of a machine that change nothing: no answer's fingerprint, and no driver's.
template <class Part>
string WithoutEffect(const Machine& machine, std::vector<Part> Machine::*parts) {
  string answers, drivers;
  FieldsOf((machine.*parts).data(), [&](const char* key, auto member) {
    Machine changed = machine;
    Alter((changed.*parts)[0].*member);
    if (FingerprintOf(changed, {}, "x") == FingerprintOf(machine, {}, "x")) answers += string(" ") + key;
    if (FingerprintOf(changed, changed.drivers[0]) == FingerprintOf(machine, machine.drivers[0]))
      drivers += string(" ") + key;
  });
  return answers + "|" + drivers;
}

// What an answer depends on, and whether a driver that was set aside is given another chance for it.
TEST(MemoryTest, FingerprintsTellWhatMatters) {
  Machine machine;
  machine.system = "6.1";
  machine.variables = {{"OCL_ICD_VENDORS", "a"}};
  machine.adapters.resize(1);
  machine.drivers.resize(1);
  Request request;
  request.prober = WriteInHome("prober", "x");
  const struct {
    const char* what;
    std::function<void(Machine&, Request&)> change;
    bool answer, driver;
  } rows[] = {
      {"nothing", [](Machine&, Request&) {}, false, false},
      {"a log", [](Machine&, Request&) { WriteInHome("gpuprowler.log", "x"); }, false, false},
      {"a few seconds", [](Machine&, Request& r) { r.seconds = 25; }, false, false},
      {"the memory", [](Machine&, Request& r) { r.memoryFolder = "x", r.fresh = true; }, false, false},
      {"a minute", [](Machine&, Request& r) { r.seconds = 60; }, true, false},
      {"a question's time", [](Machine&, Request& r) { r.questionSeconds = 60; }, true, false},
      {"no measurements", [](Machine&, Request& r) { r.measure = false; }, true, false},
      {"no isolation", [](Machine&, Request& r) { r.isolate = false; }, true, false},
      {"an argument", [](Machine&, Request& r) { r.arguments = {"x"}; }, true, false},
      {"the prober", [](Machine&, Request&) { WriteInHome("prober", "xx"); }, true, false},
      {"a variable", [](Machine& m, Request&) { m.variables[0].second = "b"; }, true, false},
      {"a reason",
       [](Machine& m, Request&) {
         m.reasons.push_back({"no-opengl", "x", {}, {}});
       },
       true, false},
      {"a card", [](Machine& m, Request&) { m.adapters.push_back(m.adapters[0]); }, true, false},
      {"a manifest", [](Machine& m, Request&) { m.drivers.emplace_back(); }, true, false},
      {"the kernel", [](Machine& m, Request&) { m.system = "6.2"; }, true, true},
  };
  for (const auto& row : rows) {
    WriteInHome("prober", "x");
    fs::last_write_time(request.prober, 1);
    const string answer = FingerprintOf(machine, request, request.prober);
    Machine changed = machine;
    Request asked = request;
    row.change(changed, asked);
    EXPECT_EQ(FingerprintOf(changed, asked, request.prober) != answer, row.answer) << row.what;
    EXPECT_EQ(FingerprintOf(changed, changed.drivers[0]) != FingerprintOf(machine, machine.drivers[0]),
              row.driver)
        << row.what;
  }
  EXPECT_EQ(
      WithoutEffect(machine, &Machine::adapters),
      " name memorySource asleep outputs| address name vendorID deviceID subsystemID revision driverDate "
      "memoryBytes memorySource asleep renderNode mayOpen group outputs");
  EXPECT_EQ(WithoutEffect(machine, &Machine::drivers), " behaviour question since| behaviour question since");
}

}  // namespace
