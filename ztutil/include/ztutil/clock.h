// The clock by which this library measures and waits. Any thread.
#ifndef ZTUTIL_CLOCK_H_
#define ZTUTIL_CLOCK_H_

namespace ztutil {

// Seconds on a clock that never goes back, plus the bias. It has no calendar meaning by itself: see
// calendar.h.
double Now();

// Replaces the bias, in seconds and 0 at first, and gives back the old one.
double SetClockBias(double bias);

}  // namespace ztutil

#endif  // ZTUTIL_CLOCK_H_
