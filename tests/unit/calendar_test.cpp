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
  const double moment = ClockAt(1794603909.5);  // 2026-11-13 21:05:09.5 UTC
  using std::tuple;
  const std::pair<const char*, tuple<int, int, int, int, int>> rows[] = {
      {"UTC0", {2026, 11, 13, 21, 5}},
      {"IST-5:30", {2026, 11, 14, 2, 35}},
      {"NST3:30", {2026, 11, 13, 17, 35}},
  };
  for (const auto& [zone, minute] : rows) {
    SetZone(zone);
    const ztutil::CalendarTime time = ztutil::LocalCalendarTime(moment);
    EXPECT_EQ(tuple(time.year, time.month, time.day, time.hour, time.minute), minute) << zone;
    EXPECT_NEAR(time.second, 9.5, 0.2);
  }
}

}  // namespace
