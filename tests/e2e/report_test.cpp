// What the report says of sound drivers, and of drivers that give unusual answers.
#include "report.h"

#include "calltable.h"
#include "expected.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using std::string;

TEST(ReportTest, TellsAllOfSoundDriversInOrder) {
  // Mesa's own EGL, and times as PoCL measures them.
  const Outcome outcome =
      RunProber(Drivers({{"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("e2e/mesa.json")}, {"RIG_CL_NS", ""}}));
  EXPECT_TRUE(Same(outcome, Foretell(StepsOf(outcome.lines), NoFailure)));
  for (const string& key :
       Words("glgpu[0].GLVendor glgpu[0].GLRenderer clgpu[0].CLName clgpu[0].CLDriverVersion"))
    EXPECT_GT(ValueOf(outcome, key).size(), 4u) << key;
  for (const string& key :
       Words("glgpu[0].GLRectTextureSize clgpu[0].CLMemoryMB clgpu[0].CLBandwidth clgpu[0].CLCompute"))
    EXPECT_GT(std::stod(ValueOf(outcome, key)), 0) << key;
}

// Mesa's own device and PoCL's. The copies take a second after two batches.
TEST(ReportTest, TableOfSoundDrivers) {
  const Environment sound =
      Drivers({{"RIG_EGL_DEVICES", ""}, {"RIG_CL_NS", "copy:60000000;kernel:80000000"}});
  EXPECT_TRUE(AsExpected("sound.txt", CallTable(sound, {"-verbose=1", "-hang=1"})));
}

TEST(ReportTest, TimestampsAreLocal) {
  const std::time_t before = std::time(nullptr);
  const string value = ValueOf(RunProber(NoDrivers({{"TZ", "WEST-05:30"}})), "prowlerStart");
  std::tm local{};
  ASSERT_NE(strptime(value.c_str(), "\"%Y-%m-%d_%H:%M:%S\"", &local), nullptr) << value;
  EXPECT_GE(timegm(&local) - 19800, before);
  EXPECT_LE(timegm(&local) - 19800, std::time(nullptr) + 1);  // seconds are rounded
}

TEST(ReportTest, ASettingDelaysTheBandwidth) {
  const string home = ScratchFile("delayed");
  std::filesystem::create_directory(home);
  std::ofstream(home + "/ztlogSettings.txt") << "GPUProwlerOCLDelay=1\nGPUProwler=1\n";  // which has no say
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(Same(RunProber(Drivers({{"HOME", home}})), CleanRun()));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(ReportTest, MeasuresByTheDevicesClock) {
  for (const auto& [times, bandwidth, compute, copies] :
       Table<string, string, string, int>{{"copy:3400000;kernel:30000000", "9.86895e+09", "266.667", 100},
                                          {"copy:0;kernel:0", "0", "0", 100}}) {
    const string trace = ScratchFile("trace " + times);
    const Outcome outcome = RunProber(Drivers({{"RIG_CL_NS", times}, {"RIG_TRACE", trace}}));
    EXPECT_EQ(ValueOf(outcome, "clgpu[0].CLBandwidth"), bandwidth) << times;
    EXPECT_EQ(ValueOf(outcome, "clgpu[0].CLCompute"), compute) << times;
    std::ifstream calls(trace);
    EXPECT_EQ(std::count(std::istream_iterator<string>(calls), {}, "clEnqueueCopyBuffer"), copies) << times;
  }
}

TEST(ReportTest, GLVersionIsTheNewestOfTheLadder) {
  for (const string& version : Words("1.2 1.3 1.4 1.5 2.0 2.1 3.0 3.1 3.2 3.3 4.0 4.1COMPAT 4.6")) {
    const Outcome outcome = RunProber(
        Drivers({{"MESA_GL_VERSION_OVERRIDE", version},
                 {"MESA_EXTENSION_OVERRIDE", "-GL_ARB_framebuffer_object -GL_EXT_framebuffer_object"}}));
    const string expected = version < "4.1" ? version : "4.1";
    EXPECT_EQ(ValueOf(outcome, "glgpu[0].GLVersion"), "\"" + expected + "\"") << version;
    EXPECT_EQ(ValueOf(outcome, "glgpu[0].CanCompileProgramGLSL"), version < "2" ? "0" : "1") << version;
    EXPECT_EQ(ValueOf(outcome, "glgpu[0].GLFrameBufferOK"), version < "3" ? "0" : "1") << version;
  }
}

TEST(ReportTest, EachExtensionIsAskedForByItsName) {
  // Each question is met by a list of that extension alone.
  string faults;
  for (const Step& step : CleanSteps()) {
    if (step.key.find("extension[") == string::npos) continue;
    string name = step.key.substr(step.key.find("GL_"));
    name.pop_back();
    std::transform(name.begin() + 6, name.end(), name.begin() + 6, [](char c) { return std::tolower(c); });
    faults += FaultIn(step.key, "glGetString#1=text:" + name) + ";";
  }
  faults += FaultIn("glgpu[0].HasGLNPOTSupport", "glGetString#1=text:GL_ARB_texture_non_power_of_two");
  EXPECT_TRUE(Same(RunWithFault(faults), CleanRun()));

  const Outcome mesa = RunProber(Drivers({{"MESA_EXTENSION_OVERRIDE", "-GL_ARB_occlusion_query"}}));
  EXPECT_EQ(ValueOf(mesa, "glgpu[0].extension[KGX::OGL::GL_ARB_OCCLUSION_QUERY]"), "0");
}

TEST(ReportTest, OpenCLAnswers) {
  for (const auto& [answer, lines] :
       Table<string, string>{{"0x0901=OpenCL 1.2 CUDA ", "CLPlatformVersion=\"1.2\"\nCUDASupported=0\n"},
                             {"0x102F=OpenCL 1.2 CUDA;0x0901=say \"1\"",
                              "CLDeviceVersion=\"1.2 CUDA\"\nCLPlatformVersion=\"say \"1\"\"\n"},
                             {"0x101F=##17179869183;0x1001=#4294967295;0x1035=#0;0x102B=;0x102C=;0x102D=",
                              "CLMemoryMB=16383\nCLVendorID=4294967295\nIsIntegratedCLGPU=0\n"}}) {
    const Outcome outcome = RunProber(Drivers({{"RIG_CL_INFO", answer}}));
    EXPECT_TRUE(Same(outcome, Foretell(StepsOf(outcome.lines), NoFailure))) << answer;
    for (const string& line : Lines(lines))
      EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), "clgpu[0]." + line), 1) << line;
  }
}

}  // namespace
