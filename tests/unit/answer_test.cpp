// What an answer makes of a prober's output, whatever that is.
#include "expected.h"
#include "fullreport.h"

#include <ask/findings.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <tell/document.h>

#include <map>
#include <string>
#include <vector>

namespace {

using gpuprowler::Ending;
using gpuprowler::Report;
using std::string;

using Kind = Ending::Kind;

Report Read(const string& output, const string& errors = "", bool failed = false) {
  Report report;
  report.TakeOutput(output.data(), output.size(), 0.5);
  report.TakeErrors(errors.data(), errors.size(), 0.5);
  report.Conclude(failed);
  return report;
}

Ending Exited(int status) { return {Kind::kExited, status}; }

string Names(const std::vector<gpuprowler::Question>& questions) {
  string names;
  for (const gpuprowler::Question& question : questions)
    names += (names.empty() ? "" : " ") + question.Name();
  return names;
}

TEST(AnswerTest, TellsWhatWasAskedAtTheEnd) {
  const string two = FullReport(2, 1);
  const string exception = "Failed requirement: x\nexception: Failed requirement: x\n";
  const struct {
    string output, errors, asked;
  } rows[] = {
      {"", "", "Tester"},
      {"noise\n# remark\n=\n==\ngputag.=1\ngputag.NONE=1\nglgpu[0].GLVersion=1\n", "", "Tester"},
      {Until("glgpu[0].GLMemoryMB"), "", "glgpu[0].GLName glgpu[0].GLVendor glgpu[0].GLVendorID"},
      {Until("glgpu[0].GLMemoryMB") + "glgpu[0].GLVendor=\"\"\n", "", "glgpu[0].GLVendorID"},
      // What stands elsewhere than it should changes nothing, nor does what isn't a whole line.
      {Until("glgpu[0].GLVendorID") +
           "NumGLGPUs=3\nglgpu[0].GLVersion=2\nglgpu[1].GLRenderer=1\nclgpu[0].CLName=1\n"
           "glgpu[0].CLName=1\nglgpu[0]GLRenderer=1\nglgpu[99999999999].GLName=1\nprowlerEnd",
       "", "glgpu[0].GLDriverVersion glgpu[0].GLRectTextureSize"},
      {Until("glgpu[0].extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD]"), "", "NumCLGPUs NumNativeGPUs"},
      {Until("NumCLGPUs", FullReport(0, 0)), "", "NumNativeGPUs"},
      {Until("clgpu[0].CUDASupported"), "", "clgpu[0].CUDAVersion clgpu[0].CLBandwidth"},
      // Two GPUs
      {Until("glgpu[1].HasGLNPOTSupport", two), "",
       "glgpu[0].GLDriver glgpu[1].GLDriver glgpu[0].GLDriverDate glgpu[1].GLDriverDate "
       "glgpu[0].CanCompileProgramGLSL"},
      {Until("glgpu[0].extension[KGX::OGL::GL_ARB_VERTEX_SHADER]", two) +
           "gputag.KGX::OGL::GL_ARB_VERTEX_SHADER=1\n",
       "", "glgpu[1].extension[KGX::OGL::GL_ARB_VERTEX_SHADER]"},
      {Until("glgpu[1].GLRenderer=", FullReport(2, 1, "glgpu[0].GLRectTextureSize")), exception,
       "glgpu[1].GLRendererID"},
      // A GPU has failed, and the report doesn't show it yet.
      {Until("glgpu[2].GLMemoryMB", FullReport(3, 0)) + "glgpu[2].GLVendor=\"x\"\n", exception,
       "glgpu[0].GLVendorID glgpu[1].GLVendorID"},
      {Until("glgpu[0].GLMemoryMB", two), exception, "glgpu[0].GLName glgpu[0].GLVendor glgpu[0].GLVendorID"},
      {Until("glgpu[1].GLRenderer=", two), exception, "glgpu[1].GLRendererID"},
      {Until("glgpu[1].GLRenderer=", two), exception + "KGX::LogicalException: \n",
       "NumCLGPUs NumNativeGPUs"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Names(Read(row.output, row.errors).GetReading().asked), row.asked) << row.output << row.errors;
  }
}

TEST(AnswerTest, Judges) {
  const string end = FullReport(1, 1), middle = Until("KGXOGL"),
               lastGL = Until("glgpu[0].extension[KGX::OGL::GL_ARB_SHADER"),
               dropped = FullReport(1, 1, "glgpu[0].GLRenderer");
  const string usage = "Usage exception: usage\nusage: \n", layer = "KGX::LogicalException: x\n";
  const string failed = "finished-with-failures 2 finished with failures: ",
               early = "ended-early 3 ended early: ";
  const struct {
    Ending ending;
    string output, errors, verdict, asked;
  } rows[] = {
      {Exited(0), end, "", "finished 0 finished", ""},
      {Exited(2), end, "", "finished 0 finished: status 2", ""},
      {Exited(4), end, "", "finished 0 finished: status 4", ""},
      {Exited(2), end, layer, failed + "status 2, a GPU failed a question and was dropped", ""},
      {Exited(0), "prowlerEnd=\"x\"\n" + middle, "", early + "status 0, and its report has no end",
       "OGLContextCreated"},
      {Exited(2), dropped, layer, failed + "status 2, a GPU failed a question and was dropped", ""},
      {Exited(2), dropped, "", failed + "status 2, a GPU failed a question and was dropped", ""},
      {Exited(2), lastGL, layer, failed + "status 2, an exception ended the run", "NumCLGPUs NumNativeGPUs"},
      {Exited(2), middle, "exception: Programmed throw\n", failed + "status 2, an exception ended the run",
       "KGXOGLInitialized"},
      {Exited(2), middle, "exception: programmed failure\n", failed + "status 2, an exception ended the run",
       "KGXOGLInitialized"},
      {Exited(2), middle, "unknown exception\n", failed + "status 2, an exception ended the run",
       "OGLContextCreated"},
      {{Kind::kSpared}, end, "", "finished 0 finished without measuring", ""},
      {{Kind::kSpared}, dropped, layer, failed + "a GPU failed a question and was dropped", ""},
      {{Kind::kNotWanted}, "", "", "interrupted 7 was interrupted before it was started", ""},
      {Exited(3), "noise\n", usage, failed + "status 3, its command line couldn't be understood", ""},
      {Exited(4), "", "", failed + "status 4, it couldn't even begin", ""},
      {Exited(2), middle, "", early + "status 2, and its report has no end", "OGLContextCreated"},
      {Exited(3), middle, "", early + "status 3, and its report has no end", "OGLContextCreated"},
      {Exited(0), "", "", early + "status 0, and its report has no end", "Tester"},
      {{Kind::kCrashed, 0, "signal 6"}, end, "", "crashed 4 crashed: signal 6", "exit"},
      {{Kind::kHung, 0, "signal 9"}, middle, "", "hung 5 hung, and was killed", "OGLContextCreated"},
      {{Kind::kInterrupted, 0, "", 0, 12},
       "",
       "",
       "interrupted 7 was interrupted, and couldn't be killed (process 12)",
       "Tester"},
      {{Kind::kNotStarted, 0, "x"}, "", "", "not-started 6 could not start: x", ""},
      {{Kind::kHung, 0, ""}, middle, "", "hung 5 hung, and couldn't be killed", "OGLContextCreated"},
      {{Kind::kLost, 0, "x"}, middle, "", "lost 1 was lost sight of: x", "OGLContextCreated"},
  };
  for (const auto& row : rows) {
    const gpuprowler::Judgement judgement =
        Judge(row.ending, Read(row.output, row.errors, row.ending.status == gpuprowler::kProberFailed));
    EXPECT_EQ(VerdictName(judgement.verdict) + (" " + std::to_string(static_cast<int>(judgement.verdict))) +
                  " " + judgement.text,
              row.verdict);
    EXPECT_EQ(Names(judgement.asked), row.asked) << row.verdict;
  }
}

// Neither many lines nor one without an end take more memory than they may, and the latest are kept.
TEST(AnswerTest, MemoryIsBounded) {
  gpuprowler::Lines lines;
  string told;
  const auto reader = [&](const string& text) {
    if (told.size() < 99) told += std::to_string(text.size()) + text.back() + " ";
    return gpuprowler::LineKind::kOther;
  };
  const string piece =
      string(30000, 'z') + "y\r\n" + string(16384, 'x') + "\r\n" + string(1000, 'x') + "\r\n";
  for (const char c : piece) lines.Take(&c, 1, 0, reader);
  EXPECT_EQ(told, "20479y 16384x 1000x ");
  EXPECT_EQ(lines.Kept()[0].text.size() + lines.Kept()[0].bytesCut, 30002u);
  EXPECT_EQ(lines.Kept()[1].bytesCut, 1u);
  for (int i = 0; i < 100000; ++i) lines.Take(piece.data() + piece.size() - 1002, 1002, i, reader);
  EXPECT_EQ(lines.Dropped() + lines.Kept().size(), 100003u);
  EXPECT_EQ(lines.Kept().size(), 8 * 1024 * 1024 / (sizeof(gpuprowler::Line) + 1000));
  EXPECT_EQ(lines.Kept().back().text, string(1000, 'x'));
  lines.Charge(9 * 1024 * 1024);
  lines.Take("x\n", 2, 0, reader);
  EXPECT_EQ(lines.Kept().size(), 0u);

  // An answer stands behind any amount of noise, and a text that is too long still has its end.
  const string endless(1000000, 'y'), start = endless + "Tester=\"\"\nprowlerStart=\"" + endless + "\"\n";
  const Report report = Read(start + string(20000000, '\n') + "KGXCoreInitialized=1\n");
  EXPECT_EQ(report.GetReading().findings.size(), 3u);
  EXPECT_EQ(report.Output().Kept().back().kind, gpuprowler::LineKind::kFinding);
  // Texts of many GPUs have less room each.
  string texts = FullReport(64, 64);
  for (std::size_t at = 0; (at = texts.find("=\"1\"", at)) != string::npos; at += 20000)
    texts.insert(at + 2, 20000, 'x');
  std::map<std::size_t, int> sizes;
  const Report many = Read(texts);
  for (const gpuprowler::Finding& finding : many.GetReading().findings) ++sizes[finding.value.size()];
  EXPECT_EQ(std::make_pair(sizes[16384], sizes[512]), std::make_pair(247, 76));
}

// What drivers print, or put into a text, can't break what a person or a program reads.
TEST(AnswerTest, ShowsAnythingSafely) {
  gpuprowler::RunResult result;
  result.ending = {Kind::kExited, 2, "exit status 2", 1.25};
  string output = FullReport(2, 1, "glgpu[1].GLVendorID");
  output.replace(output.find("_UNITS]=[1]"), 11, "_UNITS]=[1, -2]");
  output.replace(output.find("glgpu[0].GLRenderer=\"1\""), 23,
                 "glgpu[0].GLRenderer=\"a\xFF\n\n# b\x1B[2J\"\n\xC2\x9Bnoise\u202E\u2028");
  result.report = Read(output + "cut", "exception: x\n", true);
  gpuprowler::Answer answer;
  answer.prober = "gpu\xFF";
  answer.arguments = {"-a\"\xFF"};
  answer.runs.push_back(RunOf(result, Judge(result.ending, result.report)));
  answer.verdict = answer.runs[0].verdict;
  answer.gpus = GPUsOf(result);

  auto document = nlohmann::json::parse(AsPrivateJSON(answer));
  for (const char* const key : {"version", "reportKeys"}) document.erase(key);
  document["runs"][0]["stdout"].erase("lines");
  EXPECT_TRUE(AsExpected("odd.txt", Summary(answer) + AsText(answer, true) + document.dump(1) + "\n"));
}

}  // namespace
