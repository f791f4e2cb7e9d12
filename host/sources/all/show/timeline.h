// When the answers of a run came, as a picture.
#ifndef GPUPROWLER_TIMELINE_H_
#define GPUPROWLER_TIMELINE_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <string>
#include <vector>

namespace gpuprowler {

// From one answer to the next.
struct Wait {
  double start = 0, seconds = 0;
  std::string question;    // that was answered at its end, or was not
  std::string words;       // the same, with what it wants to know, and with what it may have been instead
  bool isAnswered = true;  // false at the end of a run without end
};

// All of a run's, in their order. Together they are as long as the run.
std::vector<Wait> WaitsOf(const Run& run);

// The longest that are a hundredth of the run or more, so many of them, the longest first.
std::vector<Wait> LongestOf(const std::vector<Wait>& waits, std::size_t count);

// Of all of them together, in seconds.
double LengthOf(const std::vector<Wait>& waits);

// "1.23 s", or "12 ms".
std::string TimeText(double seconds);

// An SVG element, as wide as there is room, with a text for those who don't see it. The number makes its ids
// differ from others' on the page.
std::string TimeLine(const std::vector<Wait>& waits, std::size_t number);

}  // namespace gpuprowler

#endif  // GPUPROWLER_TIMELINE_H_
