// Times what modules do all day: a log statement that is off, one that writes a line, a scope, a reading of
// the clock, a value made text. Each is measured in turns with a yardstick, in many short batches; the table
// shows the medians of both, and of their ratios with the middle half of them. A ratio is ours over the
// yardstick's, and an aim is what it should stay under.
//
//   benchlogging                  prints the table
//   benchlogging --instructions   the same, with the instructions of both as valgrind counts them
//   benchlogging ROW SIDE COUNT   does one side of a row COUNT times, for a profiler; rows count from 0, and
//                                 side 0 is ours
#include "median.h"
#include "ownhome.h"

#include <ztutil/fmt.h>
#include <ztutil/ztlogging.h>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
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

constexpr char kScope[] = "adapter";

void OpenScopes(int count) {
  for (int i = 0; i < count; ++i) {
    ZT_LOG_SCOPE(gOn, kScope);
  }
}

// What a module without scopes would do.
void SayScopes(int count) {
  for (int i = 0; i < count; ++i) {
    ZT_LOG(gOn, "BEGIN " << kScope);
    const double start = ztutil::Now();
    ZT_LOG(gOn, "END " << kScope << ", duration=" << ztutil::Now() - start);
  }
}

// The sinks: a file and standard output, flushed at each line, and one that writes nothing of what was
// formatted.

class FileLogger {
 public:
  FileLogger()
      : fFile(std::fopen((OwnHome() + "/ztutil.txt").c_str(), "w"), std::fclose), fLogger(fFile.get()) {}

 private:
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> fFile;
  const ztutil::ZTStdioLogger fLogger;
};

class MuteLogger : public ztutil::ZTLogger {
 public:
  MuteLogger() : ZTLogger("mute") {}
  ~MuteLogger() override { Leave(); }
  void Write(const void*, std::size_t) override {}
};

// The one of spdlog's own doesn't even format.
class MuteSink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t formatted;
    formatter_->format(message, formatted);
  }
  void flush_() override {}
};

spdlog::sink_ptr FileSink() {
  return std::make_shared<spdlog::sinks::basic_file_sink_mt>(OwnHome() + "/spdlog.txt", true);
}

double MonotonicSeconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A measurement's side: does its thing that many times.
using Side = std::function<void(int count)>;

// With a logger of its own.
template <class Logger, class... Arguments>
Side To(void (*side)(int count), Arguments... arguments) {
  return [side, logger = std::make_shared<Logger>(arguments...)](int count) { side(count); };
}

// A pattern with the fields of ours, as wide as ours, but for the sequence number, for which it has none and
// gets a text; and its default.
constexpr char kOurFields[] = "00000_%Y/%m/%d_%H:%M:%S.%e(+00.%3i)[%12t] %v";
constexpr char kItsOwn[] = "%+";

Side SpdlogLines(const char* pattern, const spdlog::sink_ptr& sink) {
  const auto logger = std::make_shared<spdlog::logger>("bench", sink);
  logger->set_pattern(pattern);
  logger->flush_on(spdlog::level::info);
  return [logger](int count) {
    for (int i = 0; i < count; ++i) logger->info("adapter {} has {} MB", i, 4096);
  };
}

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

constexpr char kName[] = "NVIDIA Quadro \"M6000\"";

using Sides = std::array<Side, 2>;  // ours first

Sides Both(Side ours, Side yardstick) { return {std::move(ours), std::move(yardstick)}; }

struct Row {
  const char* what;
  const char* yardstick;
  const char* aim;
  int count;        // in a batch
  Sides (*make)();  // what a side writes to goes with it
};

const Row kRows[] = {
    {"ZT_LOG, off", "test of a global int", "", 100000, [] { return Both(DisabledStatements, BareTests); }},
    {"ZT_LOG, to a file", "spdlog, our fields", "1.05", 100,
     [] { return Both(To<FileLogger>(SayLines), SpdlogLines(kOurFields, FileSink())); }},
    {"ZT_LOG, to a file", "spdlog, its default", "", 100,
     [] { return Both(To<FileLogger>(SayLines), SpdlogLines(kItsOwn, FileSink())); }},
    {"ZT_LOG, stdout", "spdlog, our fields", "1.05", 100,
     [] {
       return Both(To<ztutil::ZTStdioLogger>(SayLines, stdout),
                   SpdlogLines(kOurFields, std::make_shared<spdlog::sinks::stdout_sink_mt>()));
     }},
    {"ZT_LOG, stdout", "spdlog, its default", "", 100,
     [] {
       return Both(To<ztutil::ZTStdioLogger>(SayLines, stdout),
                   SpdlogLines(kItsOwn, std::make_shared<spdlog::sinks::stdout_sink_mt>()));
     }},
    {"ZT_LOG, mute", "spdlog, our fields", "1.05", 100,
     [] { return Both(To<MuteLogger>(SayLines), SpdlogLines(kOurFields, std::make_shared<MuteSink>())); }},
    {"ZT_LOG, mute", "spdlog, its default", "", 100,
     [] { return Both(To<MuteLogger>(SayLines), SpdlogLines(kItsOwn, std::make_shared<MuteSink>())); }},
    {"ZT_LOG_SCOPE, to a file", "its lines by ZT_LOG", "1.10", 100,
     [] { return Both(To<FileLogger>(OpenScopes), SayScopes); }},
    {"ZT_LOG_SCOPE, mute", "its lines by ZT_LOG", "1.10", 100,
     [] { return Both(To<MuteLogger>(OpenScopes), SayScopes); }},
    {"Now", "clock_gettime, as double", "1.05", 5000,
     [] {
       return Both(Each([](int) { gSeconds = ztutil::Now(); }),
                   Each([](int) { gSeconds = MonotonicSeconds(); }));
     }},
    {"FmtString", "snprintf \"%s\", unescaped", "1.50", 1000,
     [] {
       return Both(Each([](int) { gText = ztutil::FmtString(kName); }),
                   Each([](int) { PrintToText("\"%s\"", kName); }));
     }},
    {"FmtInt32", "snprintf %d", "", 1000,
     [] {
       return Both(Each([](int i) { gText = ztutil::FmtInt32(i); }),
                   Each([](int i) { PrintToText("%d", i); }));
     }},
    {"FmtUInt32", "snprintf 0x%08x", "", 1000,
     [] {
       return Both(Each([](int i) { gText = ztutil::FmtUInt32(static_cast<std::uint32_t>(i)); }),
                   Each([](int i) { PrintToText("0x%08x", i); }));
     }},
    {"FmtDouble", "snprintf %.2f", "", 1000,
     [] {
       return Both(Each([](int i) { gText = ztutil::FmtDouble(i * 1.5); }),
                   Each([](int i) { PrintToText("%.2f", i * 1.5); }));
     }},
};

// Where the table goes: standard output is one of the sinks.
std::FILE* gTable = nullptr;

double NanosecondsEach(const Side& side, int count) {
  const double start = MonotonicSeconds();
  side(count);
  return (MonotonicSeconds() - start) * 1e9 / count;
}

void PrintTimes(const Row& row) {
  constexpr int kRounds = 501;
  const Sides sides = row.make();
  std::vector<double> times;
  std::vector<double> yardstickTimes;
  std::vector<double> ratios;
  for (const Side& side : sides) side(row.count);  // what is made at the first use isn't measured
  for (int round = 0; round < kRounds; ++round) {
    times.push_back(NanosecondsEach(sides[0], row.count));
    yardstickTimes.push_back(NanosecondsEach(sides[1], row.count));
    ratios.push_back(times.back() / yardstickTimes.back());
  }
  std::sort(ratios.begin(), ratios.end());
  std::fprintf(gTable, "%-24s %8.2f   %-26s %8.2f   %5.2f   %.2f to %.2f   %4s", row.what, Median(times),
               row.yardstick, Median(yardstickTimes), ratios[kRounds / 2], ratios[kRounds / 4],
               ratios[kRounds * 3 / 4], row.aim);
}

// Those of this program while it does one side of a row that many times.
double CountInstructions(const std::string& program, std::size_t row, std::size_t side, int count) {
  const std::string command = "valgrind --log-fd=1 --tool=callgrind --callgrind-out-file=/dev/null '" +
                              program + "' " + std::to_string(row) + ' ' + std::to_string(side) + ' ' +
                              std::to_string(count);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(popen(command.c_str(), "r"), pclose);
  double counted = 0.0;
  char line[256];
  while (std::fgets(line, sizeof line, output.get()) != nullptr)
    std::sscanf(line, "==%*d== Collected : %lf", &counted);
  return counted;
}

// The second run does a side kTimes more often than the first, and all else as often.
void PrintInstructions(const std::string& program, std::size_t row) {
  constexpr int kTimes = 5000;
  for (const std::size_t side : {0, 1}) {
    const double once = CountInstructions(program, row, side, kTimes);
    std::fprintf(gTable, " %12.0f", (CountInstructions(program, row, side, 2 * kTimes) - once) / kTimes);
  }
}

void PrintTable(const char* counted) {
  std::fprintf(gTable, "%-24s %8s   %-26s %8s   %5s   %12s   %4s%s\n", "", "ns", "yardstick", "ns", "ratio",
               "half of them", "aim", counted != nullptr ? " instructions    yardstick" : "");
  for (std::size_t row = 0; row < std::size(kRows); ++row) {
    PrintTimes(kRows[row]);
    if (counted != nullptr) PrintInstructions(counted, row);
    std::fputc('\n', gTable);
  }
}

}  // namespace

int main(int argc, char** argv) {
  gTable = fdopen(dup(STDOUT_FILENO), "w");
  if (gTable == nullptr || std::freopen((OwnHome() + "/stdout.txt").c_str(), "w", stdout) == nullptr)
    return EXIT_FAILURE;
  const std::size_t row = argc == 4 ? std::strtoul(argv[1], nullptr, 10) : 0;
  const bool counts = argc == 2 && std::strcmp(argv[1], "--instructions") == 0;
  if ((argc != 1 && argc != 4 && !counts) || row >= std::size(kRows)) {
    std::fprintf(stderr, "Usage: benchlogging [--instructions | ROW SIDE COUNT]\n");
    return 2;
  }
  if (argc == 4)
    kRows[row].make()[std::strcmp(argv[2], "0") == 0 ? 0 : 1](std::atoi(argv[3]));
  else
    PrintTable(counts ? argv[0] : nullptr);
  return EXIT_SUCCESS;
}
