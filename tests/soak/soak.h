// What tests share that do one thing a great many times.
#ifndef SOAK_H_
#define SOAK_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>

// How often a test does its thing: `brief` times, or, in a soak, `full` times and no longer than the
// environment's SOAK_SECONDS. Says at its end how often it was.
class Effort {
 public:
  Effort(int brief, int full);
  ~Effort();
  Effort(const Effort&) = delete;
  Effort& operator=(const Effort&) = delete;

  // Once before each time. Any thread.
  bool More();

 private:
  const double fSeconds;  // 0 outside of a soak
  const int fMost;
  const std::chrono::steady_clock::time_point fStart = std::chrono::steady_clock::now();
  std::atomic<int> fBegun{0};
};

// What this process has of the system. A thread that has just been joined may still be counted.
struct Holdings {
  std::size_t fDescriptors;
  std::size_t fThreads;
  bool fHasChildren;  // also zombies

  bool operator==(const Holdings& other) const;
};
Holdings TakeStock();
std::ostream& operator<<(std::ostream& out, const Holdings& holdings);

// Memory in use; 0 under a sanitizer, which keeps what was freed.
std::size_t ResidentKiB();

// Runs it in four threads, with 0 to 3, up to the end of the last.
void InThreads(const std::function<void(unsigned)>& body);

// Launches until this process has no more children, since those that nobody waits for are reaped by later
// launches.
void AwaitOrphans();

// Checks that the output of children that end at once ends with them, while `startAnother` starts others,
// which live for two seconds, all the time.
void ExpectPromptEnds(const std::function<void()>& startAnother);

#endif  // SOAK_H_
