// What is made of an answer for Prometheus and for Kubernetes.
#include "machines.h"

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
  EXPECT_LT(AsPrometheus(many).size(), 1000000u);
  EXPECT_NE(AsPrometheus(many).find("\ngpuprowler_left_out{of=\"gpu\"} 2968\n"), string::npos);
  EXPECT_LT(AsNFD(many).size(), 65536u);
}

TEST(FleetTest, TellsOfTheBestGPU) {
  Answer answer = AnswerOfMachine(0);
  GPU& best = answer.gpus[2];
  best.values = {{"glRenderer", "", "Mesa Intel(R) UHD 620"},
                 {"glVersion", "", "4.1"},
                 {"glMemoryMB", "", std::int64_t{1} << 40}};
  answer.time = "2028-02-28T23:59:59Z";
  const string features = AsNFD(answer), metrics = AsPrometheus(answer);
  for (const char* const line :
       {"# +expiry-time=2028-03-01T23:59:59Z\n", "-opengl.gpus=2\n", "-opengl.name=Mesa-Intel-R-UHD-620\n",
        "-opengl.version.full=4.1\n", "-opengl.version.minor=1\n", "-opengl.memory-mb=1099511627776\n"})
    EXPECT_NE(features.find(line), string::npos) << line << features;
  EXPECT_NE(metrics.find("\ngpuprowler_gpu_memory_bytes{gpu=\"2\"} 1152921504606846976\n"), string::npos)
      << metrics;
  EXPECT_NE(metrics.find("\ngpuprowler_answer_timestamp_seconds 1835395199\n"), string::npos) << metrics;
  for (const char* const time : {"", "2028-02-30T00:00:00Z", "2028-02-28T23:59:59", "9999-12-31T00:00:00Z"}) {
    answer.time = time;
    EXPECT_EQ(AsNFD(answer).rfind("# +expiry-time=1970-01-01T00:00:00Z\n", 0), 0u) << time;
  }
}

}  // namespace
