#include "proberprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

constexpr unsigned kPatienceSeconds = 60;

void Require(bool ok, const char* call) {
  if (!ok) throw std::runtime_error(std::string(call) + " failed");
}

// A folder of this process, gone at its end.
struct Scratch {
  Scratch() { Require(mkdtemp(folder.data()) != nullptr, "mkdtemp"); }
  ~Scratch() { std::filesystem::remove_all(folder); }
  std::string folder = std::filesystem::temp_directory_path() / "prober-XXXXXX";
};

std::vector<char*> Pointers(Texts& texts) {
  std::vector<char*> pointers(texts.size() + 1);
  std::transform(texts.begin(), texts.end(), pointers.begin(), [](std::string& text) { return text.data(); });
  return pointers;
}

}  // namespace

Environment Drivers(Environment changes) {
  changes.merge(Environment{
      {"HOME", ScratchFile("")},
      {"XDG_CACHE_HOME", BuildFile("e2e/cache")},  // kept, so that drivers compile nothing twice
      {"TZ", "UTC"},
      {"__EGL_VENDOR_LIBRARY_FILENAMES", BuildFile("rig/egl/rigegl.json")},
      {"RIG_EGL_DEVICES", "Rig::"},
      {"OCL_ICD_VENDORS", BuildFile("e2e/icd/pocl")},
      {"OPENCL_LAYERS", BuildFile("lib/librigcl.so")},
      {"RIG_CL_CPU_AS_GPU", "1"},
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
  Texts words = {BuildFile("bin/" + program)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  Texts variables;
  for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);
  const std::vector<char*> argv = Pointers(words);
  const std::vector<char*> envp = Pointers(variables);

  int theirs[3] = {kPipe, output, errors};
  std::vector<int> piped;
  for (int number = 0; number < 3; ++number) {
    if (theirs[number] != kPipe) continue;
    int ends[2];
    Require(pipe2(ends, O_CLOEXEC) == 0, "pipe2");
    fStreams[number] = ends[number == 0 ? 1 : 0];
    piped.push_back(theirs[number] = ends[number == 0 ? 0 : 1]);
  }
  fPid = fork();
  Require(fPid >= 0, "fork");
  if (fPid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_DFL);
    for (int number = 0; number < 3; ++number)
      theirs[number] == kClosed ? close(number) : dup2(theirs[number], number);
    alarm(kPatienceSeconds);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  for (const int descriptor : piped) close(descriptor);
}

ProberProcess::~ProberProcess() {
  if (fPid < 0) return;
  Kill();
  Finish();
}

// Waits for something to happen and takes it in; false if nothing does for so long.
bool ProberProcess::Pump(int milliseconds) {
  pollfd polled[3] = {{fStreams[0], 0, 0}, {fStreams[1], POLLIN, 0}, {fStreams[2], POLLIN, 0}};
  if (poll(polled, 3, milliseconds) <= 0) return false;
  for (int number = 0; number < 3; ++number) {
    if (polled[number].revents == 0) continue;
    char buffer[65536];
    const ssize_t count = number == 0 ? 0 : read(fStreams[number], buffer, sizeof buffer);
    fTexts[number].append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count <= 0) close(std::exchange(fStreams[number], -1));
  }
  return true;
}

bool ProberProcess::WaitForLines(std::size_t output, std::size_t errors) {
  while (Lines(fTexts[1]).size() < output || Lines(fTexts[2]).size() < errors) {
    if (fStreams[0] < 0) return false;
    Pump(-1);
  }
  return true;
}

bool ProberProcess::StaysSilent(int milliseconds) { return fStreams[0] >= 0 && !Pump(milliseconds); }

void ProberProcess::Kill() { kill(fPid, SIGKILL); }

Outcome ProberProcess::Finish() {
  while (fStreams[0] >= 0 || fStreams[1] >= 0 || fStreams[2] >= 0) Pump(-1);
  int status = 0;
  Require(waitpid(std::exchange(fPid, -1), &status, 0) > 0, "waitpid");
  Outcome outcome{{}, "", fTexts[2], "status " + std::to_string(WEXITSTATUS(status))};
  outcome.lines = Lines(fTexts[1], &outcome.rest);
  if (WIFSIGNALED(status)) outcome.ending = "signal " + std::to_string(WTERMSIG(status));
  return outcome;
}

Outcome RunProber(const Environment& environment, const Texts& arguments) {
  return ProberProcess(environment, arguments).Finish();
}

Outcome RunHangingProber(const Environment& environment, const Texts& arguments, std::size_t lines) {
  ProberProcess prober(environment, arguments);
  const bool hangs = prober.WaitForLines(lines, 0) && prober.StaysSilent(200);
  prober.Kill();
  const Outcome outcome = prober.Finish();
  return {outcome.lines, outcome.rest, outcome.errors, hangs ? "hanging" : outcome.ending};
}
