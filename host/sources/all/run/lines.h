// The lines of one of the prober's streams, whatever it is that the prober writes there.
#ifndef GPUPROWLER_LINES_H_
#define GPUPROWLER_LINES_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace gpuprowler {

// Takes bytes as they come and keeps the latest lines. What it needs of memory is bounded, for lines that are
// too many as for one that never ends. A line ends with a line feed; a carriage return in front of it belongs
// to the end. One thread at a time.
class Lines {
 public:
  static constexpr std::size_t kMaxLineBytes = std::size_t{16} * 1024;
  static constexpr std::size_t kMaxKeptBytes = std::size_t{8} * 1024 * 1024;  // of all lines, about

  // Of a line that is too long, its reader is told the end as well.
  static constexpr std::size_t kMaxTailBytes = std::size_t{4} * 1024;

  // Is told each line once and says what it is.
  using Reader = std::function<LineKind(const std::string& text)>;

  // Takes what has arrived, that many seconds after the prober's start.
  void Take(const char* bytes, std::size_t count, double seconds, const Reader& reader);

  // Counts bytes into the bound that are kept elsewhere.
  void Charge(std::size_t bytes) { fKeptBytes += bytes; }

  // Says what some lines are, counted from 0 with those that were dropped; [first, last].
  void Mark(std::uint64_t first, std::uint64_t last, LineKind kind);

  // Complete lines, the latest last.
  const std::deque<Line>& Kept() const { return fKept; }

  // How many there were in front of those.
  std::uint64_t Dropped() const { return fDropped; }

  // What follows the last line end, cut as lines are.
  const Line& Unfinished() const { return fUnfinished; }

 private:
  void Append(const char* bytes, std::size_t count);
  void Complete(double seconds, const Reader& reader);

  std::deque<Line> fKept;
  std::size_t fKeptBytes = 0;
  std::uint64_t fDropped = 0;
  Line fUnfinished;
  std::string fTail;  // of what was cut from it
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_LINES_H_
