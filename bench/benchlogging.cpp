// Times what modules do all day: a log statement that is off, one that writes a line, a reading of the clock,
// a value made text. Each is measured in turns with a yardstick, in many short batches; the table shows the
// medians of both, and the median of their ratios.
//
//   benchlogging               prints the table
//   benchlogging MODE COUNT    only does one thing COUNT times, MODE being "disabled", "bare", "line",
//   "spdlog",
//                              "scope", "string" or "snprintf", so that a profiler can count
//
// The instructions of a statement that is off, its turn of the loop included, are the sum that this collects,
// divided by COUNT; those of a bare test are had with BareTests and "bare":
//
//   valgrind --tool=callgrind --toggle-collect='*DisabledStatements*' benchlogging disabled 1000000
#include "median.h"
#include "ownhome.h"

#include <ztutil/fmt.h>
#include <ztutil/ztlogging.h>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Visible outside, so that the compiler can't tell what becomes of them.
int gBareFlag = 0;
int gSaid = 0;
std::string gText;
double gSeconds = 0.0;

namespace {

ztutil::DebugFlag gOff{"BenchLoggingOff"};
ztutil::DebugFlag gOn{"BenchLoggingOn", 1};

// Keeps the compiler from merging the turns of a loop.
void Barrier() { std::atomic_signal_fence(std::memory_order_seq_cst); }

[[gnu::noinline]] void DisabledStatements(int count) {
  for (int i = 0; i < count; ++i) {
    ZT_LOG(gOff, "never " << i);
    Barrier();
  }
}

[[gnu::noinline]] void BareTests(int count) {
  for (int i = 0; i < count; ++i) {
    if (gBareFlag != 0) ++gSaid;
    Barrier();
  }
}

void SayLines(int count) {
  for (int i = 0; i < count; ++i) ZT_LOG(gOn, "adapter " << i << " has " << 4096 << " MB");
}

void OpenScopes(int count) {
  for (int i = 0; i < count; ++i) {
    ZT_LOG_SCOPE(gOn, "adapter");
  }
}

// Both sinks write to a file of their own, and flush it at each line.

class FileLogger {
 public:
  FileLogger()
      : fFile(std::fopen((OwnHome() + "/ztutil.txt").c_str(), "w"), std::fclose), fLogger(fFile.get()) {}

 private:
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> fFile;
  const ztutil::ZTStdioLogger fLogger;
};

// Formats, and writes nothing.
class MuteLogger : public ztutil::ZTLogger {
 public:
  MuteLogger() : ZTLogger("mute") {}
  ~MuteLogger() override { Leave(); }
  void Write(const void*, std::size_t) override {}
};

// A pattern with the fields of ours, but for the sequence number, for which it has none; and the pattern that
// is its default.
const char kOurFields[] = "%Y/%m/%d_%H:%M:%S.%e(%i)[%t] %v";
const char kItsOwn[] = "%+";

class SpdlogLines {
 public:
  SpdlogLines(const char* pattern, const spdlog::sink_ptr& sink)
      : fLogger(new spdlog::logger("bench", sink)) {
    fLogger->set_pattern(pattern);
    fLogger->flush_on(spdlog::level::info);
  }

  void Say(int count) {
    for (int i = 0; i < count; ++i) fLogger->info("adapter {} has {} MB", i, 4096);
  }

 private:
  const std::shared_ptr<spdlog::logger> fLogger;
};

double MonotonicSeconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A measurement's side: does its thing that many times.
using Side = std::function<void(int count)>;

template <class Operation>
Side Each(Operation operation) {
  return [operation](int count) {
    for (int i = 0; i < count; ++i) operation(i);
  };
}

// The yardstick of the formatter.
template <class Value>
void PrintToText(const char* format, Value value) {
  char buffer[64];
  const int length = std::snprintf(buffer, sizeof buffer, format, value);
  gText = std::string(buffer, static_cast<std::size_t>(length));
}

spdlog::sink_ptr SpdlogFile() {
  return std::make_shared<spdlog::sinks::basic_file_sink_mt>(OwnHome() + "/spdlog.txt", true);
}

const char kName[] = "NVIDIA Quadro \"M6000\"";

void FormatStrings(int count) {
  Each([](int) { gText = ztutil::FmtString(kName); })(count);
}

void PrintStrings(int count) {
  Each([](int) { PrintToText("\"%s\"", kName); })(count);
}

double NanosecondsEach(const Side& side, int count) {
  const double start = MonotonicSeconds();
  side(count);
  return (MonotonicSeconds() - start) * 1e9 / count;
}

void Compare(const char* what, const Side& ours, const char* yardstickName, const Side& yardstick,
             int count) {
  constexpr int kRounds = 501;
  std::vector<double> times;
  std::vector<double> yardstickTimes;
  std::vector<double> ratios;
  ours(count);  // what is made at the first use isn't measured
  yardstick(count);
  for (int round = 0; round < kRounds; ++round) {
    times.push_back(NanosecondsEach(ours, count));
    yardstickTimes.push_back(NanosecondsEach(yardstick, count));
    ratios.push_back(times.back() / yardstickTimes.back());
  }
  const double time = Median(times);
  const double yardstickTime = Median(yardstickTimes);
  const double ratio = Median(ratios);
  std::sort(ratios.begin(), ratios.end());
  std::printf("%-20s %9.2f   %-26s %9.2f   %9.2f   %5.2f   %.2f to %.2f\n", what, time, yardstickName,
              yardstickTime, time - yardstickTime, ratio, ratios[kRounds / 4], ratios[kRounds * 3 / 4]);
}

void PrintTable() {
  std::printf("%-20s %9s   %-26s %9s   %9s   %5s   %s\n", "", "ns", "yardstick", "ns", "more ns", "ratio",
              "half of them");
  Compare("ZT_LOG, off", DisabledStatements, "test of a global int", BareTests, 100000);
  const Side twoLines = [](int count) { SayLines(2 * count); };
  {
    const FileLogger logger;
    for (const char* const pattern : {kOurFields, kItsOwn}) {
      SpdlogLines yardstick(pattern, SpdlogFile());
      Compare(
          "ZT_LOG, to a file", SayLines, pattern == kItsOwn ? "spdlog, its default" : "spdlog, our fields",
          [&](int count) { yardstick.Say(count); }, 100);
    }
    Compare("ZT_LOG_SCOPE, file", OpenScopes, "two lines", twoLines, 100);
  }
  {
    const MuteLogger logger;
    for (const char* const pattern : {kOurFields, kItsOwn}) {
      SpdlogLines yardstick(pattern, std::make_shared<spdlog::sinks::null_sink_mt>());
      Compare(
          "ZT_LOG, mute", SayLines, pattern == kItsOwn ? "spdlog, its default" : "spdlog, our fields",
          [&](int count) { yardstick.Say(count); }, 100);
    }
    Compare("ZT_LOG_SCOPE, mute", OpenScopes, "two lines", twoLines, 100);
  }
  Compare("Now", Each([](int) { gSeconds = ztutil::Now(); }), "clock_gettime, as double",
          Each([](int) { gSeconds = MonotonicSeconds(); }), 5000);
  Compare("FmtInt32", Each([](int i) { gText = ztutil::FmtInt32(i); }), "snprintf %d",
          Each([](int i) { PrintToText("%d", i); }), 1000);
  Compare("FmtUInt32", Each([](int i) { gText = ztutil::FmtUInt32(static_cast<std::uint32_t>(i)); }),
          "snprintf 0x%08x", Each([](int i) { PrintToText("0x%08x", i); }), 1000);
  Compare("FmtDouble", Each([](int i) { gText = ztutil::FmtDouble(i * 1.5); }), "snprintf %.2f",
          Each([](int i) { PrintToText("%.2f", i * 1.5); }), 1000);
  Compare("FmtString", FormatStrings, "snprintf \"%s\"", PrintStrings, 1000);
}

int RunMode(const std::string& mode, int count) {
  if (mode == "disabled") {
    ZT_LOG(gOff, "");  // the first one makes the flag known
    DisabledStatements(count);
  } else if (mode == "bare") {
    BareTests(count);
  } else if (mode == "line") {
    const FileLogger logger;
    SayLines(count);
  } else if (mode == "scope") {
    const FileLogger logger;
    OpenScopes(count);
  } else if (mode == "string") {
    FormatStrings(count);
  } else if (mode == "snprintf") {
    PrintStrings(count);
  } else if (mode == "spdlog") {
    SpdlogLines(kOurFields, SpdlogFile()).Say(count);
  } else {
    std::fprintf(stderr, "benchlogging: unknown mode %s\n", mode.c_str());
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3) return RunMode(argv[1], std::atoi(argv[2]));
  PrintTable();
  return 0;
}
