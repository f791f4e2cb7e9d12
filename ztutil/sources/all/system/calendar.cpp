#include "system/platform.h"

#include <ztutil/calendar.h>
#include <ztutil/clock.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>

#include <cmath>
#include <cstdint>

namespace ztutil {

namespace {

constexpr std::int64_t kMicroseconds = 1000000;  // in a second

// Links the clock to the calendar, to within the cost of one reading of the clock.
class Converter {
 public:
  Converter() {
    constexpr int kReadings = 10000;
    Now();  // the first reading is slower
    const double start = Now();
    double end = start;
    for (int reading = 0; reading < kReadings; ++reading) end = Now();
    const double cost = (end - start) / kReadings;

    const double before = Now();
    const auto utc = static_cast<double>(platform::UTCMicroseconds());
    const double after = Now();
    fOffset = (after - cost + before) * 0.5 - utc * 1e-6;
  }

  // In microseconds since the epoch.
  std::int64_t ToUTC(double now) const { return std::llround((now - fOffset) * 1e6); }

  const boost::gregorian::date fEpoch{1970, 1, 1};

 private:
  double fOffset;  // what the clock read at the epoch
};

}  // namespace

CalendarTime LocalCalendarTime(double now) {
  static const Converter converter;
  const std::int64_t local = converter.ToUTC(now) + platform::LocalOffsetSeconds() * kMicroseconds;
  constexpr std::int64_t kDay = 86400 * kMicroseconds;
  const std::int64_t ofDay = (local % kDay + kDay) % kDay;  // before the epoch, too
  const auto date =
      (converter.fEpoch + boost::gregorian::days(static_cast<long>((local - ofDay) / kDay))).year_month_day();
  const auto minute = static_cast<int>(ofDay / (60 * kMicroseconds));
  const auto second = static_cast<double>(ofDay % (60 * kMicroseconds)) * 1e-6;
  return {date.year, date.month, date.day, minute / 60, minute % 60, second};
}

}  // namespace ztutil
