// What became of a run, for a person to read.
#ifndef PROWL_VERDICT_H_
#define PROWL_VERDICT_H_

#include "report.h"

#include <cstdint>
#include <string>
#include <vector>

namespace prowl {

// How the prober's process came to its end.
struct Ending {
  enum class Kind {
    kNotStarted,
    kExited,       // by itself
    kCrashed,      // by a signal or an exception of the system
    kHung,         // to be killed when its time was up
    kInterrupted,  // to be killed because somebody wanted it
    kLost,         // its end couldn't be awaited
  };

  Kind kind = Kind::kNotStarted;
  int status = 0;               // its exit status, for kExited
  std::string detail = {};      // the system's words for it, empty if it didn't come; or why there is none
  double seconds = 0;           // that it ran
  std::uint32_t processId = 0;  // of one that couldn't be killed, where it's known
};

struct Verdict {
  std::string name;  // a word for programs: "crashed"
  std::string text;  // for a person, to stand behind "the prober "
  int status;        // prowl's own exit status
  // Of a run that didn't come to its end: what was being asked then, one of these.
  std::vector<Question> asked;
};

// prowl's exit statuses are part of its interface.
enum Status : int {
  kStatusFinished = 0,
  kStatusError = 1,  // prowl itself failed, or its command line can't be understood
  kStatusFailures = 2,
  kStatusEndedEarly = 3,
  kStatusCrashed = 4,
  kStatusHung = 5,
  kStatusNotStarted = 6,
  kStatusInterrupted = 7,
};

// The prober's exit status where it has met a failure.
constexpr int kProberFailed = 2;

// The report is concluded.
Verdict Judge(const Ending& ending, const Report& report);

}  // namespace prowl

#endif  // PROWL_VERDICT_H_
