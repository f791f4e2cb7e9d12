// Compares the launching of children with the bare calls that do the same, both in one run and in turn. A
// ratio is ours over the bare one, the median of many pairs: 1 is no loss, and an aim is what it should stay
// under.
//
// Exits with 1 if something goes wrong, never for a time.
#include "median.h"
#include "testchild.h"

#include <ztutil/outputtask.h>
#include <ztutil/widetext.h>

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 65536;  // what a pipe holds

std::wstring Self() { return ztutil::WideFromUTF8(boost::dll::program_location().string()); }

void Require(bool condition) {
  if (!condition) throw std::runtime_error("a call failed");
}

double MicrosecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Both give what they have measured. Prints a row and gives ours.
double Compare(const char* name, const char* unit, const char* aim, int rounds,
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
  std::printf("%-40s %8s %10.1f %10.1f %8.3f %8s\n", name, unit, Median(bareValues), Median(oursValues),
              Median(ratios), aim);
  return Median(oursValues);
}

// --- Launcher::Launch ------------------------------------------------------------------------------------

// A child with three pipes, by the bare calls. Nobody waits for it unless told to.
class BareChild {
 public:
  explicit BareChild(const std::deque<std::string>& arguments, const std::wstring& program = TestChild()) {
    std::string path = ztutil::UTF8FromWide(program);
    std::vector<char*> argv{path.data()};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    int pipes[3][2];
    for (auto& pipe : pipes) Require(pipe2(pipe, O_CLOEXEC) == 0);
    const int theirs[] = {pipes[0][0], pipes[1][1], pipes[2][1]};
    posix_spawn_file_actions_t actions;
    Require(posix_spawn_file_actions_init(&actions) == 0);
    for (int stream = 0; stream < 3; ++stream)
      Require(posix_spawn_file_actions_adddup2(&actions, theirs[stream], stream) == 0);
    Require(posix_spawn(&fPid, argv[0], &actions, nullptr, argv.data(), environ) == 0);
    posix_spawn_file_actions_destroy(&actions);
    for (const int end : theirs) close(end);
    fInput = pipes[0][1];
    fOutput = pipes[1][0];
    fErrors = pipes[2][0];
  }
  ~BareChild() {
    for (const int end : {fInput, fOutput, fErrors}) close(end);
  }
  BareChild(const BareChild&) = delete;
  BareChild& operator=(const BareChild&) = delete;

  void Wait() const {
    int status = 0;
    Require(waitpid(fPid, &status, 0) == fPid && status == 0);
  }
  void CloseInput() { close(std::exchange(fInput, -1)); }
  int Output() const { return fOutput; }
  int Errors() const { return fErrors; }

 private:
  pid_t fPid = 0;
  int fInput = -1;
  int fOutput = -1;
  int fErrors = -1;
};

// From the first pipe to the closing of the child's ends. The child ends at once.
double LaunchBare() {
  const std::wstring program = TestChild();
  const auto start = Clock::now();
  const BareChild child({}, program);
  const double time = MicrosecondsSince(start);
  child.Wait();
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
  constexpr char kAim[] = "1.15";
  constexpr int kRounds = 3000;
  const double light = Compare("Launcher::Launch", "us", kAim, kRounds, LaunchBare, LaunchOurs);
  const Ballast ballast;
  const double heavy =
      Compare("Launcher::Launch, 1 GiB resident", "us", kAim, kRounds, LaunchBare, LaunchOurs);
  std::printf("%-40s %8s %10s %10s %8.3f %8.2f\n", "  1 GiB over none", "", "", "", heavy / light, 1.2);
}

// --- Whole runs ------------------------------------------------------------------------------------------

// What has happened on another thread.
class Event {
 public:
  void Set() {
    const std::lock_guard<std::mutex> lock(fMutex);
    fIsSet = true;
    fCondition.notify_all();
  }
  // Takes it back.
  void Await() {
    std::unique_lock<std::mutex> lock(fMutex);
    fCondition.wait(lock, [&] { return fIsSet; });
    fIsSet = false;
  }

 private:
  std::mutex fMutex;
  std::condition_variable fCondition;
  bool fIsSet = false;
};

// Takes what was read, 64 KiB at most at a time, and nothing at the end.
using Take = std::function<void(const char* bytes, std::size_t count)>;

void Ignore(const char*, std::size_t) {}

void ReadBare(int descriptor, const Take& take) {
  std::vector<char> bytes(kPiece);
  ssize_t count = 0;
  do {
    count = read(descriptor, bytes.data(), kPiece);
    Require(count >= 0);
    take(bytes.data(), static_cast<std::size_t>(count));
  } while (count > 0);
}

class Task : public ztutil::OutputTask {
 public:
  explicit Task(Take take = Ignore) : fTake(std::move(take)) {}

 private:
  void DoRun() override {
    std::vector<char> bytes(kPiece);
    std::size_t count = 0;
    do {
      count = GetReader()->ReadSome(bytes.data(), kPiece);
      fTake(bytes.data(), count);
    } while (count > 0);
  }

  const Take fTake;
};

// A run from a thread that waits, with a thread for each output, to this thread's knowing of its end. Calls
// `ended` when the child has ended.
void RunBare(const std::function<void()>& ended) {
  Event done;
  std::thread launch([&] {
    BareChild child({});
    std::thread output([&] { ReadBare(child.Output(), Ignore); });
    std::thread errors([&] { ReadBare(child.Errors(), Ignore); });
    child.CloseInput();
    child.Wait();
    ended();
    done.Set();
    output.join();
    errors.join();
  });
  done.Await();
  launch.join();
}

class App : public ztutil::ConsoleApp {
 public:
  explicit App(std::function<void()> ended) : fEnded(std::move(ended)) {}

 private:
  void OnFinished(std::int32_t) override { fEnded(); }

  const std::function<void()> fEnded;
};

void RunOurs(const boost::shared_ptr<ztutil::ConsoleApp>& app) {
  ztutil::ConsoleAppLauncher launcher(
      {TestChild(), {}, boost::make_shared<Task>(), boost::make_shared<Task>()}, app);
  Require(launcher.LaunchAndWait(nullptr, 10.0) == ztutil::consoleapp::State::Finished);
}

void CompareRun() {
  const auto app = boost::make_shared<ztutil::ConsoleApp>();
  const auto timed = [](const std::function<void()>& run) {
    const auto start = Clock::now();
    run();
    return MicrosecondsSince(start);
  };
  Compare(
      "LaunchAndWait", "us", "1.15", 2000, [&] { return timed([] { RunBare([] {}); }); },
      [&] { return timed([&] { RunOurs(app); }); });

  Clock::time_point end;
  const auto mark = [&] { end = Clock::now(); };
  const auto marked = boost::make_shared<App>(mark);
  Compare(
      "a bounded wait, after the child's end", "us", "< 200 us", 2000,
      [&] {
        RunBare(mark);
        return MicrosecondsSince(end);
      },
      [&] {
        RunOurs(marked);
        return MicrosecondsSince(end);
      });
}

// --- Output ----------------------------------------------------------------------------------------------

constexpr char kStampVerb[] = "stamps";

// As the child: writes the time as a line, now and then.
int WriteStamps() {
  for (int i = 0; i < 400; ++i) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    char line[32];
    const int length = std::snprintf(line, sizeof line, "%lld\n",
                                     static_cast<long long>(Clock::now().time_since_epoch().count()));
    if (write(STDOUT_FILENO, line, static_cast<std::size_t>(length)) != length) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}

// What lies between a line's writing and this thread's having it, by way of the thread that reads.
class Latency {
 public:
  void Arrive(const char* bytes, std::size_t count) {
    fStamp = count > 0 ? std::strtoll(bytes, nullptr, 10) : 0;
    fArrived.Set();
  }
  // The median, of lines up to the end.
  double Measure() {
    std::vector<double> times;
    for (fArrived.Await(); fStamp != 0; fArrived.Await())
      times.push_back(MicrosecondsSince(Clock::time_point(Clock::duration(fStamp))));
    return Median(times);
  }

 private:
  Event fArrived;
  std::atomic<long long> fStamp{0};
};

double LatencyBare() {
  Latency latency;
  const BareChild child({kStampVerb}, Self());
  std::thread reader([&] {
    ReadBare(child.Output(), [&](const char* bytes, std::size_t count) { latency.Arrive(bytes, count); });
  });
  const double time = latency.Measure();
  reader.join();
  child.Wait();
  return time;
}

double LatencyOurs() {
  Latency latency;
  const auto task =
      boost::make_shared<Task>([&](const char* bytes, std::size_t count) { latency.Arrive(bytes, count); });
  ztutil::ConsoleAppLauncher launcher({Self(), {kStampVerb}, task, nullptr},
                                      boost::make_shared<ztutil::ConsoleApp>());
  launcher.Launch();
  const double time = latency.Measure();
  Require(launcher.Wait(nullptr, 10.0) == ztutil::consoleapp::State::Finished);
  return time;
}

constexpr std::size_t kMuch = std::size_t{1} << 29;
const std::deque<std::string> kFlood = {"flood:" + std::to_string(kMuch)};

// Milliseconds, with the start of the child in them.
double ThroughputBare() {
  std::size_t total = 0;
  const auto start = Clock::now();
  const BareChild child(kFlood);
  ReadBare(child.Output(), [&](const char*, std::size_t count) { total += count; });
  const double time = MicrosecondsSince(start) / 1000.0;
  child.Wait();
  Require(total == kMuch);
  return time;
}

double ThroughputOurs() {
  std::size_t total = 0;
  const auto task = boost::make_shared<Task>([&](const char*, std::size_t count) { total += count; });
  ztutil::ConsoleAppLauncher launcher({TestChild(), kFlood, task, nullptr},
                                      boost::make_shared<ztutil::ConsoleApp>());
  const auto start = Clock::now();
  Require(launcher.LaunchAndWait(nullptr, 60.0) == ztutil::consoleapp::State::Finished);
  const double time = MicrosecondsSince(start) / 1000.0;
  Require(total == kMuch);
  return time;
}

void CompareOutput() {
  Compare("line to the host's thread", "us", "1.2", 40, LatencyBare, LatencyOurs);
  // The children inherit it.
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(std::max(sched_getcpu(), 0)), &one);
  Require(sched_setaffinity(0, sizeof one, &one) == 0);
  Compare("512 MiB of output, on one CPU", "ms", "1.03", 40, ThroughputBare, ThroughputOurs);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], kStampVerb) == 0) return WriteStamps();
  try {
    std::printf("%-40s %8s %10s %10s %8s %8s\n", "", "unit", "bare", "ours", "ratio", "aim");
    CompareLaunch();
    CompareRun();
    CompareOutput();
    return EXIT_SUCCESS;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "benchhost: %s\n", e.what());
    return EXIT_FAILURE;
  }
}
