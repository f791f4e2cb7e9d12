// Compares an answer with the bare runs of the prober that it needs, in turn in one run. A ratio is ours over
// the bare one, the median of many pairs, and an aim is what it should stay under.
//
// Exits with 1 if something goes wrong, never for a time.
#include "machines.h"
#include "median.h"

#include <fcntl.h>
#include <gpuprowler/answer.h>
#include <gpuprowler/compare.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using gpuprowler::Answer;
using gpuprowler::Request;
using Clock = std::chrono::steady_clock;
using Environment = std::map<std::string, std::string>;

constexpr int kRuns = 40;
constexpr std::size_t kMeasured = 200;  // of what takes less than a millisecond

const fs::path kPrograms = fs::read_symlink("/proc/self/exe").parent_path();
const fs::path kBuild = kPrograms.parent_path();

void Require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

// The three drivers: Mesa's for OpenGL, and two for OpenCL, of which PoCL's crashes where that is wanted.
class Machine {
 public:
  Machine() {
    std::string pattern = (fs::temp_directory_path() / "benchanswer.XXXXXX").string();
    Require(mkdtemp(pattern.data()) != nullptr, "no folder for temporary files");
    fFolder = pattern;
    Write("both/pocl.icd", "libpocl.so.2\n");
    Write("both/rusticl.icd", "libRusticlOpenCL.so.1\n");
    Write("pocl/pocl.icd", "libpocl.so.2\n");
    Write("rusticl/rusticl.icd", "libRusticlOpenCL.so.1\n");
    fs::create_directory(fFolder / "none");
    Write("mesa.json", R"({"file_format_version": "1.0.0", "ICD": {"library_path": "libEGL_mesa.so.0"}})");
  }
  ~Machine() {
    std::error_code ignored;
    fs::remove_all(fFolder, ignored);
  }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // For this process and its children. The copies' times end the measurement of bandwidth after one batch.
  void Set(bool hasOpenGL, const char* openCL, bool crashes) const {
    const Environment environment = {
        {"HOME", fFolder},
        {"__EGL_VENDOR_LIBRARY_FILENAMES", hasOpenGL ? fFolder / "mesa.json" : fFolder / "none.json"},
        {"OCL_ICD_VENDORS", fFolder / openCL},
        {"OPENCL_LAYERS", kBuild / "lib/librigcl.so"},
        {"RIG_CL_CPU_AS_GPU", "1"},
        {"RIG_CL_WORK_ITEMS", "64"},
        {"RIG_CL_NS", "copy:200000000;kernel:1000000"},
        {"RIG_FAULT_ONLY_WITH", "libpocl.so.2"},
        {"RIG_FAULT", crashes ? "clBuildProgram=segv" : ""},
        {"RUSTICL_ENABLE", "llvmpipe"},
        {"RUSTICL_DEVICE_TYPE", "gpu"}};
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  void Write(const std::string& name, const std::string& text) const {
    fs::create_directories((fFolder / name).parent_path());
    std::ofstream(fFolder / name) << text;
  }

  fs::path fFolder;
};

double Milliseconds(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The prober, its standard output read through a pipe, to its end.
double BareRun() {
  return Milliseconds([] {
    int ends[2];
    Require(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::string path = kPrograms / "gpuprowler";
    char* const arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    Require(posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, environ) == 0, "no prober");
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char buffer[4096];
    while (read(ends[0], buffer, sizeof buffer) > 0) {
    }
    close(ends[0]);
    Require(waitpid(child, nullptr, 0) == child, "waitpid failed");
  });
}

Request MakeRequest(bool remember) {
  Request request;
  request.prober = kPrograms / "gpuprowler";
  request.remember = remember;
  return request;
}

Answer Ask(std::size_t gpus, std::size_t runs, bool remember = false) {
  Answer answer = gpuprowler::Ask(MakeRequest(remember));
  Require(answer.gpus.size() == gpus && answer.runs.size() == runs, "the answer isn't what it should be");
  return answer;
}

void Compare(const char* name, const char* aim, int runs, const std::function<double()>& bare,
             const std::function<double()>& ours) {
  std::vector<double> bareValues, ourValues, ratios;
  for (int run = -1; run < runs; ++run) {
    const bool bareFirst = run % 2 == 0;
    const double first = bareFirst ? bare() : ours();
    const double second = bareFirst ? ours() : bare();
    if (run < 0) continue;  // it has filled the drivers' caches
    bareValues.push_back(bareFirst ? first : second);
    ourValues.push_back(bareFirst ? second : first);
    ratios.push_back(ourValues.back() / bareValues.back());
  }
  std::printf("%-52s %9.2f %9.2f %8.3f %8s\n", name, Median(bareValues), Median(ourValues), Median(ratios),
              aim);
}

struct Needs {
  long calls;      // of the system
  long kibibytes;  // the most that was resident
};

// Of a process that does nothing else once it is there.
Needs NeedsOf(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    work();
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  long stops = 0;  // two for each call
  for (; wait4(child, &status, 0, &usage) == child && WIFSTOPPED(status); ++stops)
    Require(ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0, "system calls can't be counted");
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "what was to be counted has failed");
  return {stops / 2, usage.ru_maxrss};
}

void Measure(const char* name, const char* aim, const std::function<void()>& work) {
  std::vector<double> values;
  values.reserve(kMeasured);
  for (std::size_t i = 0; i < kMeasured; ++i) values.push_back(Milliseconds(work));
  const Needs idle = NeedsOf([] {}), busy = NeedsOf(work);
  std::printf("%-52s %9s %9.3f %8s %8s   %ld system calls, %ld KiB more\n", name, "", Median(values), "", aim,
              busy.calls - idle.calls, busy.kibibytes - idle.kibibytes);
}

// Two documents each of made machines, from their texts to what a person reads.
void MeasureDocuments() {
  constexpr int kMachines = 10000;
  std::vector<std::string> documents;
  documents.reserve(kMachines);
  for (unsigned number = 0; number < kMachines; ++number)
    documents.push_back(AsJSON(AnswerOfMachine(number)));
  std::size_t next = 0;
  const auto two = [&](const std::function<void(const std::string&, const std::string&)>& work) {
    const std::string& before = documents[next++ % kMachines];
    const std::string& after = documents[next % kMachines];
    return Milliseconds([&] { work(before, after); });
  };
  Compare(
      "diff of two documents, over parsing them", "5 ms", kMachines,
      [&] {
        return two([](const std::string& before, const std::string& after) {
          for (const std::string& document : {before, after})
            Require(nlohmann::ordered_json::parse(document).is_object(), "no document");
        });
      },
      [&] {
        return two([](const std::string& before, const std::string& after) {
          const auto was = gpuprowler::AnswerOf(before), is = gpuprowler::AnswerOf(after);
          Require(was && is && !AsText(gpuprowler::Compare(*was, *is)).empty(), "no comparison");
        });
      });
}

int Main(int argc, char** argv) {
  int runs = kRuns;
  if (argc > 2 || (argc == 2 && std::sscanf(argv[1], "--runs=%d", &runs) != 1) || runs < 1) {
    std::fprintf(stderr, "usage: benchanswer [--runs=N]\n");
    return 1;
  }
  const Machine machine;
  std::printf("%-52s %9s %9s %8s %8s\n", "", "bare ms", "ours ms", "ratio", "aim");
  MeasureDocuments();
  machine.Set(true, "none", false);
  Compare("Ask, OpenGL alone", "1.05", runs, BareRun, [] { return Milliseconds([] { Ask(1, 1); }); });
  machine.Set(true, "both", false);
  Compare("Ask, three drivers", "1.05", runs, BareRun, [] { return Milliseconds([] { Ask(3, 1); }); });
  Measure("Look", "20 ms", [] { gpuprowler::Look(); });
  Ask(3, 1, true);
  Measure("a remembered answer", "5 ms",
          [] { Require(Ask(3, 1, true).remembered, "nothing is remembered"); });

  const auto alone = [&] {
    double sum = 0;
    machine.Set(true, "none", true);
    sum += BareRun();
    for (const char* const openCL : {"pocl", "rusticl"}) {
      machine.Set(false, openCL, true);
      sum += BareRun();
    }
    return sum;
  };
  const auto isolation = [&] {
    machine.Set(true, "both", true);
    Answer answer;
    const double whole = Milliseconds([&] { answer = Ask(3, 4); });
    return whole - 1000 * answer.runs[0].seconds;
  };
  Compare("isolation of three drivers, over their runs alone", "1.10", runs, alone, isolation);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "benchanswer: %s\n", exception.what());
    return 1;
  }
}
