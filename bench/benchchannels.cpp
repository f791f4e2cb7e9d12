// Compares the channels with the bare calls that do the same: both in one run and in turn, each end of a pipe
// on the same CPU. A ratio is the time of the bare call over ours, the median of many rounds: 1 is no loss.
//
// Exits with 1 if bytes get lost, never for a time.
#include "median.h"
#include "refusecalls.h"

#include <ztutil/buffer.h>
#include <ztutil/winhandle.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using ztutil::Buffer;
using ztutil::Reader;
using ztutil::WinHandle;
using ztutil::Writer;

constexpr std::size_t kPiece = 65536;  // what a pipe holds
constexpr int kRounds = 301;           // short ones, so that both meet the same disturbances

void Require(bool condition) {
  if (!condition) throw std::runtime_error("a transfer went wrong");
}

double Nanoseconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// The nanoseconds of one call of `timed`, over many, each with `between` behind it, which isn't counted.
double TimeOf(int calls, const std::function<void()>& timed, const std::function<void()>& between) {
  double total = 0;
  for (int i = 0; i < calls; ++i) {
    const double start = Nanoseconds();
    timed();
    total += Nanoseconds() - start;
    between();
  }
  return total / calls;
}

// A row; the aim is a text, empty where there is none.
void Compare(const char* name, const char* aim, int calls, const std::function<void()>& bare,
             const std::function<void()>& ours, const std::function<void()>& between) {
  std::vector<double> bareTimes, oursTimes, ratios;
  for (int round = 0; round < kRounds; ++round) {
    // Who comes second may find the machine warmer.
    const bool bareFirst = round % 2 == 0;
    const double first = TimeOf(calls, bareFirst ? bare : ours, between);
    const double second = TimeOf(calls, bareFirst ? ours : bare, between);
    bareTimes.push_back(bareFirst ? first : second);
    oursTimes.push_back(bareFirst ? second : first);
    ratios.push_back(bareTimes.back() / oursTimes.back());
  }
  std::printf("%-40s %10.1f %10.1f %8.3f %8s\n", name, Median(bareTimes), Median(oursTimes), Median(ratios),
              aim);
}

class Pipe {
 public:
  void Read() { Require(read(fEnds[0], fBytes.data(), kPiece) == ssize_t{kPiece}); }
  void Write() { Require(write(fEnds[1], fBytes.data(), kPiece) == ssize_t{kPiece}); }

  // As ours has to: a broken pipe raises no signal. False where the kernel can't.
  bool WriteWithoutSignal() {
    constexpr int kRwfNoSignal = 0x100;  // of pwritev2, since Linux 6.18
    const iovec part{fBytes.data(), kPiece};
    return pwritev2(fEnds[1], &part, 1, -1, kRwfNoSignal) == ssize_t{kPiece};
  }

  void OurRead() { Require(fReader.ReadSome(fBytes.data(), kPiece) == kPiece); }
  void OurWrite() { fWriter.Write(fBytes.data(), kPiece); }

 private:
  static std::array<int, 2> Open() {
    std::array<int, 2> ends{};
    Require(pipe2(ends.data(), O_CLOEXEC) == 0);
    return ends;
  }

  const std::array<int, 2> fEnds = Open();
  WinHandle fIn{fEnds[0], true, nullptr};
  WinHandle fOut{fEnds[1], true, nullptr};
  Reader& fReader = fIn;
  Writer& fWriter = fOut;
  std::vector<char> fBytes = std::vector<char>(kPiece, 'x');
};

void CompareWithPlainWrite(const char* name, const char* aim) {
  Pipe pipe;
  Compare(
      name, aim, 100, [&] { pipe.Write(); }, [&] { pipe.OurWrite(); }, [&] { pipe.Read(); });
}

// With two yardsticks. The kernel takes 3 % longer for a write that raises no signal, whoever asks for it:
// what is ours to lose is the rest.
void CompareWrites() {
  CompareWithPlainWrite("Writer::Write, 64 KiB, pipe, plain write", "");
  Pipe pipe;
  if (!pipe.WriteWithoutSignal()) return;
  pipe.Read();
  Compare(
      "Writer::Write, the same without a signal", "0.97", 100, [&] { Require(pipe.WriteWithoutSignal()); },
      [&] { pipe.OurWrite(); }, [&] { pipe.Read(); });
}

void CompareReads() {
  Pipe pipe;
  pipe.Write();
  Compare(
      "Reader::ReadSome, 64 KiB, pipe", "0.98", 100, [&] { pipe.Read(); }, [&] { pipe.OurRead(); },
      [&] { pipe.Write(); });
}

// In a process of its own, where two more calls keep the signal away, for 6 to 8 %. Its first write, by a
// thread that goes, is refused; all others then go the way of an old kernel, and the refusing itself isn't
// measured.
void CompareBlockedWrites() {
  std::fflush(stdout);
  const pid_t child = fork();
  Require(child != -1);
  if (child == 0) {
    std::thread([] {
      Require(RefuseWritesWithFlags());
      Pipe().OurWrite();
    }).join();
    CompareWithPlainWrite("Writer::Write, on a kernel before 6.18", "0.91");
    std::fflush(stdout);
    _exit(EXIT_SUCCESS);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child && status == 0);
}

void CompareCopies() {
  std::vector<char> bytes(kPiece, 'x');
  std::vector<char> block(kPiece);
  Buffer buffer(kPiece);
  const auto nothing = [] {};
  // Through pointers that the compiler can't follow, so that it copies.
  char* volatile to = block.data();
  char* volatile from = bytes.data();
  const auto bareIn = [&] { std::memcpy(to, from, kPiece); };
  const auto bareOut = [&] { std::memcpy(from, to, kPiece); };
  const auto ourIn = [&] {
    buffer.SetOffset(0);
    buffer.CopyIn(bytes.data(), kPiece);
  };
  const auto ourOut = [&] {
    buffer.SetOffset(0);
    buffer.CopyOut(bytes.data(), kPiece);
  };
  Compare("Buffer::CopyIn, 64 KiB, memcpy", "0.90", 100, bareIn, ourIn, nothing);
  Compare("Buffer::CopyOut, 64 KiB, memcpy", "0.90", 100, bareOut, ourOut, nothing);
}

void TimeReadByte() {
  Buffer buffer(kPiece);
  std::vector<char> bytes(kPiece, 1);
  buffer.Write(bytes.data(), kPiece);
  Reader* volatile reader = &buffer;
  std::size_t sum = 0;
  std::vector<double> times;
  for (int round = 0; round < kRounds; ++round) {
    buffer.SetOffset(0);
    const auto drain = [&] {
      Reader& r = *reader;
      for (std::int32_t byte = r.ReadByte(); byte >= 0; byte = r.ReadByte())
        sum += static_cast<std::size_t>(byte);
    };
    times.push_back(TimeOf(1, drain, [] {}) / static_cast<double>(kPiece));
  }
  Require(sum == kPiece * kRounds);
  std::printf("%-40s %10s %10.2f %8s %8s\n", "Buffer::ReadByte, per byte", "", Median(times), "", "< 3 ns");
}

}  // namespace

int main() {
  try {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(std::max(sched_getcpu(), 0)), &one);
    Require(sched_setaffinity(0, sizeof one, &one) == 0);
    std::printf("%-40s %10s %10s %8s %8s\n", "", "bare ns", "ours ns", "ratio", "aim");
    CompareBlockedWrites();
    CompareWrites();
    CompareReads();
    CompareCopies();
    TimeReadByte();
    return EXIT_SUCCESS;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "benchchannels: %s\n", e.what());
    return EXIT_FAILURE;
  }
}
