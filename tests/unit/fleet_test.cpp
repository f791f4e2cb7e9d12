// What is made of an answer for Prometheus and for Kubernetes.
#include "expected.h"
#include "machines.h"

#include <ztutil/version.h>

#include <gpuprowler/fleet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using namespace gpuprowler;
using std::string;

// Of a label's value, or of a line, that another one begins behind it; of text that is turned, cut short, or
// not UTF-8.
const string kHostile[] = {"a\"} 1\nb{c=\"",
                           "\\",
                           "\\\"",
                           "x=y # z",
                           "\r\n# +no-label",
                           "\u202Eright",
                           "\xFF\xC3",
                           string(1, '\0'),
                           string(1000000, '"'),
                           "a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a",
                           "-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a",
                           ""};

Answer Hostile(const string& text, std::size_t count) {
  Answer answer;
  answer.time = text;
  for (std::size_t i = 0; i < count; ++i) {
    const string own = std::to_string(i) + text;
    answer.adapters.push_back({own, own, 0, 0, 0, 0, own, own, own, 0, own, false, own, false, own, {}});
    answer.drivers.push_back({Interface::kOpenGL, own, own, own, 0, 0, Behaviour::kCrashed, own, own});
    answer.reasons.push_back({own, own, {}, {}});
    GPU& gpu = answer.gpus.emplace_back();
    gpu.driver = gpu.adapter = i;
    gpu.values = {{"glRenderer", "", own},
                  {"glVersion", "", own},
                  {"glDriverVersion", "", own},
                  {"glMemoryMB", "", 1e300},
                  {"glName", "", own}};
  }
  return answer;
}

std::vector<string> LinesOf(const string& text) {
  std::istringstream in(text);
  std::vector<string> lines;
  for (string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A name, labels in quotes and braces, a number: nothing else, however many quotes there are.
bool IsSample(const string& line) {
  std::size_t at = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz_");
  bool isQuoted = false;
  if (line[at] == '{')
    for (++at; at < line.size() && (isQuoted || line[at] != '}'); ++at) {
      if (isQuoted && line[at] == '\\')
        ++at;
      else if (line[at] == '"')
        isQuoted = !isQuoted;
    }
  const std::size_t blank = line.find(' ', at);
  return line.rfind("gpuprowler_", 0) == 0 && !isQuoted && blank != string::npos &&
         line.find_first_not_of("0123456789.e+", blank + 1) == string::npos;
}

TEST(FleetTest, NothingEscapesItsLabel) {
  for (const string& text : kHostile) {
    const Answer answer = Hostile(text, 3);
    const string metrics = AsPrometheus(answer), honest = AsPrometheus(Hostile("honest", 3));
    EXPECT_EQ(LinesOf(metrics).size(), LinesOf(honest).size()) << text.substr(0, 99);
    for (const string& line : LinesOf(metrics))
      EXPECT_TRUE(line.rfind("# ", 0) == 0 || IsSample(line)) << line.substr(0, 999);
    EXPECT_EQ(metrics.find("\u202E"), string::npos);
    for (const string& line : LinesOf(AsNFD(answer))) {
      const string label = line.substr(line.find('/') + 1), value = label.substr(label.find('=') + 1);
      if (line == "# +expiry-time=1970-01-01T00:00:00Z") continue;
      EXPECT_EQ(line.rfind("feature.node.kubernetes.io/gpuprowler-", 0), 0u) << line;
      for (const string& part : {label.substr(0, label.find('=')), value}) {
        EXPECT_EQ(part.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-"),
                  string::npos)
            << line;
        EXPECT_TRUE(part.size() <= 63 && std::isalnum(part.front()) && std::isalnum(part.back())) << line;
      }
    }
  }
}

TEST(FleetTest, HasABound) {
  const Answer many = Hostile(string(1000, '"'), 3000);
  const string metrics = AsPrometheus(many);
  EXPECT_LT(metrics.size(), 1000000u);
  EXPECT_EQ(LinesOf(metrics).size(), 248u);
  for (const char* const of : {"gpu", "adapter", "driver", "reason"})
    EXPECT_NE(metrics.find("\ngpuprowler_left_out{of=\"" + string(of) + "\"} 2968\n"), string::npos);
  const string labels = AsNFD(many);
  EXPECT_LT(labels.size(), 65536u);
  EXPECT_EQ(LinesOf(labels).size(), 43u);
}

// Of cards and of software, of what is known and what isn't.
TEST(FleetTest, TellsOfAMachine) {
  Answer answer = AnswerOfMachine(0);
  answer.time = "2028-02-28T23:59:59Z";
  answer.adapters[0].deviceID = 0xA2;
  answer.adapters[1] = {};
  answer.drivers[1].behaviour = Behaviour::kHung;
  answer.drivers[1].question = "clgpu[0].CLName";
  answer.reasons = {{"none", "", {}, {}},
                    {"!", "", {}, {}},
                    {"code!", "", {}, {}},
                    {"code!", "", {}, {}},
                    {string(70, 'x'), "", {}, {}}};
  for (std::size_t i = 0; i < 4; ++i) answer.gpus.push_back(answer.gpus[i]);
  // Each is better than what its interface had before it, but the last two.
  answer.gpus[0].software = answer.gpus[1].software = true;
  answer.gpus[2].complete = answer.gpus[3].complete = false;
  answer.gpus[4].values = {{"glRenderer", "", "Mesa Intel(R) UHD 620 "},
                           {"glVersion", "", "4.1"},
                           {"glDriverVersion", "", "._22.3" + string(60, '5')},
                           {"glMemoryMB", "", std::int64_t{1000000000000000}}};
  answer.gpus[6] = answer.gpus[4];
  answer.gpus[6].values[3].value = std::int64_t{1};
  answer.gpus[6].values[0].value = string("less memory");
  answer.gpus[5].values = {{"clName", "", "\"\\"}, {"clDeviceVersion", "", "3"}, {"clMemoryMB", "", 0.5}};
  answer.gpus[7].software = true;
  string told = AsNFD(answer) + AsPrometheus(answer);
  for (const auto& [time, memory] : {std::pair("", 0.5),
                                     {"2028-02-30T00:00:00Z", 1.},
                                     {"2028-02-28T23:59:59", 2e15},
                                     {"9999-12-31T00:00:00Z", 1e16},
                                     {"2028-02-28T23:59:5/Z", 0.},
                                     {"2028-02-28T23:59:5:Z", 0.}}) {
    answer.time = time;
    answer.gpus[4].values[3].value = memory;
    told += "\n--- " + string(time) + "\n" + LinesOf(AsNFD(answer))[0] + "\n" +
            std::to_string(LinesOf(AsNFD(answer)).size()) + " lines of labels, " +
            std::to_string(LinesOf(AsPrometheus(answer)).size()) + " of metrics\n";
  }
  const string version = ztutil::kVersion;
  told.replace(told.find(version), version.size(), "VERSION");
  EXPECT_TRUE(AsExpected("fleet.txt", told));
}

}  // namespace
