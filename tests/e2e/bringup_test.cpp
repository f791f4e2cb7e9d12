// Libraries and drivers that are missing, refuse to start or take the prober down while they start.
#include "report.h"

namespace {

using std::string;

// The clean report with other findings: those of KGXOGLInitialized, OGLContextCreated, NumGLGPUs and
// NumCLGPUs, one character each. A blank leaves the line out, and lines of a GPU that isn't there are left
// out as well.
Outcome Expected(const string& findings, const string& errors = "") {
  const std::map<string, char> values = {{"KGXOGLInitialized", findings[0]},
                                         {"OGLContextCreated", findings[1]},
                                         {"NumGLGPUs", findings[2]},
                                         {"NumCLGPUs", findings[3]}};
  Outcome outcome{{}, "", errors, "status 0"};
  for (const Step& step : CleanSteps()) {
    const auto value = values.find(step.key);
    if (value != values.end() && value->second != ' ')
      outcome.lines.push_back(step.key + "=" + value->second);
    if (value != values.end() || (step.gpu == "glgpu[0]" && findings[2] == '0')) continue;
    if (step.gpu == "clgpu[0]" && findings[3] != '1') continue;
    outcome.lines.insert(outcome.lines.end(), step.lines.begin(), step.lines.end());
  }
  return outcome;
}

TEST(BringUpTest, LibrariesAndDriversMayBeMissing) {
  const string noContext = "ContextOffscreen exception caught and ignored.\n";
  for (const auto& [variable, value, findings, errors] : Table<string, string, string, string>{
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibegl"), "0001", ""},
           {"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("nosuchfile"), "0001", ""},
           {"RIG_FAULT", "__egl_Main=ret:0", "0001", ""},
           {"RIG_FAULT", "eglQueryDevicesEXT=fail:0x3003", "1001", ""},
           {"RIG_FAULT", "eglGetPlatformDisplay=fail:0x300c", "1001", noContext},
           {"RIG_FAULT", "eglInitialize=fail:0x3001", "1001", noContext},
           {"RIG_FAULT", "eglInitialize@1=fail:0x3001", "1011", ""},
           {"RIG_FAULT", "eglCreateContext=fail:0x3003", "1001", noContext},
           {"RIG_FAULT", "eglCreateContext@1=fail:0x3003", "1011", ""},
           {"RIG_FAULT", "eglCreateContext@2=fail:0x3003", "1101", noContext},
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibopencl"), "111 ", ""},
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibegl:") + BuildFile("e2e/nolibopencl"), "000 ", ""},
           {"OCL_ICD_VENDORS", BuildFile("e2e/icd/none"), "1110", ""},
           {"OCL_ICD_VENDORS", BuildFile("rig/icd/bad"), "1110", ""},  // has no platform
           {"OCL_ICD_VENDORS", BuildFile("e2e/icd/badandpocl"), "1111", ""},
           {"RIG_CL_CPU_AS_GPU", "0", "1110", ""},
           {"RIG_FAULT", "clGetPlatformIDs=fail:-1001", "1110", ""},
           {"RIG_FAULT", "clGetDeviceIDs@1=fail:-5", "1110", ""},
           {"RIG_FAULT", "clGetDeviceIDs@2=fail:-5", "1110", ""}})
    EXPECT_TRUE(Same(RunProber(Drivers({{variable, value}})), Expected(findings, errors)))
        << variable << value;
  // Mesa loses memory there and unloads what lost it, which no suppression can name.
  const Environment noMesa = {{"GALLIUM_DRIVER", "nosuchdriver"}, {"LSAN_OPTIONS", "detect_leaks=0"}};
  EXPECT_TRUE(Same(RunProber(Drivers(noMesa)), Expected("1001", noContext)));
  const Environment oneFails = {{"RIG_EGL_DEVICES", "A::,B::"},
                                {"RIG_FAULT", "eglCreateContext@2=fail:0x3003"}};
  EXPECT_TRUE(Same(RunProber(Drivers(oneFails)), Expected("1111", noContext)));
}

TEST(BringUpTest, OpenCLPlatformWithoutGPUIsPassedBy) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "rusticl's copies of 16 MiB take minutes under ThreadSanitizer, which watches each byte";
#endif
  // PoCL twice and rusticl have a GPU each; clover finds none. With the fault the second platform
  // can't tell its devices.
  Environment mixed = Drivers({{"OCL_ICD_VENDORS", BuildFile("e2e/icd/mixed")},
                               {"RUSTICL_ENABLE", "llvmpipe"},
                               {"RUSTICL_DEVICE_TYPE", "gpu"}});
  const Outcome all = RunProber(mixed);
  mixed["RIG_FAULT"] = "clGetDeviceIDs@3=fail:-5";
  const Outcome two = RunProber(mixed);
  for (const Outcome& outcome : {all, two})
    EXPECT_TRUE(Same(outcome, Foretell(StepsOf(outcome.lines), NoFailure)));
  EXPECT_EQ(ValueOf(all, "NumCLGPUs"), "3");
  EXPECT_EQ(ValueOf(two, "NumCLGPUs"), "2");
  EXPECT_EQ(ValueOf(two, "clgpu[0].CLName"), ValueOf(all, "clgpu[0].CLName"));
  EXPECT_EQ(ValueOf(two, "clgpu[1].CLName"), ValueOf(all, "clgpu[2].CLName"));
}

TEST(BringUpTest, OpenCLDriverDiesWhileItStarts) {
  const Texts lines = Foretell(CleanSteps(), FailureIn("NumCLGPUs", {"it dies"})).lines;
  for (const char* place : {"constructor", "extension", "platforms"}) {
    const auto bad = [place](const char* action) {
      return Drivers({{"OCL_ICD_VENDORS", BuildFile("e2e/icd/badandpocl")},
                      {"RIG_ICD_FAULT", place},
                      {"RIG_ICD_ACTION", action}});
    };
    EXPECT_TRUE(Same(RunProber(bad("segv")), {lines, "", "", "signal 11"})) << place;
    EXPECT_TRUE(Same(RunProber(bad("abort")), {lines, "", "", "signal 6"})) << place;
    EXPECT_TRUE(Same(RunHangingProber(bad("hang"), {}, lines.size()), {lines, "", "", "hanging"})) << place;
  }
}

}  // namespace
