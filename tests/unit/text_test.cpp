// What a person is told of an answer.
#include <gpuprowler/answer.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using gpuprowler::Answer;
using gpuprowler::Behaviour;
using gpuprowler::Interface;
using std::string;

Answer Told() {
  Answer answer;
  answer.text = "The prober crashed";
  answer.seconds = 1.234;
  answer.remembered = true;
  answer.time = "2026-11-22T05:29:05Z";
  answer.adapters.resize(1);
  answer.adapters[0].address = "0000:01:00.0";
  answer.adapters[0].name = "card\n";
  answer.adapters[0].renderNode = "/dev/dri/renderD128";
  answer.adapters[0].group = "render";
  answer.drivers = {
      {Interface::kOpenGL, "a.json", "libA.so", "", 0, 0, Behaviour::kCrashed, "glgpu[0].GLMemoryMB", "now"},
      {Interface::kOpenCL, "b.icd", "libB.so", "/libB.so", 0, 0, Behaviour::kSound, "", ""}};
  answer.reasons = {{"node-not-allowed", "No \x1B.", 0, {}}};
  answer.gpus.resize(2);
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
  answer.gpus[1].values = {{"clName", "CLName", "cpu"}};
  answer.gpus[1].software = true;
  answer.gpus[1].run = 1;
  answer.gpus[1].failed = {"clgpu[0].CLVendor", "clgpu[0].CLVendorID"};
  answer.runs.resize(2);
  answer.runs[0].text = "The prober crashed: signal 11";
  answer.runs[0].asked = {"glgpu[0].GLMemoryMB"};
  answer.runs[1].text = "The prober finished";
  answer.runs[1].alone = true;
  answer.runs[1].drivers = {1};
  return answer;
}

TEST(TextTest, TellsAPerson) {
  const string expected =
      R"(The prober crashed, after 1.23 s.
Remembered from 2026-11-22T05:29:05Z: nothing was asked anew.
Last line: none
Was being asked: glgpu[0].GLMemoryMB (its memory)

glgpu[0]: \x1B[2J
  OpenGL    4.1, GLSL 4.50
  Can't     render to a texture
  Memory    512 MB
  Driver    a.json
  Adapter   0000:01:00.0, card\x0A
  Findings  complete

clgpu[0] of run 1: cpu
  Adapter   none: this is software
  Dropped, having failed one of:
    clgpu[0].CLVendor (its vendor's name)
    clgpu[0].CLVendorID (its vendor's id)

Why
  No \x1B. (node-not-allowed)

Adapters
  0000:01:00.0, card\x0A, /dev/dri/renderD128 (only group render may open it)

Drivers
  OpenGL a.json (libA.so, which isn't there): crashed at glgpu[0].GLMemoryMB, set aside since now
  OpenCL b.icd (libB.so): sound

Runs
  0  The prober crashed: signal 11, after 0.00 s
  1  The prober finished, after 0.00 s, with b.icd alone
)";
  EXPECT_EQ(AsText(Told()), expected);
  EXPECT_EQ(AsText(Told(), true).substr(expected.size(), 55),
            "\nFindings of run 0\n\nFindings of run 1\n\nFindings of glgp");
  EXPECT_EQ(AsText(Answer()), "");
}

}  // namespace
