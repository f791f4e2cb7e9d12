#include "testsystem.h"

#include <ztutil/calendar.h>
#include <ztutil/clock.h>

#include <gtest/gtest.h>

#include <chrono>
#include <tuple>

namespace {

// What the clock reads at that many seconds after the epoch, to a millisecond or so.
double ClockAt(double seconds) {
  const std::chrono::duration<double> utc = std::chrono::system_clock::now().time_since_epoch();
  return ztutil::Now() + seconds - utc.count();
}

TEST(Calendar, FollowsTheTimeZoneThatHoldsRightNow) {
  using std::tuple;
  const tuple<const char*, double, tuple<int, int, int, int, int>> rows[] = {
      {"UTC0", 1794603909.5, {2026, 11, 13, 21, 5}},
      {"IST-5:30", 1794603909.5, {2026, 11, 14, 2, 35}},
      {"NST3:30", 1794603909.5, {2026, 11, 13, 17, 35}},
      {"UTC0", -86450.5, {1969, 12, 30, 23, 59}},
  };
  for (const auto& [zone, moment, minute] : rows) {
    SetZone(zone);
    const ztutil::CalendarTime time = ztutil::LocalCalendarTime(ClockAt(moment));
    EXPECT_EQ(tuple(time.year, time.month, time.day, time.hour, time.minute), minute) << zone;
    EXPECT_NEAR(time.second, 9.5, 0.2);
  }
}

}  // namespace
