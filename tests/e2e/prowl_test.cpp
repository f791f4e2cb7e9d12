// prowl on the real prober with drivers that fail, and on children that are no probers.
#include "prowlprocess.h"
#include "report.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

using std::string;

using JSON = nlohmann::json;

const string kChild = BuildFile("bin/rigchild");

TEST(ProwlTest, TellsFindingsByGPU) {
  const JSON document = RunProwlForJSON(Drivers(), {});
  EXPECT_EQ(document["ending"], "status 0");
  for (const JSON& line : document["runs"][0]["stdout"]["lines"])
    EXPECT_EQ(line["kind"], line["text"].get<string>().find("gputag.") == 0 ? "symbol" : "finding") << line;
  for (const Step& step : CleanSteps()) {
    const JSON& gpu = document["gpus"][step.gpu == "clgpu[0]" ? 1 : 0];
    const string key = step.key.substr(step.gpu.empty() ? 0 : step.gpu.size() + 1);
    bool found = false;
    for (const auto& value : (step.gpu.empty() ? document["runs"][0] : gpu)["values"].items())
      found = found || document["reportKeys"][value.key()] == key;
    EXPECT_EQ(found, !step.lines.empty()) << step.key;
  }
}

TEST(ProwlTest, JudgesWhateverItStarts) {
  const struct {
    string prober, arguments, verdict, path, value;
  } rows[] = {
      {BuildFile("bin/gpuprowler"), "--timeout 3", "hung: status 5", "/runs/0/asked/0", "KGXOGLInitialized"},
      {kChild, "-- flood:10000000 half:!", "ended-early: status 3", "/runs/0/exitStatus", "0"},
      {kChild, "--timeout 3 -- half:prowlerEnd= hang", "hung: status 5", "/runs/0/stdout/unfinished",
       "prowlerEnd="},
      {"sleep", "--timeout 3 -- 100", "hung: status 5", "/runs/0/standsIn",
       "a function of sleep, in clock_nanosleep of libc.so.6"},
      {kChild, "--timeout 3 -- say:x close:1 close:2 hang", "hung: status 5", "/runs/0/lastLine", "x"},
      {kChild, "-- say:x grandchild:sleep:30000 exit:5", "ended-early: status 3", "/runs/0/notes/0",
       "something that the prober has started holds its output open, which was read no longer"},
      {kChild, "-- say:glgpu[0].Noise=1", "ended-early: status 3", "/runs/0/stdout/lines/0/kind", "other"},
      {kChild, "-- say:\xFF crash", "crashed: status 4", "/runs/0/lastLine", "\uFFFD"},
      {"env", "-- --ignore-signal=CHLD " + BuildFile("bin/prowl") + " --prober " + kChild + " -- exit:7",
       "finished-with-failures: status 2", "/runs/0/exitStatus",
       "3"},  // the inner one has seen its prober end early
      {"/none/gpuprowler", "", "not-started: status 6", "/runs/0/end",
       "No such file or directory (Launcher: CreateProcessW failed)"},
      {BuildFile("e2e/mesa.json"), "", "not-started: status 6", "/runs/0/end",
       "Permission denied (Launcher: CreateProcessW failed)"},
  };
  for (const auto& row : rows) {
    const JSON document = RunProwlForJSON(Drivers({{"RIG_FAULT", "__egl_Main=hang"}}),
                                          Words("--prober " + row.prober + " " + row.arguments));
    SCOPED_TRACE(row.prober + " " + row.arguments);
    EXPECT_EQ(document["verdict"].get<string>() + ": " + document["ending"].get<string>(), row.verdict);
    const JSON value = document.value(JSON::json_pointer(row.path), JSON());
    EXPECT_EQ(value.is_string() ? value.get<string>() : value.dump(), row.value);
  }
}

// What a shell says that runs prowl on a child.
Texts ShellLines(const string& before, const string& arguments, const string& behind) {
  const string prowl = BuildFile("bin/prowl") + " --prober " + kChild + " " + arguments;
  return RunProwl(Drivers(), {"--raw", "--prober", "sh", "--", "-c", before + prowl + behind}).lines;
}

TEST(ProwlTest, IsNotHeldUp) {
  const string untilChild = "& until child=$(grep -hs . /proc/$!/task/*/children); do sleep 0.1; done; ";
  // The second signal comes before the first has killed the prober.
  for (const string signal : {"INT", "TERM", "HUP", "QUIT"}) {
    const string kill = "; kill -" + signal + " $!";
    const Texts lines = ShellLines("env --default-signal ", "-- say:x hang",
                                   untilChild + ":" + kill + kill + "; wait $!; echo $?");
    EXPECT_EQ(lines.back(), "7") << signal;
    EXPECT_EQ(lines.front().substr(0, 26), "The prober was interrupted") << signal;
  }
  // A slow reader misses nothing.
  EXPECT_EQ(ShellLines("", "--raw -- flood:180000", " | (sleep 3; wc -c)").back(), "180000");
  // A prober that was stopped has its time all the same, and doesn't hang.
  EXPECT_EQ(ShellLines("", "--no-isolate --timeout 3 -- hang",
                       untilChild + "kill -STOP $child; sleep 3.5; kill -KILL $child; wait $!; echo $?")
                .back(),
            "4");
}

TEST(ProwlTest, PassesBytesOn) {
  const string bytes = "a\r\n\xFF\n\nb";
  const Outcome outcome = RunProwl(Drivers(), {"--raw", "--prober", kChild, "--", "half:" + bytes, "warn:w"});
  EXPECT_EQ(outcome.lines, Lines(bytes));
  EXPECT_EQ(outcome.rest, "b");
  EXPECT_EQ(outcome.errors.substr(0, 24), "w\nThe prober ended early");
  EXPECT_EQ(outcome.ending, "status 3");

  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  for (const char* const how : {"--raw", "--json", "--events"})
    EXPECT_EQ(RunProwl(Drivers(), {how, "--prober", kChild, "--", "say:x"}, full).ending, "status 1") << how;
  close(full);
}

TEST(ProwlTest, TellsEventsAsTheyCome) {
  for (const auto& [action, line] :
       {std::pair("say:a\xFF", "linestdouta\uFFFD"), {"warn:b", "linestderrb"}}) {
    const Outcome outcome = RunProwl(Drivers(), {"--events", "--prober", kChild, "--", action});
    string told;
    for (const string& each : outcome.lines) {
      const JSON event = JSON::parse(each);
      if (event["event"] != "question")
        told += event["event"].get<string>() + event.value("stream", "") + event.value("text", "") + " ";
    }
    EXPECT_EQ(told, "run-begins " + string(line) + " run-ends answer ");
    EXPECT_EQ(JSON::parse(outcome.lines.back())["answer"]["verdict"], "ended-early");
  }
}

TEST(ProwlTest, ComparesAndWritesFiles) {
  const string prowl = BuildFile("bin/prowl") + " --prober " + kChild;
  const string commands =
      "cd $(mktemp -d)\n" + prowl + " --json -- exit:2 >a\n" + prowl + " diff a -- exit:2; echo $?\n" +
      prowl + " diff a -- crash; echo $?\n" + prowl + " diff a --json >/dev/full; echo $?\n" +
      BuildFile("bin/prowl") + " --from a --prometheus p --nfd n; echo $?\n" +
      "ls -A; grep -c 'verdict=.ended-early.} 1' p; grep -c verdict=ended-early n; rm -r $PWD";
  EXPECT_EQ(RunProwl(Drivers(), {"--raw", "--prober", "sh", "--", "-c", commands}).lines,
            Lines("Nothing has changed.\n0\nChanged\n  verdict: ended-early -> crashed\n"
                  "  text: The prober ended early: status 2, and its report has no end -> The prober "
                  "crashed: signal 11 (SIGSEGV)\n"
                  "  arguments: exit:2 -> crash\n0\n2\n3\na\nn\np\n1\n1\n"));
}

TEST(ProwlTest, DoesWhatItsCommandLineSays) {
  const struct {
    const char *arguments, *says, *complains, *ending;
  } rows[] = {
      {"look", "\nDrivers\n  OpenGL ", "", "status 0"},
      {"look --json", "\"schema\": \"gpuprowler-answer-1\"", "", "status 0"},
      {"look --markdown", "\n#### Drivers\n", "", "status 0"},
      {"look --html /dev/stdout", "\n<!DOCTYPE html>\n", "", "status 0"},
      {"memory", "No driver is set aside.\n", "", "status 0"},
      {"forget", "All answers are forgotten, and 0 drivers that had been set aside.\n", "", "status 0"},
      {"--timeout 0", "", "--timeout: takes a number of seconds above 0, a million at most\n", "status 1"},
      {"--question-timeout -1", "", "--question-timeout: takes a number of seconds, a million at most\n",
       "status 1"},
      {"--raw --json", "", "--json excludes --raw\n", "status 1"},
      {"look --raw", "", "look excludes --raw\n", "status 1"},
      {"memory --json", "", "memory excludes --json\n", "status 1"},
      {"--html x --events", "", "--html excludes --events\n", "status 1"},
      {"diff --noise 0.5 /none", "", "--noise: takes a factor of at least 1\n", "status 2"},
      {"--from /none", "", "prowl: can't read /none\n", "status 1"},
      {"--from -", "", "prowl: - isn't a document of prowl --json\n", "status 1"},
      {"--from - --raw", "", "--from excludes --raw\n", "status 1"},
      {"check", "", "RULES or --require is required\n", "status 1"},
      {"check /none --no-measure", "", "prowl: /none: can't be read\n", "status 10"},
      {"check --no-measure --require GLVersion>=9", "\nRequirements: warned\n", "", "status 9"},
      {"check --no-measure --require NumGLGPUs=0", "\nRequirements: blocked\n", "", "status 8"},
      {"check --no-measure --require GLVersion>=3.3", "\n  glgpu[0] meets them\n", "", "status 0"},
      {"--fresh", "", "--fresh requires --remember\n", "status 1"},
      {"--raw --nfd x", "", "--nfd excludes --raw\n", "status 1"},
      {"diff", "", "BEFORE is required\n", "status 2"},
      {"diff /none", "", "prowl: can't read /none\n", "status 2"},
      {"diff a b --timeout 3", "", "diff excludes --timeout\n", "status 2"},
      {"diff a --html b", "", "diff excludes --html\n", "status 2"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = RunProwl(Drivers({{"XDG_STATE_HOME", "/none"}}), Words(row.arguments));
    string text;
    for (const string& line : outcome.lines) text += "\n" + line;
    EXPECT_NE((text + "\n").find(row.says), string::npos) << row.arguments << text;
    EXPECT_EQ(outcome.errors.substr(0, outcome.errors.find('\n') + 1), row.complains) << row.arguments;
    EXPECT_EQ(outcome.ending, row.ending) << row.arguments;
  }
}

}  // namespace
