// Memory that runs out for the calling thread alone. For one source of a program, whose operators these
// become.
#ifndef SCARCEMEMORY_H_
#define SCARCEMEMORY_H_

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>

// How many allocations of this thread succeed until one fails; all where it is negative.
static thread_local int gLeft = -1;
static thread_local int gHeld = 0;  // and how many it has

// By pointers, or the compiler takes one for another's than the other.
inline void* (*volatile gAllocate)(std::size_t) = std::malloc;
inline void (*volatile gFree)(void*) = std::free;

void* operator new(std::size_t size) {
  void* const memory = gLeft == 0 ? nullptr : gAllocate(size + 1);
  gLeft -= gLeft >= 0 ? 1 : 0;
  if (memory == nullptr) throw std::bad_alloc();
  ++gHeld;
  return memory;
}

void operator delete(void* memory) noexcept {
  gHeld -= memory != nullptr ? 1 : 0;
  gFree(memory);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

// What comes of an action whose allocations fail one at a time: its own letters, each once in a row, and an
// 'x' for each exception.
inline std::string Outcomes(const std::function<char()>& action) {
  std::string all;
  for (int left = 0;; ++left) {
    char outcome = 'x';
    gLeft = left;
    try {
      outcome = action();
    } catch (const std::bad_alloc&) {
    }
    if (std::exchange(gLeft, -1) >= 0) return all;
    if (outcome == 'x' || all.empty() || all.back() != outcome) all += outcome;
  }
}

#endif  // SCARCEMEMORY_H_
