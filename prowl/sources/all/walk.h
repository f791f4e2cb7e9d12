// Follows a report along the order of the prober's steps, and tells what a gap in it means.
#ifndef PROWL_WALK_H_
#define PROWL_WALK_H_

#include "steps.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace prowl {

struct Answer {
  Question question;
  std::string_view value;  // a piece of the line
};

// A GPU that failed a question, and what the prober hasn't asked since.
struct DroppedGPU {
  std::vector<Question> asked;  // the question that it failed is one of these
};

class Walk {
 public:
  // GPUs beyond these aren't followed.
  static constexpr std::size_t kMaxGPUs = 64;

  Walk();

  // Takes the report's next line, and gives what it answers: nothing if it's no line of a report, or not one
  // that may stand here.
  std::optional<Answer> Take(std::string_view line);

  // The question that was answered last.
  const std::optional<Question>& Latest() const { return fLatest; }

  // What may have been asked behind the last line; at least one question. `failures` tells how many GPUs have
  // failed one, whether the report shows it yet or not.
  std::vector<Question> Asked(std::size_t failures) const;

  // GPUs that have left out an answer while others, or the run, went on.
  const std::vector<DroppedGPU>& Dropped() const { return fDropped; }

  // The whole report is there.
  bool AtEnd() const { return fNext.step + 1 == Steps().size(); }

 private:
  struct GPU {
    std::size_t nextStep;  // behind its latest answer
    bool dropped = false;
  };

  std::vector<GPU>& GPUs(const Question& question);
  const std::vector<GPU>& GPUs(const Question& question) const;
  Question Behind(Question question) const;
  void Enumerate(Scope scope, std::size_t firstStep, std::string_view count);
  void Announce(std::string_view symbol);
  void Reach(const Question& question);

  std::array<std::vector<GPU>, 3> fGPUs;  // by Scope; the run counts as one GPU
  Question fNext{0, 0};                   // nothing from here on is answered
  bool fAnnounced = false;                // fNext's symbol is out
  std::optional<Question> fLatest;
  std::vector<DroppedGPU> fDropped;
};

}  // namespace prowl

#endif  // PROWL_WALK_H_
