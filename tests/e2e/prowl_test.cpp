// prowl on the real prober with drivers that fail, and on children that are no probers.
#include "expected.h"
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
  // What a parent ignores stays so.
  EXPECT_EQ(ShellLines("env --ignore-signal=INT ", "-- hang",
                       untilChild + "kill -INT $!; sleep 0.2; kill -TERM $child; wait $!; echo $?")
                .back(),
            "4");
  // One that reads nothing is given up.
  EXPECT_EQ(
      ShellLines("cd $(mktemp -d); (", "--raw --timeout 1 -- flood:1000000",
                 " 2>e; echo $? >s) | (until [ -s s ]; do sleep 0.1; done); tail -n 1 e; cat s; rm -r $PWD"),
      Texts({"prowl: can't write to standard output", "1"}));
  // A slow reader misses nothing, and the prober is no slower for it, whose story has no note of that.
  Texts lines = ShellLines("exec 3>&1; ", "--raw -- flood:200000", " 2>&3 | (sleep 7; wc -c)");
  lines.front() = "";
  EXPECT_EQ(lines, Texts({"", "Last line: none", "Was being asked: Tester (starting up)", "200000"}));
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
        told += event["event"].get<string>() + event.value("stream", "") + event.value("text", "") +
                std::to_string(event.count("run") + event.count("seconds") + event.count("question")) + " ";
    }
    EXPECT_EQ(told, "run-begins2 " + string(line) + "2 run-ends3 answer0 ");
    EXPECT_EQ(JSON::parse(outcome.lines.back())["answer"]["verdict"], "ended-early");
  }
}

// What these commands say, in a folder of their own. `prowl` there is a copy without a prober beside it.
string Say(const string& commands) {
  const string first = "built=" + BuildFile("bin") + R"(; cd $(mktemp -d); cp $built/prowl .
child() { $built/prowl --prober $built/rigchild "$@"; }
)";
  string told;
  for (const string& line : RunProwl(Drivers(), {"--raw", "--timeout", "200", "--prober", "sh", "--", "-c",
                                                 first + commands + "\nrm -r $PWD"})
                                .lines)
    told += line + "\n";
  return told;
}

TEST(ProwlTest, ComparesAndWritesFiles) {
  const string files = Say(R"(
child --json -- exit:2 >a
child diff a -- exit:2; echo $?
child diff a -- crash; echo $?
child diff a --json >/dev/full; echo $?; $built/prowl diff a a --json | sed -n 2p
./prowl diff a --prober /none/x 2>&1; echo $?
$built/prowl --from a --prometheus p --nfd n; echo $?
ln -s n link; echo >n
$built/prowl --from - --nfd link <a; echo $?; readlink link
(trap '' XFSZ; ulimit -f 0; $built/prowl --from a --nfd n 2>&1 | sed -n '$p')
$built/prowl --from . 2>&1
for file in /none/x /dev/full .; do $built/prowl --from a --nfd $file 2>&1 | sed -n '1s/ [0-9.]* s//;1p;$p'; done
$built/prowl --from a --nfd n --json | head -n 1
child check --require GLVersion=3 -- exit:2 2>&1 | sed '1s/ [0-9.]* s//'
child check --require GLVersion=3 --json -- exit:2 2>&1 | grep schema
echo '{"entries": [{"id": 1, "features": ["f"]}]}' >rules
$built/prowl check rules --from a --feature f --feature g 2>&1; echo $?; $built/prowl check . --from a 2>&1; echo $?
for words in 'diff a' 'check --require GLVersion=3'; do
  $built/prowl --prober $built/rigchild $words -- hang >told 2>&1 &
  until grep -qs . /proc/$!/task/*/children; do sleep 0.1; done; kill $!; wait $!; echo $?; sed '1s/ [0-9.]* s//;1q' told
done
mkfifo pipe; cat pipe | wc -l & $built/prowl --from a --nfd pipe; wait $!
ls -A; grep -c 'verdict=.ended-early.} 1' p; grep -c verdict=ended-early n)");
  const string memory = Say(R"(
export XDG_STATE_HOME=$PWD
RIG_FAULT=clGetPlatformIDs=segv $built/prowl --remember >first; echo $?
$built/prowl memory | sed 's,/.*/,,;s/20.*Z/TIME/'
for driver in b.icd ''; do $built/prowl forget $driver; done; $built/prowl memory
ask() { $built/prowl --json "$@" | grep -cE "$pattern"; }
pattern='"alone": true'; for how in --json --no-isolate; do RIG_FAULT=clGetPlatformIDs=segv ask --no-measure $how; done
RIG_FAULT=clEnqueueCopyBuffer=hang $built/prowl --no-measure >a; echo $?
pattern='"remembered": true'; ask --no-measure --remember; ask --no-measure --remember --fresh
ask --no-measure --remember; ask --no-measure
$built/prowl --json >1; for i in 2 3; do sed "s/\(\"clBandwidth\": \)[0-9][^,]*/\1$i.0/" 1 >$i; done
for noise in '' --noise=1.4; do $built/prowl diff 3 2 $noise >told; echo $?; done)");
  EXPECT_TRUE(AsExpected("prowl.txt", files + "--- Memory\n" + memory));
}

// A reader that doesn't read holds nobody up, and is told that it has missed something.
TEST(ProwlTest, CountsWhatItsReaderMisses) {
  EXPECT_EQ(Say(R"($built/prowl --events --prober sh -- -c '
  for i in 1 2 3 4 5 6 7 8; do yes $(printf %01000d) | head -n 5000; sleep 0.1; done; sleep 1; touch done' |
(until [ -e done ]; do sleep 0.1; done; cat) | awk '
  /"left-out","count":[1-9]/ {++times}
  {bytes += length($0)}
  END {print times, (bytes > 16 * 1048576)}')"),
            "1 1\n");
}

TEST(ProwlTest, EndsWhileItsReaderDoesNotRead) {
  EXPECT_EQ(Say(R"(mkfifo pipe; sleep 100 <pipe & reader=$!
for how in --json --raw; do
  rm -f done; $built/prowl $how --prober sh -- -c 'yes | head -n 50000; touch done' >pipe 2>&1 &
  until [ -e done ]; do sleep 0.1; done
  for i in $(seq 100); do kill $! 2>&1 || break; sleep 0.2; done >kills
  wait $!; echo $?
done; kill $reader)"),
            "143\n143\n");
}

TEST(ProwlTest, ShowsATerminalHowItGoesOn) {
  EXPECT_EQ(Say(R"(script -qec "$built/prowl --prober )" + kChild +
                R"( -- say:prowlerStart=1 sleep:1000" /dev/null |
tr '\r' '\n' | sed 's/^[0-9][.][0-9]/N/' | grep -E '^N s  Tester$|^ +$' | sort -u)"),
            "             \nN s  Tester\n");
}

// The help texts, and which words of a command line exclude each other.
TEST(ProwlTest, ReadsItsCommandLine) {
  EXPECT_TRUE(AsExpected("commandline.txt", Say(R"(
for verb in '' ask look check diff memory forget; do echo "--- $verb"; ./prowl $verb --help; done
options="--from=- --prober=x --timeout=9 --question-timeout=9 --no-measure --no-isolate --remember --fresh --all
  --json --markdown --html=h --events --raw --prometheus=p --nfd=n"
for option in ask look 'check --require=x' 'diff a' 'diff a b' memory forget $options; do
  for other in $options; do ./prowl $option $other 2>&1 </dev/null | grep -m1 -E 'excludes|requires'; done
done | awk '!seen[$0]++ {if ($1 != last) printf "\n%s %s", $1, $2; last = $1; printf " %s", $3} END {print ""}'
set -- --prober=x --timeout=9 --question-timeout=9 --no-measure --no-isolate --remember --fresh --prometheus=p --nfd=n
for option; do
  for other in --from=- look; do ./prowl $other "$@" 2>&1 </dev/null | grep -m1 -E 'excludes|requires'; done
  shift
done)")));
}

// Of each command the status, and lines that tell what it has done.
TEST(ProwlTest, DoesWhatItsCommandLineSays) {
  EXPECT_TRUE(AsExpected("commands.txt", Say(R"(
export XDG_STATE_HOME=/none
while read -r words; do
  $built/prowl $words >out 2>errors </dev/null; echo "prowl $words: $?"; head -n 1 errors
  grep -Ehs '^Drivers$|^#### Drivers|"schema"|DOCTYPE|^No driver|forgotten|^Requirements|^  glgpu|^x: ' out page
done <<END
look
look --json
look --markdown
memory
forget
--timeout 0
--timeout 1000001
--timeout nan
--question-timeout -1
--question-timeout 1000001
diff --noise 0.5 /none
diff --noise nan /none
diff --noise 1 --timeout 1000000 --question-timeout 0 /none
diff /none
diff
--from /none
--from -
look memory
check
check /none --no-measure
check /none --no-measure --require NumGLGPUs=0
check --no-measure --require GLVersion>=9
check --no-measure --require GLVersion>=9 /none
check --no-measure --require GLVersion>=3.3
check --no-measure --require GLVersion>=3.3 /none
check --no-measure --feature x /none --require GLVersion>=3.3
look --html page
END
mkdir path; printf '#!/bin/sh\necho the prober of the path' >path/gpuprowler; chmod +x path/gpuprowler
PATH=$PWD/path:$PATH ./prowl --raw 2>/dev/null
for slow in "" --question-timeout=1; do child --raw $slow -- say:x sleep:3000 2>/dev/null; echo $?; done)")));
}

}  // namespace
