#include "system/platform.h"

#include <ztutil/clock.h>

#include <atomic>

namespace ztutil {

namespace {

std::atomic<double> gBias{0.0};

}  // namespace

double Now() {
  static const double period = 1.0 / static_cast<double>(platform::MonotonicFrequency());
  return static_cast<double>(platform::MonotonicCounter()) * period + gBias.load(std::memory_order_relaxed);
}

double SetClockBias(double bias) { return gBias.exchange(bias, std::memory_order_relaxed); }

}  // namespace ztutil
