#include "scarcememory.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local int gLeft = -1;  // how many allocations succeed until one fails; all where it is negative
thread_local int gHeld = 0;

// By pointers, or the compiler takes one for another's than the other.
void* (*volatile gAllocate)(std::size_t) = std::malloc;
void (*volatile gFree)(void*) = std::free;

}  // namespace

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

void FailAllocationAfter(int successes) { gLeft = successes; }

int HeldAllocations() { return gHeld; }

std::string Outcomes(const std::function<char()>& action) {
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
