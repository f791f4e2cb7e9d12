// prowl on the real prober with drivers that fail, and on children that are no probers.
#include "prowlprocess.h"
#include "report.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace {

using std::string;

using JSON = nlohmann::json;

const string kChild = BuildFile("bin/rigchild");

TEST(ProwlTest, KnowsEachLineOfARun) {
  const JSON document = RunProwlForJSON(Drivers(), {});
  EXPECT_EQ(document["verdict"], "finished");
  EXPECT_EQ(document["ending"], "status 0");
  EXPECT_EQ(document["stdout"]["lines"].size(), CleanRun().lines.size());
  for (const JSON& line : document["stdout"]["lines"])
    EXPECT_TRUE(line["kind"] == "finding" || line["kind"] == "symbol") << line;
  EXPECT_EQ(document["gpus"][0]["findings"]["GLRectTextureSize"].dump(),
            ValueOf(CleanRun(), "glgpu[0].GLRectTextureSize"));
  EXPECT_EQ(document["gpus"][1]["tag"], "clgpu[0]");
}

// The process ends, one way or the other, in the first driver call of each step that makes any; of steps that
// ask the same for many symbols, in the first.
TEST(ProwlTest, NamesTheStepInWhichADriverDied) {
  const std::pair<string, string> deaths[] = {
      {"segv", "crashed"}, {"abort", "crashed"}, {"exit:2", "ended-early"}};
  std::map<string, int> calls;
  std::set<string> tried;
  string call;
  for (const string& line : MarkedRun()) {
    if (line[0] == '@') {
      const string number = std::to_string(++calls[line]);
      if (call.empty()) call = line.substr(1) + "@" + number;
    } else if (line.compare(0, 7, "gputag.") != 0 && !call.empty()) {
      const string key = line.substr(0, line.find('='));
      const auto& [death, verdict] = deaths[tried.size() % std::size(deaths)];
      const string fault = std::exchange(call, "") + "=" + death;
      if (!tried.insert(key.substr(0, key.find('[', key.find('.')))).second) continue;
      const JSON document = RunProwlForJSON(Drivers({{"RIG_FAULT", fault}}), {});
      EXPECT_EQ(document["verdict"], verdict) << fault;
      const JSON& asked = document["asked"];
      EXPECT_EQ(std::count(asked.begin(), asked.end(), key), 1) << fault << asked;
    }
  }
  EXPECT_GE(tried.size(), 20u);
}

TEST(ProwlTest, JudgesWhateverItStarts) {
  const struct {
    Texts arguments;
    string verdict, ending, path, value;
  } rows[] = {
      {{"--timeout", "3"}, "hung", "status 5", "/asked/0", "KGXOGLInitialized"},
      {{"--prober", kChild, "--", "flood:100000000", "half:!"},
       "ended-early",
       "status 3",
       "/exitStatus",
       "0"},
      {{"--prober", kChild, "--timeout", "1", "--", "half:prowlerEnd=", "hang"},
       "hung",
       "status 5",
       "/stdout/unfinished",
       "prowlerEnd="},
      {{"--prober", kChild, "--timeout", "1", "--", "say:KGXCoreInitialized=1", "close:1", "close:2", "hang"},
       "hung",
       "status 5",
       "/asked/0",
       "KGXOGLInitialized"},
      {{"--prober", kChild, "--timeout", "30", "--", "say:x", "grandchild:sleep:4000", "exit:5"},
       "ended-early",
       "status 3",
       "/notes/0",
       "something that the prober has started holds its output open, which was read no longer"},
      {{"--prober", kChild, "--", "say:\xFF", "crash"}, "crashed", "status 4", "/lastLine", "\uFFFD"},
      {{"--prober", "/none/gpuprowler"},
       "not-started",
       "status 6",
       "/end",
       "there is no such file (Launcher: CreateProcessW failed)"},
      {{"--prober", BuildFile("e2e/mesa.json")},
       "not-started",
       "status 6",
       "/end",
       "it isn't executable (Launcher: CreateProcessW failed)"},
  };
  for (const auto& row : rows) {
    const JSON document = RunProwlForJSON(Drivers({{"RIG_FAULT", "__egl_Main=hang"}}), row.arguments);
    EXPECT_EQ(document["verdict"], row.verdict) << row.verdict << row.value;
    EXPECT_EQ(document["ending"], row.ending) << row.verdict << row.value;
    const JSON value = document.value(JSON::json_pointer(row.path), JSON());
    EXPECT_EQ(value.is_string() ? value.get<string>() : value.dump(), row.value);
  }
}

TEST(ProwlTest, PassesBytesOn) {
  const string bytes = "a\r\n\xFF\n\nb";
  const Outcome outcome = RunProwl(Drivers(), {"--raw", "--prober", kChild, "--", "half:" + bytes, "warn:w"});
  string rest;
  EXPECT_EQ(outcome.lines, Lines(bytes, &rest));
  EXPECT_EQ(outcome.rest, rest);
  EXPECT_EQ(outcome.errors.substr(0, 24), "w\nThe prober ended early");
  EXPECT_EQ(outcome.ending, "status 3");

  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  for (const char* const how : {"--raw", "--json"})
    EXPECT_EQ(RunProwl(Drivers(), {how, "--prober", kChild, "--", "say:x"}, full).ending, "status 1") << how;
  close(full);
}

}  // namespace
