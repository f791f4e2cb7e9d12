// What tests share that do one thing a great many times.
#ifndef SOAK_H_
#define SOAK_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

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
  double Elapsed() const;

  const double fSeconds;  // 0 outside of a soak
  const int fMost;
  const std::chrono::steady_clock::time_point fStart = std::chrono::steady_clock::now();
  std::atomic<int> fBegun{0};
};

// What this process has of the system: "4 descriptors, 1 threads", and ", children" if there are any, zombies
// too. A thread that has just been joined may still be counted.
std::string TakeStock();

// Checks that this process comes to have what it had. Threads that were given up on end when their child
// does, and children that nobody waits for are reaped by later launches.
void ExpectStock(const std::string& before);

// Memory in use; 0 under a sanitizer, which keeps what was freed.
std::size_t ResidentKiB();

// Runs it in four threads, with 0 to 3, up to the end of the last.
void InThreads(const std::function<void(unsigned)>& body);

#endif  // SOAK_H_
