// gpuprowler-faultkit: runs a command whose drivers misbehave. It sets the drivers' variables and becomes the
// command.

#include "rules.h"
#include "settings.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

using rig::Refuse;
using std::string;

constexpr int kNotRunnable = 126;
constexpr int kNotFound = 127;

constexpr char kUsage[] =
    R"(Usage: gpuprowler-faultkit [OPTIONS] [--] COMMAND [ARGS...]
Runs COMMAND with graphics drivers that crash, hang and lie.

  --egl RULES             EGL and OpenGL by a faulty driver, for example 'glCompileShader@1=segv'
  --opencl RULES          OpenCL through a faulty layer, for example 'clBuildProgram=hang'
  --gl-answer NAME=VALUE  what OpenGL answers, for example GL_RENDERER=Other or 0x0D33=#16
  --cl-answer NAME=VALUE  what OpenCL answers, for example CL_DEVICE_NAME=Other
  --opencl-cpu-as-gpu     OpenCL's CPU devices are found where GPUs are looked for
  --opencl-bad-icd        OpenCL has one driver, which crashes while it's loaded
  --trace FILE            append the name of each call that could misbehave
  --list                  those calls, one a line; cl... are for --opencl, all others for --egl
  --version, --help

RULES are call[@n]=action, joined by ";". Rules and answers of repeated options add up.
Actions: segv, abort, hang, exit:N, sleep:MS, ret:N, fail:N, err:N, text:TEXT, say:TEXT, warn:TEXT
)";

enum Option { kEgl, kOpenCL, kGlAnswer, kClAnswer, kCpuAsGpu, kBadIcd, kTrace, kList, kVersion, kHelp };

constexpr option kOptions[] = {{"egl", required_argument, nullptr, kEgl},
                               {"opencl", required_argument, nullptr, kOpenCL},
                               {"gl-answer", required_argument, nullptr, kGlAnswer},
                               {"cl-answer", required_argument, nullptr, kClAnswer},
                               {"opencl-cpu-as-gpu", no_argument, nullptr, kCpuAsGpu},
                               {"opencl-bad-icd", no_argument, nullptr, kBadIcd},
                               {"trace", required_argument, nullptr, kTrace},
                               {"list", no_argument, nullptr, kList},
                               {"version", no_argument, nullptr, kVersion},
                               {"help", no_argument, nullptr, kHelp},
                               {nullptr, 0, nullptr, 0}};

// A part of the installed kit.
string Installed(const string& name) {
  namespace fs = std::filesystem;
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  string file = (programs / FAULTKIT_FOLDER / name).lexically_normal();
  if (!fs::exists(file)) Refuse("installation", file, "isn't there");
  return file;
}

// The variables that the command gets. Those of the kit that nobody asks for are empty, so that none is
// inherited.
class Variables {
 public:
  void LoadEgl() { fVariables["__EGL_VENDOR_LIBRARY_FILENAMES"] = Installed("rigegl.json"); }
  void LoadOpenCL() { fVariables["OPENCL_LAYERS"] = Installed("librigcl.so"); }
  void LoadBadIcd() { fVariables["OCL_ICD_VENDORS"] = Installed("icd"); }
  void PretendCpuIsGpu() { fVariables["RIG_CL_CPU_AS_GPU"] = "1"; }

  void AddRules(const char* source, const string& text, bool ofOpenCL) {
    for (const rig::Rule& rule : rig::ParseRules(source, text))
      if ((rule.fCall.compare(0, 2, "cl") == 0) != ofOpenCL)
        Refuse(source, rule.fCall, ofOpenCL ? "isn't a call of OpenCL" : "is a call of OpenCL: see --opencl");
    Append("RIG_FAULT", text);
  }

  void AddAnswer(const char* source, const char* variable, const char* prefix, const string& text) {
    rig::ParseAnswers(source, text, prefix);
    Append(variable, text);
  }

  void SetTrace(const string& file) {
    if (!std::ofstream(file, std::ios::app)) Refuse("--trace", file, "can't be written");
    fVariables["RIG_TRACE"] = std::filesystem::absolute(file);
  }

  bool HasDrivers() const {
    return fVariables.count("__EGL_VENDOR_LIBRARY_FILENAMES") + fVariables.count("OPENCL_LAYERS") +
               fVariables.count("OCL_ICD_VENDORS") >
           0;
  }

  void Set() const {
    for (const auto& [name, value] : fVariables) setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  void Append(const char* variable, const string& text) { fVariables[variable] += text + ";"; }

  std::map<string, string> fVariables = {{"RIG_FAULT", ""},
                                         {"RIG_TRACE", ""},
                                         {"RIG_GL_INFO", ""},
                                         {"RIG_CL_INFO", ""},
                                         {"RIG_CL_CPU_AS_GPU", ""}};
};

// Ends the process where an option asks for a text alone, or can't be understood.
Variables Parse(int argc, char** argv) {
  Variables variables;
  for (int found; (found = getopt_long(argc, argv, "+", kOptions, nullptr)) != -1;) {
    switch (found) {
      case kEgl:
        variables.LoadEgl();
        variables.AddRules("--egl", optarg, false);
        break;
      case kOpenCL:
        variables.LoadOpenCL();
        variables.AddRules("--opencl", optarg, true);
        break;
      case kGlAnswer:
        variables.LoadEgl();
        variables.AddAnswer("--gl-answer", "RIG_GL_INFO", "gl", optarg);
        break;
      case kClAnswer:
        variables.LoadOpenCL();
        variables.AddAnswer("--cl-answer", "RIG_CL_INFO", "cl", optarg);
        break;
      case kCpuAsGpu:
        variables.LoadOpenCL();
        variables.PretendCpuIsGpu();
        break;
      case kBadIcd:
        variables.LoadBadIcd();
        break;
      case kTrace:
        variables.SetTrace(optarg);
        break;
      case kList:
        for (const string& call : rig::WrappedCalls()) std::puts(call.c_str());
        std::exit(0);
      case kVersion:
        std::puts("gpuprowler-faultkit " FAULTKIT_VERSION);
        std::exit(0);
      case kHelp:
        std::fputs(kUsage, stdout);
        std::exit(0);
      default:  // getopt has said what's wrong
        std::exit(rig::kRefused);
    }
  }
  return variables;
}

}  // namespace

int main(int argc, char** argv) {
  const Variables variables = Parse(argc, argv);
  if (argv[optind] == nullptr) Refuse("command line", "", "no command to run: see --help");
  if (!variables.HasDrivers())
    Refuse("command line", argv[optind], "would meet no faulty driver: see --help");
  variables.Set();
  execvp(argv[optind], argv + optind);
  const int reason = errno;
  std::fprintf(stderr, "gpuprowler-faultkit: %s: %s\n", argv[optind], std::strerror(reason));
  return reason == ENOENT ? kNotFound : kNotRunnable;
}
