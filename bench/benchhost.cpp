// Compares the launching of children with the bare calls that do the same, both in one run and in turn. A
// ratio is ours over the bare one, the median of many pairs: 1 is no loss, and an aim is what it should stay
// under.
//
// Exits with 1 if something goes wrong, never for a time.
#include "testchild.h"

#include <ztutil/widetext.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

void Require(bool condition) {
  if (!condition) throw std::runtime_error("a call failed");
}

double MicrosecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Both give what they have measured. Prints a row and gives ours.
double Compare(const char* name, const char* unit, double aim, int rounds,
               const std::function<double()>& bare, const std::function<double()>& ours) {
  std::vector<double> bareValues, oursValues, ratios;
  for (int round = 0; round < rounds; ++round) {
    // Who comes second may find the machine warmer.
    const bool bareFirst = round % 2 == 0;
    const double first = bareFirst ? bare() : ours();
    const double second = bareFirst ? ours() : bare();
    bareValues.push_back(bareFirst ? first : second);
    oursValues.push_back(bareFirst ? second : first);
    ratios.push_back(oursValues.back() / bareValues.back());
  }
  std::printf("%-40s %8s %10.1f %10.1f %8.3f %8.2f\n", name, unit, Median(bareValues), Median(oursValues),
              Median(ratios), aim);
  return Median(oursValues);
}

// --- Launcher::Launch
// ----------------------------------------------------------------------------------------------

// From the first pipe to the closing of the child's ends. The child ends at once.
double LaunchBare() {
  static std::string program = ztutil::UTF8FromWide(TestChild());
  char* const argv[] = {program.data(), nullptr};
  const auto start = Clock::now();
  int pipes[3][2];
  for (auto& pipe : pipes) Require(pipe2(pipe, O_CLOEXEC) == 0);
  const int theirs[] = {pipes[0][0], pipes[1][1], pipes[2][1]};
  const int ours[] = {pipes[0][1], pipes[1][0], pipes[2][0]};
  posix_spawn_file_actions_t actions;
  Require(posix_spawn_file_actions_init(&actions) == 0);
  for (int stream = 0; stream < 3; ++stream)
    Require(posix_spawn_file_actions_adddup2(&actions, theirs[stream], stream) == 0);
  pid_t pid = 0;
  Require(posix_spawn(&pid, argv[0], &actions, nullptr, argv, environ) == 0);
  posix_spawn_file_actions_destroy(&actions);
  for (const int end : theirs) close(end);
  const double time = MicrosecondsSince(start);
  for (const int end : ours) close(end);
  Require(waitpid(pid, nullptr, 0) == pid);
  return time;
}

double LaunchOurs() {
  static const auto launcher = ztutil::CreateLauncher();
  const std::wstring program = TestChild();
  const auto start = Clock::now();
  ztutil::LaunchResult child = launcher->Launch(program, {});
  const double time = MicrosecondsSince(start);
  child = {};
  Require(WaitFor(*launcher) == "0 0");
  return time;
}

// Memory of this process that is really there, in small pages.
class Ballast {
 public:
  Ballast() {
    Require(fMemory != MAP_FAILED);
    madvise(fMemory, kBytes, MADV_NOHUGEPAGE);
    std::memset(fMemory, 1, kBytes);
  }
  ~Ballast() { munmap(fMemory, kBytes); }
  Ballast(const Ballast&) = delete;
  Ballast& operator=(const Ballast&) = delete;

 private:
  static constexpr std::size_t kBytes = std::size_t{1} << 30;
  void* const fMemory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
};

void CompareLaunch() {
  constexpr double kAim = 1.15;
  constexpr int kRounds = 3000;
  const double light = Compare("Launcher::Launch", "us", kAim, kRounds, LaunchBare, LaunchOurs);
  const Ballast ballast;
  const double heavy =
      Compare("Launcher::Launch, 1 GiB resident", "us", kAim, kRounds, LaunchBare, LaunchOurs);
  std::printf("%-40s %8s %10s %10s %8.3f %8.2f\n", "  1 GiB over none", "", "", "", heavy / light, 1.2);
}

}  // namespace

int main() {
  try {
    std::printf("%-40s %8s %10s %10s %8s %8s\n", "", "unit", "bare", "ours", "ratio", "aim");
    CompareLaunch();
    return EXIT_SUCCESS;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "benchhost: %s\n", e.what());
    return EXIT_FAILURE;
  }
}
