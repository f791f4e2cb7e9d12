#include "proberprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

constexpr unsigned kPatienceSeconds = 240;

void Require(bool ok, const char* call) {
  if (!ok) throw std::runtime_error(std::string(call) + " failed");
}

// A folder of this process, gone at its end.
struct Scratch {
  Scratch() { Require(mkdtemp(folder.data()) != nullptr, "mkdtemp"); }
  ~Scratch() { std::filesystem::remove_all(folder); }
  std::string folder = std::filesystem::temp_directory_path() / "prober-XXXXXX";
};

}  // namespace

Environment Drivers(Environment changes) {
  changes.merge(Environment{
      {"HOME", ScratchFile("")},
      {"XDG_CACHE_HOME", BuildFile("e2e/cache")},  // kept, so that drivers compile nothing twice
      {"TZ", "UTC"},
      {"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("rig/egl/rigegl.json")},
      {"RIG_EGL_DEVICES", "Rig::,software::"},
      {"OCL_ICD_VENDORS", BuildFile("e2e/icd/pocl")},
      {"OPENCL_LAYERS", BuildFile("lib/librigcl.so")},
      {"RIG_CL_CPU_AS_GPU", "1"},
      {"RIG_CL_INFO", "0x101F=##4294967296"},  // PoCL's memory follows the machine's from moment to moment
      {"RIG_CL_NS", "copy:200000000;kernel:80000000"},
      {"RIG_CL_WORK_ITEMS", "64"},
  });
  // PoCL looks for a linker on the path. Nothing else of our own environment counts.
  for (const char* name : {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"})
    if (const char* const value = std::getenv(name)) changes.emplace(name, value);
  return changes;
}

Environment NoDrivers(Environment changes) {
  changes["LD_LIBRARY_PATH"] = BuildFile("e2e/nolibegl") + ":" + BuildFile("e2e/nolibopencl");
  return Drivers(std::move(changes));
}

std::string BuildFile(const std::string& name) { return E2E_BUILD "/" + name; }

std::string ScratchFile(const std::string& name) {
  static const Scratch scratch;
  return scratch.folder + "/" + name;
}

ProberProcess::ProberProcess(const Environment& environment, const Texts& arguments, int output, int errors,
                             const std::string& program) {
  Texts words = arguments;
  words.insert(words.begin(), BuildFile("bin/" + program));
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  int theirs[2] = {output, errors};
  for (const int stream : {0, 1}) {
    if (theirs[stream] != kPipe) continue;
    int ends[2];
    Require(pipe2(ends, O_CLOEXEC) == 0, "pipe2");
    fStreams[stream] = ends[0];
    theirs[stream] = ends[1];
  }
  fPid = fork();
  Require(fPid >= 0, "fork");
  if (fPid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_DFL);
    for (const int stream : {0, 1})
      theirs[stream] == kClosed ? close(stream + 1) : dup2(theirs[stream], stream + 1);
    alarm(kPatienceSeconds);
    clearenv();
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execv(argv[0], argv.data());
    _exit(127);
  }
  for (const int stream : {0, 1})
    if (fStreams[stream] >= 0) close(theirs[stream]);
}

ProberProcess::~ProberProcess() {
  if (fPid < 0) return;
  kill(fPid, SIGKILL);
  Finish();
}

// Waits for something to happen and takes it in; false if nothing does for so long.
bool ProberProcess::Pump(int milliseconds) {
  pollfd polled[2] = {{fStreams[0], POLLIN, 0}, {fStreams[1], POLLIN, 0}};
  if (poll(polled, 2, milliseconds) <= 0) return false;
  for (const int stream : {0, 1}) {
    if (polled[stream].revents == 0) continue;
    char buffer[65536];
    const ssize_t count = read(fStreams[stream], buffer, sizeof buffer);
    fTexts[stream].append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count <= 0) close(std::exchange(fStreams[stream], -1));
  }
  return true;
}

bool ProberProcess::WaitForLines(std::size_t output, std::size_t errors) {
  while (Lines(fTexts[0]).size() < output || Lines(fTexts[1]).size() < errors) {
    if (IsAtEnd()) return false;
    Pump(-1);
  }
  return true;
}

bool ProberProcess::StaysSilent(int milliseconds) { return !IsAtEnd() && !Pump(milliseconds); }

Outcome ProberProcess::Finish() {
  while (!IsAtEnd()) Pump(-1);
  int status = 0;
  Require(waitpid(std::exchange(fPid, -1), &status, 0) > 0, "waitpid");
  Outcome outcome{{}, "", fTexts[1], "status " + std::to_string(WEXITSTATUS(status))};
  outcome.lines = Lines(fTexts[0], &outcome.rest);
  if (WIFSIGNALED(status)) outcome.ending = "signal " + std::to_string(WTERMSIG(status));
  return outcome;
}

Outcome RunProber(const Environment& environment, const Texts& arguments) {
  return ProberProcess(environment, arguments).Finish();
}
