// Compares the prober with the bare driver calls that it makes: wall time and peak memory of whole processes,
// run in turn. First it has both traced, since the comparison means nothing if their calls differ; a trace
// has the calls' names and not their arguments.
//
// Exits with 1 if the calls differ or a run fails, never for a time.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;

constexpr int kDefaultRuns = 40;

struct Case {
  const char* name;
  Strings settings;  // of the environment, NAME=VALUE
  const char* line;  // of the prober's report, without which the case isn't what it should be
};

struct Run {
  double milliseconds;  // from before the start until after the reaping
  double megabytes;     // the most that was resident at once
  std::string output;
};

// A folder of its own, with all that's in it gone at the end.
class Scratch {
 public:
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "benchprober.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for temporary files");
    fPath = pattern;
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(fPath, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const fs::path& Path() const { return fPath; }

 private:
  fs::path fPath;
};

// Our own environment without the drivers', the rig's and the user's settings, and with these.
Strings Environment(const Strings& settings) {
  Strings environment = settings;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const auto is = [&](const char* prefix) { return text.rfind(prefix, 0) == 0; };
    if (is("RIG_") || is("OPENCL_LAYERS=") || is("OCL_ICD_") || is("__EGL_VENDOR_") || is("HOME=") ||
        is("XDG_"))
      continue;
    environment.push_back(text);
  }
  return environment;
}

std::string ReadAll(int descriptor) {
  std::string text;
  char buffer[4096];
  for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  close(descriptor);
  return text;
}

// Runs the program to its end, its standard output read through a pipe. Throws if it fails.
Run RunProgram(const fs::path& program, const Strings& settings) {
  Strings environment = Environment(settings);
  std::vector<char*> pointers;
  for (std::string& entry : environment) pointers.push_back(entry.data());
  pointers.push_back(nullptr);
  std::string path = program.string();
  char* const arguments[] = {path.data(), nullptr};

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);

  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  const int failure = posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, pointers.data());
  close(ends[1]);
  std::string output = ReadAll(ends[0]);
  int status = 0;
  rusage usage{};
  if (failure == 0) wait4(child, &status, 0, &usage);
  const std::chrono::duration<double, std::milli> duration = std::chrono::steady_clock::now() - start;

  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::runtime_error(path + " can't be started");
  if (status != 0) throw std::runtime_error(path + " failed, status " + std::to_string(status));
  return {duration.count(), static_cast<double>(usage.ru_maxrss) / 1024.0, std::move(output)};
}

struct Programs {
  fs::path bare;
  fs::path prober;
  Strings rigSettings;  // that put the rig in front of the drivers
};

Strings Joined(Strings first, const Strings& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// The driver calls of the program, by name.
Strings Trace(const Programs& programs, const fs::path& program, const Case& which, const fs::path& file) {
  RunProgram(program, Joined(Joined(programs.rigSettings, which.settings), {"RIG_TRACE=" + file.string()}));
  std::ifstream stream(file);
  Strings calls;
  for (std::string line; std::getline(stream, line);) calls.push_back(line);
  return calls;
}

// Says whether both make the same calls, with the first difference.
bool CompareCalls(const Programs& programs, const Case& which, const fs::path& folder) {
  const Strings bare = Trace(programs, programs.bare, which, folder / (std::string(which.name) + ".bare"));
  const Strings prober =
      Trace(programs, programs.prober, which, folder / (std::string(which.name) + ".prober"));
  const auto first = std::mismatch(bare.begin(), bare.end(), prober.begin(), prober.end());
  if (bare.empty()) throw std::runtime_error("no calls traced");
  if (first.first == bare.end() && first.second == prober.end()) {
    std::printf("%-6s %zu calls: equal\n", which.name, bare.size());
    return true;
  }
  std::printf("%-6s calls different: call %td is %s in bareprober, %s in gpuprowler\n", which.name,
              first.first - bare.begin() + 1, first.first != bare.end() ? first.first->c_str() : "missing",
              first.second != prober.end() ? first.second->c_str() : "missing");
  return false;
}

// The value below which that share of the values lies.
double Quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const double place = share * static_cast<double>(values.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, values.size() - 1);
  return values[below] + (place - std::floor(place)) * (values[above] - values[below]);
}

struct Series {
  std::vector<double> milliseconds;
  std::vector<double> megabytes;

  void Add(const Run& run) {
    milliseconds.push_back(run.milliseconds);
    megabytes.push_back(run.megabytes);
  }
  double Milliseconds(double share) const { return Quantile(milliseconds, share); }
  double Spread() const { return Milliseconds(0.75) - Milliseconds(0.25); }
};

void Measure(const Programs& programs, const Case& which, int runs) {
  // The first run of each fills the drivers' caches.
  RunProgram(programs.bare, which.settings);
  if (RunProgram(programs.prober, which.settings).output.find(which.line) == std::string::npos) {
    throw std::runtime_error(std::string(which.name) + ": no " + which.line + " in the report");
  }
  Series bare;
  Series prober;
  // By turns one or the other is first of its pair, in case a program's end is still felt by the next.
  for (int run = 0; run < runs; ++run) {
    if (run % 2 == 0) bare.Add(RunProgram(programs.bare, which.settings));
    prober.Add(RunProgram(programs.prober, which.settings));
    if (run % 2 != 0) bare.Add(RunProgram(programs.bare, which.settings));
  }
  std::printf("%-6s %5d %9.2f %6.2f %9.2f %6.2f %8.3f %8.3f %8.2f\n", which.name, runs,
              bare.Milliseconds(0.5), bare.Spread(), prober.Milliseconds(0.5), prober.Spread(),
              prober.Milliseconds(0.5) / bare.Milliseconds(0.5),
              prober.Milliseconds(0) / bare.Milliseconds(0),
              Quantile(prober.megabytes, 0.5) - Quantile(bare.megabytes, 0.5));
}

int Main(int argc, char** argv) {
  int runs = kDefaultRuns;
  if (argc > 2 || (argc == 2 && std::sscanf(argv[1], "--runs=%d", &runs) != 1) || runs < 0) {
    std::fprintf(stderr, "usage: benchprober [--runs=N]\n  with 0 runs the calls are compared only\n");
    return 1;
  }
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path build = folder.parent_path();
  const std::string layer = "OPENCL_LAYERS=" + (build / "lib/librigcl.so").string();
  const Programs programs{
      folder / "bareprober",
      folder / "gpuprowler",
      {"__EGL_VENDOR_LIBRARY_FILENAMES=" + (build / "rig/egl/rigegl.json").string(), layer}};

  const Scratch scratch;
  fs::create_directory(scratch.Path() / "none");
  const std::string home = "HOME=" + scratch.Path().string();
  std::vector<Case> cases = {
      {"gl", {home, "OCL_ICD_VENDORS=" + (scratch.Path() / "none").string()}, "\nNumCLGPUs=0\n"}};
  if (fs::exists("/etc/OpenCL/vendors/pocl.icd")) {
    // The copies' times end the bandwidth measurement after one batch, and the kernel has few work items, so
    // that it isn't the measurements that are measured.
    cases.push_back({"gl+cl",
                     {home, "OCL_ICD_VENDORS=pocl.icd", "RIG_CL_CPU_AS_GPU=1", "RIG_CL_WORK_ITEMS=64",
                      "RIG_CL_NS=copy:200000000;kernel:1000000", layer},
                     "\nNumCLGPUs=1\n"});
  } else {
    std::puts("gl+cl  left out: no pocl");
  }

  bool equal = true;
  for (const Case& which : cases) equal = CompareCalls(programs, which, scratch.Path()) && equal;
  if (!equal) return 1;
  if (runs == 0) return 0;
  std::puts("\nWhole processes, standard output read through a pipe, caches warm. Medians in ms with their");
  std::puts(
      "interquartile range (iqr); ratio of medians, of minima; what the prober's peak memory has more, in "
      "MiB.");
  std::puts("Wanted: a ratio of 1.03 and 4 MiB at most.\n");
  std::puts("case    runs   bare ms    iqr prober ms    iqr    ratio   minima   memory");
  for (const Case& which : cases) Measure(programs, which, runs);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "benchprober: %s\n", exception.what());
    return 1;
  }
}
