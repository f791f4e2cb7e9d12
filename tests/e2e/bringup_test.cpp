// Libraries and drivers that are missing, refuse to start or take the prober down while they start.
#include "report.h"

namespace {

using std::string;

// The clean report with other findings: those of KGXOGLInitialized, OGLContextCreated, NumGLGPUs and
// NumCLGPUs, one character each, and then how many contexts were given up. A blank leaves the line out, and
// lines of a GPU that isn't there are left out as well.
Outcome Expected(const string& findings) {
  const std::map<string, char> values = {{"KGXOGLInitialized", findings[0]},
                                         {"OGLContextCreated", findings[1]},
                                         {"NumGLGPUs", findings[2]},
                                         {"NumCLGPUs", findings[3]}};
  Outcome outcome{{}, "", "", "status 0"};
  for (char given = '0'; given < findings[4]; ++given)
    outcome.errors += "ContextOffscreen exception caught and ignored.\n";
  for (const Step& step : CleanSteps()) {
    const auto value = values.find(step.key);
    const string count = step.gpu == "glgpu[0]" ? "NumGLGPUs" : "NumCLGPUs";
    if (value == values.end() && (step.gpu.empty() || ValueOf(outcome, count) == "1"))
      outcome.lines.insert(outcome.lines.end(), step.lines.begin(), step.lines.end());
    if (value != values.end() && value->second != ' ')
      outcome.lines.push_back(step.key + "=" + value->second);
  }
  return outcome;
}

// Why OpenGL doesn't start and why there is no context, as the log has it.
string Reasons(const Texts& lines) {
  string reasons;
  for (const string& line : lines)
    for (const string mark :
         {"KGX::OGL::Library::initialize() failed: ", "Cannot create default ContextOffscreen: "})
      if (const auto at = line.find(mark); at != string::npos) reasons += line.substr(at + mark.size()) + ";";
  return reasons;
}

TEST(BringUpTest, LibrariesAndDriversMayBeMissing) {
  for (const auto& [variable, value, findings, reasons] : Table<string, string, string, string>{
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibegl"), "00010",
            "libEGL.so.1 can't be loaded;no display device;"},
           {"LD_LIBRARY_PATH", BuildFile("e2e/otherlibegl"), "00010",
            "libEGL has no eglGetProcAddress;no display device;"},
           {"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("nosuchfile"), "00010",
            "no EGL driver that lists devices;no display device;"},
           {"RIG_FAULT", "eglQueryString=text:EGL_EXT_platform_device", "00010",
            "no EGL driver that lists devices;no display device;"},
           {"RIG_FAULT", "eglQueryString=text:EGL_EXT_platform_device EGL_EXT_device_enumeration", "11110",
            ""},
           {"RIG_FAULT", "eglQueryDevicesEXT=ret:0", "10010", "no display device;"},
           {"RIG_FAULT", "eglInitialize=ret:0", "10012", "eglInitialize failed: 0x3000;"},
           {"RIG_FAULT", "eglCreateContext@2=ret:0;eglCreateContext@3=ret:0", "11012", ""},
           // The software device stands in for hardware that gives no context, then or later, and is left
           // alone otherwise.
           {"RIG_FAULT", "eglInitialize@1=ret:0;eglInitialize@3=ret:0", "11111", ""},
           {"RIG_FAULT", "eglCreateContext@2=ret:0", "11111", ""},
           {"RIG_FAULT", "eglInitialize@2=segv", "11110", ""},
           {"RIG_FAULT", "eglInitialize@1=ret:0;eglInitialize@2=ret:0", "10110",
            "eglInitialize failed: 0x3000;"},
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibopencl"), "111 0", ""},
           {"LD_LIBRARY_PATH", BuildFile("e2e/nolibegl:") + BuildFile("e2e/nolibopencl"), "000 0",
            "libEGL.so.1 can't be loaded;no display device;"},
           {"OCL_ICD_VENDORS", BuildFile("e2e/icd/none"), "11100", ""},
           {"RIG_CL_CPU_AS_GPU", "0", "11100", ""},
           {"RIG_FAULT", "clGetDeviceIDs@1=fail:-5", "11100", ""},
           {"RIG_FAULT", "clGetDeviceIDs@2=fail:-5", "11100", ""}}) {
    Outcome outcome = RunProber(Drivers({{variable, value}}), {"-verbose=1"});
    EXPECT_EQ(Reasons(outcome.lines), reasons) << variable << value;
    outcome.lines = WithoutComments(outcome.lines);
    EXPECT_TRUE(Same(outcome, Expected(findings))) << variable << value;
  }
  // Mesa loses memory there and unloads what lost it, which no suppression can name.
  const Environment noMesa = {{"GALLIUM_DRIVER", "nosuchdriver"}, {"LSAN_OPTIONS", "detect_leaks=0"}};
  Outcome outcome = RunProber(Drivers(noMesa), {"-verbose=1"});
  EXPECT_EQ(Reasons(outcome.lines), "eglInitialize failed: 0x3001;");
  outcome.lines = WithoutComments(outcome.lines);
  EXPECT_TRUE(Same(outcome, Expected("10012")));
}

TEST(BringUpTest, OpenCLPlatformWithoutGPUIsPassedBy) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "rusticl's copies of 16 MiB take minutes under ThreadSanitizer, which watches each byte";
#endif
  // PoCL twice and rusticl have a GPU each; clover finds none. With the fault the second platform
  // can't tell its devices. LeakSanitizer's tracer crashes on rusticl's threads now and then.
  Environment mixed = Drivers({{"OCL_ICD_VENDORS", BuildFile("e2e/icd/mixed")},
                               {"RUSTICL_ENABLE", "llvmpipe"},
                               {"RUSTICL_DEVICE_TYPE", "gpu"},
                               {"LSAN_OPTIONS", "detect_leaks=0"}});
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

TEST(BringUpTest, OpenCLDriverDiesWhileItsLoaded) {
  const Texts lines = Foretell(CleanSteps(), FailureIn("NumCLGPUs", {"it dies"})).lines;
  EXPECT_TRUE(Same(RunProber(Drivers({{"OCL_ICD_VENDORS", BuildFile("e2e/icd/bad")}})),
                   {lines, "", "", "signal 11"}));
}

}  // namespace
