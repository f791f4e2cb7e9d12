// Bounded waits: seconds as doubles on the clock of Now, whatever their size.
#ifndef ZTUTIL_DEADLINE_H_
#define ZTUTIL_DEADLINE_H_

#include <ztutil/clock.h>

#include <boost/chrono/duration.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

namespace ztutil {

// Rounded to whole milliseconds; 0 for what is negative or no number. A century is for ever, and the
// arithmetic of every clock bears it.
inline boost::chrono::milliseconds ToMilliseconds(double seconds) {
  constexpr double kForever = 100.0 * 366 * 86400;
  if (!(seconds > 0.0)) return boost::chrono::milliseconds(0);
  const double milliseconds = (seconds < kForever ? seconds : kForever) * 1000.0 + 0.5;
  return boost::chrono::milliseconds(static_cast<boost::chrono::milliseconds::rep>(milliseconds));
}

// Waits to be notified. False if that many seconds went by instead.
inline bool WaitFor(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                    double seconds) {
  return condition.wait_for(lock, ToMilliseconds(seconds)) == boost::cv_status::no_timeout;
}

namespace consoleapp {

class Deadline {
 public:
  explicit Deadline(double seconds) : fTime(Now() + seconds) {}

  // Seconds, at least 0.
  double Remaining() const {
    const double remaining = fTime - Now();
    return remaining > 0.0 ? remaining : 0.0;
  }

 private:
  double fTime;
};

}  // namespace consoleapp

}  // namespace ztutil

#endif  // ZTUTIL_DEADLINE_H_
