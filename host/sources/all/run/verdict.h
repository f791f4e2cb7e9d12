// What became of a run, for a person to read.
#ifndef GPUPROWLER_VERDICT_H_
#define GPUPROWLER_VERDICT_H_

#include "report.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gpuprowler {

// How the prober's process came to its end.
struct Ending {
  enum class Kind {
    kNotStarted,
    kNotWanted,    // nor started, because somebody wanted that
    kExited,       // by itself
    kCrashed,      // by a signal or an exception of the system
    kSpared,       // where it came to measurements that weren't wanted
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

struct Judgement {
  Verdict verdict = Verdict::kNotStarted;
  std::string text;  // for a person, to stand behind "the prober "
  // Of a run that didn't come to its end: what was being asked then, one of these.
  std::vector<Question> asked;
};

// The prober's exit status where it has met a failure.
constexpr int kProberFailed = 2;

// The report is concluded.
Judgement Judge(const Ending& ending, const Report& report);

}  // namespace gpuprowler

#endif  // GPUPROWLER_VERDICT_H_
