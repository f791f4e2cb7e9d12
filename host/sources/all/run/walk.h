// Follows a report along the order of the prober's steps, among whatever else is printed there, and tells
// what a gap in it means.
#ifndef GPUPROWLER_WALK_H_
#define GPUPROWLER_WALK_H_

#include "steps.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace gpuprowler {

struct Finding {
  Question question;
  std::string value;  // what stands behind the equals sign; a text with line ends in it is whole
  std::uint64_t firstLine, lastLine;  // counted from 0
};

// A GPU that failed a question, and what the prober hasn't asked since.
struct DroppedGPU {
  std::vector<Question> asked;  // the question that it failed is one of these
};

// What a report says.
struct Reading {
  std::vector<Finding> findings;  // in their order
  std::vector<DroppedGPU> dropped;
  std::vector<Question> asked;  // what may have been asked behind the last finding; at least one question
  bool isWhole = false;         // the report has its end

  // What may have been asked is a measurement.
  bool MayMeasure() const;
};

// What has been told of failures elsewhere. A GPU that leaves out an answer has failed.
struct Failures {
  std::size_t least = 0;       // told for certain
  std::size_t most = 0;        // together with what only looks like it
  std::size_t programmed = 0;  // of these, asked for by the command line: they come behind an answer
};

// A line can answer a question if it holds the question's key and a value of the right form. In front of the
// key may stand what a driver has printed without a line end.
//
// Drivers also print whole lines that look like answers. So a reading is a sequence of answers that the
// prober can have written one after the other: it leaves out optional answers, and those of GPUs that have
// failed, but no others. The reading with the most answers holds, and all other lines are taken for drivers'.
// Of several answers to one question the first is believed, unless later answers fit another one only.
class Walk {
 public:
  // GPUs of a kind beyond these aren't followed.
  static constexpr std::size_t kMaxGPUs = 64;

  // The bytes that it takes, about, and of one text. What comes then is no answer.
  static constexpr std::size_t kMaxBytes = std::size_t{6} * 1024 * 1024;
  static constexpr std::size_t kMaxTextBytes = std::size_t{16} * 1024;

  Walk();

  // Takes the report's next line.
  void Take(std::string_view line);

  // What the lines say by now.
  Reading Read(const Failures& failures) const;

  // It never gives a byte back.
  std::size_t Bytes() const { return fBytes; }

 private:
  using GPUSet = std::bitset<2 * kMaxGPUs>;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  // An answer, and the one before it.
  struct Node {
    std::size_t before;  // in fNodes, or kNone
    Finding finding;
  };

  // A reading up to some answer, and what the next ones depend on.
  struct Path {
    std::array<unsigned, 3> gpus{1, 0, 0};  // by Scope
    GPUSet dropped;
    std::pair<std::size_t, std::uint64_t> score;  // answers, and what texts have of further lines
    std::size_t last = kNone;                     // in fNodes
  };
  using Paths = std::vector<Path>;

  // How a path can go on: that question's answer, from that line on.
  struct Continuation {
    std::size_t place;
    Path path;
    std::string value;
    std::uint64_t firstLine;
  };

  struct Answer;

  static std::vector<Answer> AnswersIn(std::string_view line);
  static std::size_t PlaceOf(const Question& question) { return question.step * kMaxGPUs + question.gpu; }
  static Question QuestionAt(std::size_t place);
  static std::size_t IdOf(const Question& question);
  static bool Covers(const Path& path, const Path& other);

  Question Behind(const Path& path, Question question) const;
  static GPUSet GPUsOf(const Path& path);
  Paths PathsTo(const Question& question) const;
  void Add(const Continuation& next);
  void ContinueTexts(std::string_view line);
  const Path& Best(std::size_t failures) const;
  std::vector<Question> Asked(const Path& path, Question next, const GPUSet& maybe,
                              const Failures& failures) const;

  std::vector<Paths> fPaths;  // [0] has the beginning; [1 + place] those that end with that question's answer
  std::deque<Node> fNodes;
  std::vector<Continuation> fOpenTexts;  // their ends may be on later lines
  std::uint64_t fLine = 0;
  std::size_t fBytes = 0;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_WALK_H_
