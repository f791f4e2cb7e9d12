#include "testsystem.h"

#include <ztutil/calendar.h>
#include <ztutil/clock.h>

#include <gtest/gtest.h>

#include <chrono>

namespace {

// What the clock reads at that many seconds after the epoch, to a millisecond or so.
double ClockAt(double seconds) {
  const std::chrono::duration<double> utc = std::chrono::system_clock::now().time_since_epoch();
  return ztutil::Now() + seconds - utc.count();
}

TEST(Calendar, FollowsTheTimeZoneThatHoldsRightNow) {
  const double moment = ClockAt(1794603909.5);  // 2026-11-13 21:05:09.5 UTC
  const struct {
    const char* zone;
    int day, hour, minute;
  } rows[] = {{"UTC0", 13, 21, 5}, {"IST-5:30", 14, 2, 35}, {"NST3:30", 13, 17, 35}};
  for (const auto& row : rows) {
    SetZone(row.zone);
    const ztutil::CalendarTime time = ztutil::LocalCalendarTime(moment);
    EXPECT_EQ(time.year, 2026);
    EXPECT_EQ(time.month, 11);
    EXPECT_EQ(time.day, row.day) << row.zone;
    EXPECT_EQ(time.hour, row.hour) << row.zone;
    EXPECT_EQ(time.minute, row.minute) << row.zone;
    EXPECT_NEAR(time.second, 9.5, 0.2);
  }
  EXPECT_EQ(ztutil::LocalCalendarTime(ClockAt(-86400.0)).year, 1969);
}

TEST(Clock, TakesTheBiasIntoAccount) {
  const double before = ztutil::Now();
  EXPECT_EQ(ztutil::SetClockBias(10.0), 0.0);
  const double biased = ztutil::Now();
  EXPECT_EQ(ztutil::SetClockBias(0.0), 10.0);
  EXPECT_GE(biased, before + 10.0);
  EXPECT_LT(ztutil::Now(), biased);
}

}  // namespace
