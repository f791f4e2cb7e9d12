#include "calendar.h"

#include "clock.h"
#include "platform.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cmath>
#include <cstdint>

namespace ztutil {

namespace {

using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::posix_time::seconds;

// Links the clock to the calendar, to within the cost of one reading of the clock.
class Converter {
 public:
  Converter() : fEpoch(boost::gregorian::date(1970, 1, 1)) {
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

  ptime ToUTC(double now) const { return fEpoch + microseconds(std::llround((now - fOffset) * 1e6)); }

 private:
  const ptime fEpoch;
  double fOffset;  // what the clock read at the epoch
};

}  // namespace

CalendarTime LocalCalendarTime(double now) {
  static const Converter converter;
  const ptime local = converter.ToUTC(now) + seconds(platform::LocalOffsetSeconds());
  const auto date = local.date().year_month_day();
  const auto time = local.time_of_day();
  constexpr std::int64_t kMicrosecondsPerMinute = 60000000;
  const auto second = static_cast<double>(time.total_microseconds() % kMicrosecondsPerMinute) * 1e-6;
  return {date.year, date.month, date.day, static_cast<int>(time.hours()), static_cast<int>(time.minutes()),
          second};
}

}  // namespace ztutil
