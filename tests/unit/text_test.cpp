// What a person is told of an answer.
#include "expected.h"

#include <ztutil/version.h>

#include <gpuprowler/answer.h>
#include <gpuprowler/show.h>
#include <gtest/gtest.h>
#include <run/steps.h>
#include <tell/printable.h>

#include <algorithm>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using gpuprowler::Answer;
using gpuprowler::Behaviour;
using gpuprowler::Interface;
using std::string;

// Words that trackers make nothing of, and others.
const char kWords[] =
    "A (word), 12345678: 123456789 1.2; don't x-y -x y' call(a). (b) a`b a|b \u00E9 () . "
    "abcdefghijklmnopqrstuvwxyzabcdefghijklmn abcdefghijklmnopqrstuvwxyzabcdefghijklmno";

Answer Told() {
  Answer answer;
  answer.text = "The prober crashed";
  answer.seconds = 1.234;
  answer.remembered = true;
  answer.time = "2026-11-22T05:29:05Z";
  answer.prober = "prober";
  answer.arguments = {"-a", "b"};
  answer.adapters.resize(2);
  answer.adapters[0].address = "0000:01:00.0";
  answer.adapters[0].name = "card\n";
  answer.adapters[0].vendorID = 0x1002;
  answer.adapters[0].deviceID = 0x3f;
  answer.adapters[0].renderNode = "/dev/dri/renderD128";
  answer.adapters[0].group = "render";
  answer.adapters[1].driver = "(nvidia)";
  answer.adapters[1].driverVersion = "535";
  answer.adapters[1].memoryBytes = std::uint64_t{512} << 20;
  answer.adapters[1].renderNode = "/dev/nvidiactl";
  answer.adapters[1].asleep = true;
  answer.adapters[1].outputs = {"DP-1", "DP-2"};
  answer.adapters[0].outputs.assign(67, "DP");
  answer.drivers = {
      {Interface::kOpenGL, "a.json", "libA.so", "", 0, 0, Behaviour::kCrashed, "glgpu[0].GLMemoryMB", "now"},
      {Interface::kOpenCL, "b.icd", "libB.so", "/libB.so", 0, 0, Behaviour::kSound, "", ""},
      {Interface::kOpenCL, "c.icd", "c", "c", 0, 0, Behaviour::kSetAside, "exit", "then"},
      {Interface::kOpenCL, "", "d", "d", 0, 0, Behaviour::kEnded, "", ""},
      {Interface::kOpenCL, "", "e", "e", 0, 0, Behaviour::kFailed, "", ""},
      {Interface::kOpenCL, "", "f", "f", 0, 0, Behaviour::kHung, "", ""},
      {Interface::kOpenCL, "", "", "", 0, 0, Behaviour::kUnknown, "", ""}};
  answer.reasons = {{"node-not-allowed", "No \x1B.", 0, {}}};
  answer.reasons.push_back({"", kWords, {}, {}});
  answer.gpus.resize(4);
  answer.gpus[0].tag = "glgpu[0]";
  answer.gpus[0].values = {{"glVersion", "GLVersion", "4.1"},
                           {"glMemoryMB", "GLMemoryMB", std::int64_t{512}},
                           {"glRenderer", "GLRenderer", "\x1B[2J"},
                           {"glFrameBufferOK", "GLFrameBufferOK", false},
                           {"glShadingLanguageVersion", "glGetString[...]", "4.50"}};
  answer.gpus[0].adapter = answer.gpus[0].driver = 0;
  answer.gpus[0].complete = true;
  answer.gpus[1].interface = Interface::kOpenCL;
  answer.gpus[1].tag = "clgpu[0]";
  answer.gpus[1].values = {
      {"clName", "CLName", "cpu"}, {"clBandwidth", "CLBandwidth", 1.5e11}, {"clCompute", "CLCompute", 0.25}};
  answer.gpus[1].software = true;
  answer.gpus[1].run = 1;
  answer.gpus[1].failed = {"clgpu[0].CLVendor", "clgpu[0].CLVendorID"};
  answer.gpus[3] = answer.gpus[1];
  answer.gpus[3].values[1].value = 5e10;
  answer.gpus[3].values[2].value = 0.;
  answer.gpus[2].tag = "glgpu[0]";
  answer.gpus[2].values = {{"glName", "GLName", "Card"},
                           {"glRenderer", "GLRenderer", "renderer"},
                           {"glDriverVersion", "GLDriverVersion", "1.2"},
                           {"canCompileProgramGLSL", "CanCompileProgramGLSL", false},
                           {"glMemoryMB", "GLMemoryMB", std::int64_t{0}},
                           {"flag", "Flag", true},
                           {"real", "Real", 1234567.8},
                           {"list", "List", std::vector<std::int64_t>{1, -1}},
                           {"text", "Text", string(201, 'x')}};
  answer.runs.resize(2);
  answer.runs[0].text = "The prober crashed: signal 11";
  answer.runs[0].asked = {"glgpu[0].GLMemoryMB", "b", "c", "d", "e"};
  answer.runs[0].standsIn = "f of libA.so";
  answer.runs[0].notes = {"a note"};
  answer.runs[0].seconds = 2;
  answer.runs[0].output.linesDropped = 1;
  answer.runs[0].output.lines = {{0.5, "a remark", 0, gpuprowler::LineKind::kComment},
                                 {0.5, "gputag.GL=1", 0, gpuprowler::LineKind::kSymbol}};
  for (const auto& [seconds, text] : {std::pair(0.018, "ProwlerStart=1"),
                                      {0.0184, "Tester=1"},
                                      {0.119, "OGLContextCreated=1"},
                                      {0.319, "NumGLGPUs=1"},
                                      {0.849, "glgpu[0].GLVersion=\"4.1\""},
                                      {1.289, "NumCLGPUs=1"},
                                      {1.727, "clgpu[0].CLName=\"cpu\""},
                                      {1.5, "clgpu[0].CLVendor=\"\""}})
    answer.runs[0].output.lines.push_back({seconds, text, 0, gpuprowler::LineKind::kFinding});
  answer.runs[0].errors.linesDropped = 1;
  answer.runs[0].errors.lines.assign(22, {0.5, "line", 0, gpuprowler::LineKind::kOther});
  answer.runs[0].errors.unfinished = "cut";
  answer.runs[1].text = "The prober finished";
  answer.runs[1].seconds = 0.9995;
  answer.runs[1].alone = true;
  answer.runs[1].drivers = {1, 2};
  return answer;
}

string Events() {
  using Kind = gpuprowler::Event::Kind;
  const gpuprowler::Line line{0.5, "a\xFF", 0, gpuprowler::LineKind::kOther};
  const std::vector<gpuprowler::Event> events = {{Kind::kRunBegins, 1, 0.12345678, true, nullptr, ""},
                                                 {Kind::kLine, 1, 1, true, &line, "Tester"},
                                                 {Kind::kLine, 2, 2, false, &line, ""},
                                                 {Kind::kQuestion, 0, 3, false, nullptr, "exit"},
                                                 {Kind::kTick, 0, 4, false, nullptr, "exit"},
                                                 {Kind::kRunEnds, 0, 5, false, nullptr, ""}};
  string lines;
  for (const gpuprowler::Event& event : events) lines += AsJSONLine(event);
  return lines;
}

// What the steps are, by their plain keys.
string Keys() {
  string keys;
  for (const gpuprowler::Step& step : gpuprowler::Steps())
    keys += step.PlainKey() + " " + "FNRTL"[static_cast<int>(step.form)] +
            (step.optional ? " optional" : "") + (step.IsMeasurement() ? " measurement" : "") + "\n";
  return keys;
}

// All questions, with what a person is told of each, and then of as many.
Answer Questions() {
  Answer answer;
  std::vector<string> all;
  for (std::size_t step = 0; step < gpuprowler::Steps().size(); ++step) {
    all.push_back(gpuprowler::Question{step, 0}.Name());
    answer.gpus.emplace_back().failed = {all.back()};
  }
  answer.gpus.emplace_back().failed = all;
  return answer;
}

string WithoutVersion(string text) {
  const string version = ztutil::kVersion;
  for (std::size_t at; (at = text.find(version)) != string::npos;)
    text.replace(at, version.size(), "VERSION");
  return text;
}

string LinesWith(std::initializer_list<const char*> parts, const string& text) {
  std::istringstream in(text);
  string lines;
  for (string line; std::getline(in, line);)
    if (std::any_of(parts.begin(), parts.end(),
                    [&](const char* part) { return line.find(part) != string::npos; }))
      lines += line.substr(0, 100) + "\n";
  return lines;
}

TEST(TextTest, TellsAPerson) {
  EXPECT_TRUE(AsExpected("text.txt", AsText(Told()) + "\n--- All\n" + AsText(Told(), true) +
                                         "\n--- Events\n" + Events() + "\n--- Keys\n" + Keys() +
                                         "\n--- Questions\n" + Summary(Questions())));
  EXPECT_EQ(AsText(Answer()), "");
}

TEST(TextTest, ShowsWhatWouldNotBeSeen) {
  using gpuprowler::Printable;
  EXPECT_EQ(
      Printable("\x1F\x7F\u0080\u009F\u00AD\u061C\u180E\u200B\u200F\u2028\u202E\u2060\u206F\uFEFF\uFFF9\uFFFB"
                "\U0001D173\U0001D17A\U000E0000\U000E007F"),
      "\\x1F\\x7F\\x80\\x9F\\u00AD\\u061C\\u180E\\u200B\\u200F\\u2028\\u202E\\u2060\\u206F\\uFEFF\\uFFF9\\uFF"
      "FB"
      "\\u1D173\\u1D17A\\uE0000\\uE007F");
  const string seen =
      " ~"
      "\u00A0\u00AC\u061B\u180D\u200A\u2010\u2027\u202F\u205F\u2070\uFFF8\uFFFC\U0001D172\U0001D17B"
      "\U000E0080";
  EXPECT_EQ(Printable(seen), seen);
  EXPECT_EQ(Printable(string(400, 'x')), string(400, 'x'));
  EXPECT_EQ(Printable(string(401, 'x')), string(400, 'x') + "... (401 bytes)");
}

// All texts of an answer that may be anything.
Answer Hostile(const string& text) {
  Answer answer = Told();
  answer.text = answer.time = answer.prober = text;
  answer.adapters[0] = {text, text, 1, 2, 0, 0, text, text, text, 0, text, false, text, false, text, {text}};
  for (gpuprowler::Driver& driver : answer.drivers)
    driver.manifest = driver.library = driver.question = driver.since = text;
  answer.reasons = {{text, text, {}, {}}};
  for (gpuprowler::GPU& gpu : answer.gpus) {
    gpu.tag = text;
    gpu.failed = {text, text};
    for (gpuprowler::Value& value : gpu.values) value.reportKey = text, value.value = text;
  }
  for (gpuprowler::Run& run : answer.runs) {
    run.text = run.lastLine = run.standsIn = run.output.unfinished = text;
    run.asked = run.notes = {text};
    run.seconds = 2;
    run.output.lines = run.errors.lines = {{0.5, text}, {1.5, text, 0, gpuprowler::LineKind::kFinding}};
  }
  return answer;
}

// What is left of Markdown without its code, and without HTML's.
string WithoutCode(string markdown) {
  string rest;
  for (std::size_t code; (code = markdown.find("<code>")) != string::npos;)
    markdown.erase(code, markdown.find("</code>", code) + 7 - code);
  for (std::size_t at = 0; at < markdown.size();) {
    const std::size_t marks = std::min(markdown.find_first_not_of('`', at), markdown.size()) - at;
    if (marks == 0) {
      rest += markdown[at++];
      continue;
    }
    const string fence = (marks > 2 ? "\n" : "") + string(marks, '`');
    const std::size_t end = markdown.find(fence, at + marks);
    EXPECT_NE(end, string::npos) << markdown.substr(at);
    at = std::min(end, markdown.size() - fence.size()) + fence.size();
  }
  return rest;
}

// Without what an HTML page of ours may have between pointed brackets.
string WithoutTags(const string& page) {
  string rest;
  for (std::size_t at = 0, end = 0; at < page.size(); at = end + 1) {
    end = std::min(page.find('<', at), page.size());
    rest += page.substr(at, end - at);
    end = std::min(page.find('>', end), page.size());
  }
  return rest;
}

TEST(TextTest, ShowsAnythingInItsPlace) {
  const string harmless = WithoutCode(AsMarkdown(Hostile("harmless")));
  const string tags = AsHTML(Hostile("harmless"));
  const auto count = [](const string& text, char c) { return std::count(text.begin(), text.end(), c); };
  for (const string text :
       {"a `b` ``` c", "```", "x\n```\n</details>\n\n@a", "a|b\\|c", "@all #1 GH-1 a/b#2", "http://x www.x",
        "[x](y) ![x](y)", "<b>&lt;</b>", "--><script>", "\"'><img src=x>", "\u202Ea\u2028", "\x01\x7F\xFF",
        "*a* _b_ ~c~", "</style></title></svg>"}) {
    SCOPED_TRACE(text);
    const string markdown = AsMarkdown(Hostile(text)), page = AsHTML(Hostile(text));
    const string rest = WithoutCode(markdown);
    for (const char c : string("|<>\n*_#@[]\\~")) EXPECT_EQ(count(rest, c), count(harmless, c)) << c << rest;
    for (const char* const part : {"\u202E", "\u2028", "\x01", "\x7F", "\xFF"}) {
      EXPECT_EQ(markdown.find(part), string::npos);
      EXPECT_EQ(page.find(part), string::npos);
    }
    EXPECT_EQ(count(page, '<'), count(tags, '<'));
    EXPECT_EQ(count(page, '>'), count(tags, '>'));
    EXPECT_EQ(count(WithoutTags(page), '"'), count(WithoutTags(tags), '"'));
  }
}

string PageOf(const Answer& answer) {
  string page = WithoutVersion(AsHTML(answer));
  return page.erase(page.find("<style>"), page.find("</style>") - page.find("<style>"));
}

TEST(TextTest, ShowsABugReportAndAPage) {
  EXPECT_TRUE(AsExpected("report.md", WithoutVersion(AsMarkdown(Told()))));
  string page = PageOf(Told()) + PageOf(Answer());
  for (int verdict = 0; verdict <= static_cast<int>(gpuprowler::Verdict::kInterrupted); ++verdict) {
    Answer answer;
    answer.text = "x";
    answer.verdict = static_cast<gpuprowler::Verdict>(verdict);
    answer.gpus.resize(static_cast<std::size_t>(verdict));
    page += LinesWith({"<header", " after "}, AsHTML(answer));
  }
  EXPECT_TRUE(AsExpected("page.html", page));
  EXPECT_NE(AsHTML(Hostile("a")).find(">The longest waits: a, 1.50 s; a, no answer, 500 ms.<"), string::npos);
  Answer brief;
  brief.runs.resize(1);
  for (const double seconds : {0.001, 1.0, 1.0})
    brief.runs[0].output.lines.push_back({seconds, "a=1", 0, gpuprowler::LineKind::kFinding});
  EXPECT_NE(AsHTML(brief).find(">The longest waits: a, 999 ms.<"), string::npos);
}

// Of however much the answer has.
TEST(TextTest, ShowsAsMuchAsCanBeRead) {
  string shown;
  for (const string& text : {string(1500, '<'), string(1500, '`'), string(300, 'x')}) {
    Answer answer = Hostile(text);
    answer.runs[0].errors.lines.assign(3000, {1, text});
    answer.gpus[2].values.resize(4000, answer.gpus[2].values[0]);
    answer.gpus.resize(200, answer.gpus[1]);
    answer.adapters.resize(200, answer.adapters[0]);
    answer.drivers.resize(200, answer.drivers[0]);
    answer.reasons.resize(200, answer.reasons[0]);
    answer.runs.resize(50, answer.runs[1]);
    const string markdown = AsMarkdown(answer), page = PageOf(answer);
    EXPECT_LE(markdown.size(), 60000u);
    EXPECT_LE(page.size(), std::size_t{16} << 20);
    shown += "--- " + text.substr(0, 1) + ": " + std::to_string(markdown.size()) + " bytes of Markdown, " +
             std::to_string(page.size()) + " of HTML\n" +
             LinesWith({"This is ", ", the first ", ", the last "}, markdown) +
             LinesWith({" more.", " are left out"}, page);
  }
  EXPECT_TRUE(AsExpected("shortened.txt", shown));
}

}  // namespace
