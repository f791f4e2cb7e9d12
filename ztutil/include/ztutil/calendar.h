// The local date and time of a moment on the clock of clock.h. Any thread.
#ifndef ZTUTIL_CALENDAR_H_
#define ZTUTIL_CALENDAR_H_

namespace ztutil {

struct CalendarTime {
  int year;
  int month;  // 1 to 12
  int day;    // 1 to 31
  int hour;
  int minute;
  double second;  // 0 up to, but not including, 60, to the microsecond
};

// The local date and time at the moment when Now() read `now`, in the time zone that holds right now.
CalendarTime LocalCalendarTime(double now);

}  // namespace ztutil

#endif  // ZTUTIL_CALENDAR_H_
