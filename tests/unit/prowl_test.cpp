// What prowl makes of a prober's output, whatever that is.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <presentation.h>

#include <map>
#include <string>
#include <vector>

namespace {

using prowl::Ending;
using prowl::Report;
using std::string;

using Kind = Ending::Kind;

// The report of a machine with so many GPUs, without answers that are optional there, and without those of a
// GPU from the question on that it fails.
string FullReport(unsigned glGPUs, unsigned clGPUs, const string& failed = "") {
  const unsigned counts[] = {1, glGPUs, clGPUs};
  string report, dropped = "none";
  for (std::size_t step = 0; step + 1 < prowl::Steps().size(); ++step) {
    const prowl::Step& asked = prowl::Steps()[step];
    for (unsigned gpu = 0; gpu < counts[static_cast<std::size_t>(asked.scope)]; ++gpu) {
      const prowl::Question question{step, gpu};
      if (question.Name() == failed) dropped = question.Tag();
      if (question.Tag() == dropped || (asked.optional && asked.key != "NumCLGPUs")) continue;
      if (!asked.Symbol().empty()) report += "gputag." + string(asked.Symbol()) + "=1\n";
      const unsigned value = asked.key == "NumGLGPUs" ? glGPUs : asked.key == "NumCLGPUs" ? clGPUs : 1;
      report += question.Name() + "=" + std::to_string(value) + "\n";
    }
  }
  return report;
}

// Up to the end of the first line that begins so.
string Until(const string& beginning, const string& report = FullReport(1, 1)) {
  const std::size_t line = ("\n" + report).find("\n" + beginning);
  EXPECT_NE(line, string::npos) << beginning;
  return report.substr(0, report.find('\n', line) + 1);
}

Report Read(const string& output, const string& errors = "") {
  Report report;
  report.TakeOutput(output.data(), output.size(), 0.5);
  report.TakeErrors(errors.data(), errors.size(), 0.5);
  return report;
}

string Names(const std::vector<prowl::Question>& questions) {
  string names;
  for (const prowl::Question& question : questions) names += (names.empty() ? "" : " ") + question.Name();
  return names;
}

TEST(ProwlTest, TellsWhatWasAskedAtTheEnd) {
  const string two = FullReport(2, 1);
  const string exception = "Failed requirement: x\nexception: Failed requirement: x\n";
  const struct {
    string output, errors, asked;
  } rows[] = {
      {"", "", "Tester"},
      {"noise\n# remark\n=\n==\ngputag.=1\ngputag.NONE=1\nglgpu[0].GLVersion=1\n", "", "Tester"},
      {Until("KGXCore"), "", "KGXOGLInitialized"},
      {Until("glgpu[0].GLMemoryMB"), "", "glgpu[0].GLName glgpu[0].GLVendor glgpu[0].GLVendorID"},
      {Until("glgpu[0].GLMemoryMB") + "glgpu[0].GLVendor=\"\"\n", "", "glgpu[0].GLVendorID"},
      // What stands elsewhere than it should changes nothing, nor does what isn't a whole line.
      {Until("glgpu[0].GLVendorID") +
           "NumGLGPUs=3\nglgpu[0].GLVersion=2\nglgpu[1].GLRenderer=1\nclgpu[0].CLName=1\n"
           "glgpu[0].CLName=1\nglgpu[0]GLRenderer=1\nglgpu[99999999999].GLName=1\nprowlerEnd",
       "", "glgpu[0].GLDriverVersion glgpu[0].GLRectTextureSize"},
      {Until("glgpu[0].GLFrameBufferOK"), "", "glgpu[0].glGetString[GL_SHADING_LANGUAGE_VERSION]"},
      {Until("gputag.GL_MAX_DRAW_BUFFERS"), "", "glgpu[0].glGetIntegerv[GL_MAX_DRAW_BUFFERS]"},
      {Until("glgpu[0].extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]"), "", "NumCLGPUs NumNativeGPUs"},
      {Until("NumCLGPUs", FullReport(0, 0)), "", "NumNativeGPUs"},
      {Until("clgpu[0].CUDASupported"), "", "clgpu[0].CUDAVersion clgpu[0].CLBandwidth"},
      {FullReport(1, 1), "", "exit"},
      // Two GPUs
      {Until("glgpu[0].GLMemoryMB", two), "", "glgpu[1].GLMemoryMB"},
      {Until("glgpu[1].HasGLNPOTSupport", two), "",
       "glgpu[0].GLDriver glgpu[1].GLDriver glgpu[0].GLDriverDate glgpu[1].GLDriverDate "
       "glgpu[0].CanCompileProgramGLSL"},
      {Until("glgpu[0].extension[KGX::OGL::GL_ARB_VERTEX_SHADER]", two) +
           "gputag.KGX::OGL::GL_ARB_VERTEX_SHADER=1\n",
       "", "glgpu[1].extension[KGX::OGL::GL_ARB_VERTEX_SHADER]"},
      {Until("glgpu[1].GLRenderer=", FullReport(2, 1, "glgpu[0].GLRectTextureSize")), exception,
       "glgpu[1].GLRendererID"},
      // A GPU has failed, and the report doesn't show it yet.
      {Until("glgpu[0].GLFrameBufferOK"), exception, "NumCLGPUs NumNativeGPUs"},
      {Until("glgpu[0].GLMemoryMB", two), exception, "glgpu[0].GLName glgpu[0].GLVendor glgpu[0].GLVendorID"},
      {Until("glgpu[1].GLRenderer=", two), exception, "glgpu[1].GLRendererID"},
      {Until("glgpu[1].GLRenderer=", two), exception + "KGX::LogicalException: \n",
       "NumCLGPUs NumNativeGPUs"},
      {FullReport(2, 1), exception, "exit"},
  };
  for (const auto& row : rows) {
    const Report report = Read(row.output, row.errors);
    EXPECT_EQ(Names(report.GetWalk().Asked(report.Failures())), row.asked) << row.output << row.errors;
  }
}

TEST(ProwlTest, TellsWhichQuestionAGPUFailed) {
  for (const auto& [failed, expected] : std::map<string, string>{
           {"glgpu[1].GLVersion", "glgpu[1].GLVersion"},
           {"glgpu[0].GLVendorID", "glgpu[0].GLName glgpu[0].GLVendor glgpu[0].GLVendorID"},
           {"glgpu[1].extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]",
            "glgpu[1].extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]"},
           {"clgpu[0].CLCompute", "clgpu[0].CLCompute"}}) {
    const Report report = Read(FullReport(2, 1, failed));
    ASSERT_EQ(report.GetWalk().Dropped().size(), 1u) << failed;
    EXPECT_EQ(Names(report.GetWalk().Dropped()[0].asked), expected);
  }
}

TEST(ProwlTest, Judges) {
  const string end = FullReport(1, 1), middle = Until("KGXOGL"),
               lastGL = Until("glgpu[0].extension[KGX::OGL::GL_ARB_SHADER");
  const string usage = "Usage exception: usage\nusage: \n", layer = "KGX::LogicalException: x\n";
  const struct {
    Ending ending;
    string output, errors, verdict, text;
    int status;
    string asked;
  } rows[] = {
      {{Kind::kExited, 0}, end, "", "finished", "finished", 0, ""},
      {{Kind::kExited, 7}, end, "", "finished", "finished: status 7", 0, ""},
      {{Kind::kExited, 2},
       FullReport(1, 1, "glgpu[0].GLRenderer"),
       layer,
       "finished-with-failures",
       "finished with failures: status 2, a GPU failed a question and was dropped",
       2,
       ""},
      {{Kind::kExited, 2},
       lastGL,
       layer,
       "finished-with-failures",
       "finished with failures: status 2, an exception ended the run",
       2,
       "NumCLGPUs NumNativeGPUs"},
      {{Kind::kExited, 2},
       middle,
       "exception: Programmed throw\n",
       "finished-with-failures",
       "finished with failures: status 2, an exception ended the run",
       2,
       "KGXOGLInitialized"},
      {{Kind::kExited, 2},
       middle,
       "",
       "ended-early",
       "ended early: status 2, and its report has no end",
       3,
       "OGLContextCreated"},
      {{Kind::kExited, 3},
       middle,
       "",
       "ended-early",
       "ended early: status 3, and its report has no end",
       3,
       "OGLContextCreated"},
      {{Kind::kExited, 3},
       "noise\n",
       usage,
       "finished-with-failures",
       "finished with failures: status 3, its command line couldn't be understood",
       2,
       ""},
      {{Kind::kExited, 4},
       "",
       "",
       "finished-with-failures",
       "finished with failures: status 4, it couldn't even begin",
       2,
       ""},
      {{Kind::kExited, 0},
       middle,
       "",
       "ended-early",
       "ended early: status 0, and its report has no end",
       3,
       "OGLContextCreated"},
      {{Kind::kExited, 127},
       "",
       "",
       "ended-early",
       "ended early: status 127, and its report has no end",
       3,
       "Tester"},
      {{Kind::kCrashed, 0, "signal 11 (SIGSEGV)"},
       middle,
       "",
       "crashed",
       "crashed: signal 11 (SIGSEGV)",
       4,
       "OGLContextCreated"},
      {{Kind::kCrashed, 0, "signal 6 (SIGABRT)"},
       end,
       "",
       "crashed",
       "crashed: signal 6 (SIGABRT)",
       4,
       "exit"},
      {{Kind::kHung, 0, "signal 9 (SIGKILL)"},
       middle,
       "",
       "hung",
       "hung, and was killed",
       5,
       "OGLContextCreated"},
      {{Kind::kInterrupted},
       middle,
       "",
       "interrupted",
       "was interrupted, and couldn't be killed",
       7,
       "OGLContextCreated"},
      {{Kind::kNotStarted, 0, "x"}, "", "", "not-started", "could not start: x", 6, ""},
      {{Kind::kLost, 0, "x"}, middle, "", "lost", "was lost sight of: x", 1, "OGLContextCreated"},
  };
  for (const auto& row : rows) {
    const prowl::Verdict verdict = Judge(row.ending, Read(row.output, row.errors));
    EXPECT_EQ(verdict.name, row.verdict) << row.text;
    EXPECT_EQ(verdict.text, row.text);
    EXPECT_EQ(verdict.status, row.status) << row.text;
    EXPECT_EQ(Names(verdict.asked), row.asked) << row.text;
  }
}

// Neither many lines nor one without an end take more memory than they may, and the latest are kept.
TEST(ProwlTest, MemoryIsBounded) {
  prowl::Lines lines;
  const string piece = "short\n" + string(1000, 'x') + "\r\n";
  const auto other = [](const string&) { return prowl::LineKind::kOther; };
  for (int i = 0; i < 100000; ++i) lines.Take(piece.data(), piece.size(), i, other);
  EXPECT_EQ(lines.Dropped() + lines.Kept().size(), 200000u);
  EXPECT_EQ(lines.Kept().back().text, string(1000, 'x'));
  EXPECT_EQ(lines.Kept().back().seconds, 99999);
  const string endless(1000000, 'y');
  for (int i = 0; i < 100; ++i) lines.Take(endless.data(), endless.size(), 0, other);
  std::size_t bytes = lines.Unfinished().text.size();
  for (const prowl::Line& line : lines.Kept()) bytes += sizeof line + line.text.size();
  EXPECT_LE(bytes, prowl::Lines::kMaxKeptBytes + prowl::Lines::kMaxLineBytes);
  EXPECT_EQ(lines.Unfinished().text.size() + lines.Unfinished().bytesCut, 100 * endless.size());
}

// What drivers print, or put into a text, can't break what a person or a program reads.
TEST(ProwlTest, ShowsAnythingSafely) {
  prowl::RunResult result;
  result.ending = {Kind::kExited, 2, "exit status 2", 1.25};
  string output = FullReport(2, 0, "glgpu[1].GLVendorID");
  output.replace(output.find("glgpu[0].GLRenderer=1"), 21,
                 "glgpu[0].GLRenderer=\"a\xFF\n# b\x1B[2J\"\n\xC2\x9Bnoise");
  result.report = Read(output + "cut", "exception: x\n");
  const prowl::Verdict verdict = Judge(result.ending, result.report);

  const auto document = nlohmann::json::parse(AsJSON({"gpu\xFF", {"-a\"\xFF"}, 1, {}, {}}, result, verdict));
  EXPECT_EQ(document["verdict"], "finished-with-failures");
  EXPECT_EQ(document["run"]["NumGLGPUs"], 2);
  EXPECT_EQ(document["gpus"][0]["findings"]["GLRenderer"], "a\uFFFD\n# b\x1B[2J");
  EXPECT_EQ(document["gpus"][1]["failed"].back(), "glgpu[1].GLVendorID");
  EXPECT_EQ(document["stdout"]["lines"][0]["seconds"], 0.5);
  EXPECT_EQ(document["stdout"]["unfinished"], "cut");
  EXPECT_EQ(document["stderr"]["lines"][0]["kind"], "failure");

  const string text = AsText(result, verdict);
  for (const char* const part :
       {"glgpu[1] was dropped, having failed one of:\n  glgpu[1].GLName (its marketing name)\n",
        "\nglgpu[1]\n", "  GLRenderer              \"a\uFFFD\\x0A# b\\x1B[2J\"\n",
        "  \\x9Bnoise\n  cut (without a line end)\n", "Standard error\n  exception: x\n"})
    EXPECT_NE(text.find(part), string::npos) << part << "\n" << text;
}

}  // namespace
