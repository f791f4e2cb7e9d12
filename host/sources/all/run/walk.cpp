#include "walk.h"

#include <ztutil/gpuprowlerappandhost.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

namespace gpuprowler {

namespace {

constexpr std::size_t kMaxKeyBytes = 128;  // no key is longer
constexpr std::size_t kMaxPaths = 64;      // to one answer
constexpr std::size_t kMaxOpenTexts = 64;
constexpr std::size_t kMaxRoomyBytes = std::size_t{4} * 1024 * 1024;  // of answers that are kept whole
constexpr std::size_t kMinTextBytes = 512;                            // of those behind

// Takes a beginning off a text, if it's there.
bool TakeOff(std::string_view beginning, std::string_view& text) {
  if (text.substr(0, beginning.size()) != beginning) return false;
  text.remove_prefix(beginning.size());
  return true;
}

// The same with a number.
template <class Number>
bool TakeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

template <class Number>
bool IsNumber(std::string_view text) {
  Number number{};
  return TakeNumber(text, number) && text.empty();
}

bool IsList(std::string_view text) {
  int number = 0;
  if (!TakeOff("[", text) || !TakeNumber(text, number)) return false;
  while (TakeOff(", ", text))
    if (!TakeNumber(text, number)) return false;
  return text == "]";
}

bool HasForm(Form form, std::string_view value) {
  switch (form) {
    case Form::kFlag:
      return value == "0" || value == "1";
    case Form::kNumber:
      return IsNumber<std::uint32_t>(value);
    case Form::kReal:
      return IsNumber<double>(value);
    case Form::kList:
      return IsList(value);
    default:
      return !value.empty() && value.front() == '"';
  }
}

// A text isn't escaped, so that a line end in it is a line end of the report.
bool IsOpen(Form form, std::string_view value) {
  return form == Form::kText && (value.size() == 1 || value.back() != '"');
}

// What asks a GPU, such as "glgpu[0].GLVersion", at the end of a text.
std::optional<Question> FindGPUKey(std::string_view text) {
  for (const auto& [scope, word] :
       {std::pair(Scope::kGLGPU, ProwlerKey::kGLGPU), std::pair(Scope::kCLGPU, ProwlerKey::kCLGPU)}) {
    std::string_view rest = text.substr(std::min(text.rfind(word), text.size()));
    unsigned gpu = 0;
    if (!TakeOff(word, rest) || !TakeOff("[", rest) || !TakeNumber(rest, gpu) || !TakeOff("].", rest))
      continue;
    const std::size_t step = FindStep(rest);
    if (step < Steps().size() && Steps()[step].scope == scope && gpu < Walk::kMaxGPUs)
      return Question{step, gpu};
  }
  return std::nullopt;
}

// The same for what asks the machine, such as "NumGLGPUs".
std::optional<Question> FindRunKey(std::string_view text) {
  for (std::size_t step = 0; step + 1 < Steps().size(); ++step) {
    const std::string_view key = Steps()[step].key;
    if (Steps()[step].scope == Scope::kRun && text.size() >= key.size() &&
        text.substr(text.size() - key.size()) == key)
      return Question{step, 0};
  }
  return std::nullopt;
}

}  // namespace

struct Walk::Answer {
  Question question;
  std::string_view value;
};

bool Reading::MayMeasure() const {
  return std::any_of(asked.begin(), asked.end(),
                     [](const Question& question) { return question.GetStep().IsMeasurement(); });
}

Walk::Walk() : fPaths(1 + Steps().size() * kMaxGPUs) { fPaths[0].emplace_back(); }

// What a line can answer. A remark stands in front of the first answer, so it isn't that one.
std::vector<Walk::Answer> Walk::AnswersIn(std::string_view line) {
  const bool isRemark = line.substr(0, 2) == "# ";
  std::vector<Answer> answers;
  for (std::size_t equals = line.find('='); equals != std::string_view::npos;
       equals = line.find('=', equals + 1)) {
    const std::size_t begin = equals - std::min(equals, kMaxKeyBytes);
    const std::string_view left = line.substr(begin, equals - begin), value = line.substr(equals + 1);
    auto question = FindGPUKey(left);
    if (!question) question = FindRunKey(left);
    if (question && HasForm(question->GetStep().form, value) && !(isRemark && question->step == 0))
      answers.push_back({*question, value});
  }
  return answers;
}

void Walk::Take(std::string_view line) {
  // All are found before any is added: answers in one line don't follow each other, nor a text that ends in
  // it.
  std::vector<Continuation> found;
  for (const Answer& answer : AnswersIn(line))
    for (const Path& path : PathsTo(answer.question))
      found.push_back({PlaceOf(answer.question), path, std::string(answer.value), fLine});
  ContinueTexts(line);
  for (Continuation& next : found) {
    const auto isAsGood = [&](const Continuation& other) {
      return other.place == next.place && Covers(other.path, next.path);
    };
    if (!IsOpen(QuestionAt(next.place).GetStep().form, next.value))
      Add(next);
    else if (fOpenTexts.size() < kMaxOpenTexts &&
             std::none_of(fOpenTexts.begin(), fOpenTexts.end(), isAsGood))
      fOpenTexts.push_back(std::move(next));
  }
  ++fLine;
}

Question Walk::QuestionAt(std::size_t place) {
  return {place / kMaxGPUs, static_cast<unsigned>(place % kMaxGPUs)};
}

// The place in a GPUSet of the GPU that is asked.
std::size_t Walk::IdOf(const Question& question) {
  return question.gpu + (question.GetStep().scope == Scope::kCLGPU ? kMaxGPUs : 0);
}

// Whatever can come behind the other can come behind this one as well, which has as much already.
bool Walk::Covers(const Path& path, const Path& other) {
  return path.gpus == other.gpus && (path.dropped & ~other.dropped).none() && path.score >= other.score;
}

// The question that follows in the prober's order, of whatever GPU or of the machine.
Question Walk::Behind(const Path& path, Question question) const {
  ++question.gpu;
  while (question.step < Steps().size() &&
         question.gpu >= path.gpus[static_cast<std::size_t>(question.GetStep().scope)])
    question = {question.step + 1, 0};
  return question;
}

// All GPUs that the path has been told of.
Walk::GPUSet Walk::GPUsOf(const Path& path) {
  GPUSet gpus;
  for (unsigned gpu = 0; gpu < path.gpus[1]; ++gpu) gpus.set(gpu);
  for (unsigned gpu = 0; gpu < path.gpus[2]; ++gpu) gpus.set(kMaxGPUs + gpu);
  return gpus;
}

// The paths that can go on with an answer to the question. The search goes backwards from it, over answers
// that are left out: a GPU that had to give one of these is dropped, and an answer of the machine that had to
// come ends the search.
Walk::Paths Walk::PathsTo(const Question& question) const {
  const bool isRun = question.GetStep().scope == Scope::kRun;
  const std::size_t own = IdOf(question);
  Paths found;
  GPUSet skipped;
  for (std::size_t place = PlaceOf(question);; --place) {
    for (Path path : fPaths[place]) {
      const GPUSet gpus = GPUsOf(path);
      path.dropped |= skipped & gpus;
      if (isRun || (gpus[own] && !path.dropped[own])) found.push_back(path);
    }
    if (place == 0) return found;
    const Question passed = QuestionAt(place - 1);
    if (passed.GetStep().optional) continue;
    if (passed.GetStep().scope != Scope::kRun)
      skipped.set(IdOf(passed));
    else if (passed.gpu == 0)
      return found;
    if (!isRun && skipped[own]) return found;
  }
}

// Lets a path go on with an answer, unless another path to this answer is as good.
void Walk::Add(const Continuation& next) {
  Path path = next.path;
  ++path.score.first;
  path.score.second += fLine - next.firstLine;
  const Question question = QuestionAt(next.place);
  for (const auto& [key, scope] :
       {std::pair(ProwlerKey::kNumGLGPUs, Scope::kGLGPU), std::pair(ProwlerKey::kNumCLGPUs, Scope::kCLGPU)}) {
    std::string_view count = next.value;
    unsigned gpus = 0;
    if (question.GetStep().key == key && TakeNumber(count, gpus))
      path.gpus[static_cast<std::size_t>(scope)] = std::min(gpus, static_cast<unsigned>(kMaxGPUs));
  }
  Paths& paths = fPaths[1 + next.place];
  const auto covers = [&](const Path& other) {
    Path rival = path;
    if (fNodes[other.last].finding.firstLine < next.firstLine)
      rival.score.second = 0;  // the first is believed
    return Covers(other, rival);
  };
  if (fBytes > kMaxBytes || std::any_of(paths.begin(), paths.end(), covers)) return;
  const auto isCovered = [&](const Path& other) { return Covers(path, other); };
  paths.erase(std::remove_if(paths.begin(), paths.end(), isCovered), paths.end());
  if (paths.size() == kMaxPaths) return;

  const std::size_t room = fBytes < kMaxRoomyBytes ? kMaxTextBytes : kMinTextBytes;
  fNodes.push_back({path.last, {question, next.value.substr(0, room), next.firstLine, fLine}});
  fBytes += sizeof(Node) + fNodes.back().finding.value.size();
  path.last = fNodes.size() - 1;
  paths.push_back(path);
}

// A text is no answer before its closing quote. That may never come, if a driver has printed the opening one.
void Walk::ContinueTexts(std::string_view line) {
  const bool isEnd = !line.empty() && line.back() == '"';
  for (Continuation& text : fOpenTexts) {
    if (text.value.size() < kMaxTextBytes) text.value.append("\n").append(line.substr(0, kMaxTextBytes));
    if (isEnd) Add(text);
  }
  if (isEnd) fOpenTexts.clear();
}

// The reading with the most answers in which no more GPUs have failed; of several the one that leaves out
// least.
const Walk::Path& Walk::Best(std::size_t failures) const {
  const Path* best = &fPaths[0][0];
  for (const Paths& paths : fPaths)
    for (const Path& path : paths)
      if (path.dropped.count() <= failures && path.score > best->score) best = &path;
  return *best;
}

Reading Walk::Read(const Failures& failures) const {
  const Path& path = Best(failures.most);
  Reading reading;
  for (std::size_t node = path.last; node != kNone; node = fNodes[node].before)
    reading.findings.push_back(fNodes[node].finding);
  std::reverse(reading.findings.begin(), reading.findings.end());

  // What each GPU may have failed: what it has left out since its last answer, up to the first that it had to
  // give; or that last answer itself.
  std::map<std::size_t, std::vector<Question>> open;
  GPUSet stopped;
  Question next{0, 0};
  for (const Finding& finding : reading.findings) {
    for (; next < finding.question; next = Behind(path, next)) {
      const std::size_t id = IdOf(next);
      if (next.GetStep().scope == Scope::kRun || stopped[id]) continue;
      stopped[id] = !next.GetStep().optional;
      if (!stopped[id] || failures.programmed < failures.most) open[id].push_back(next);
    }
    next = Behind(path, next);
    if (finding.question.GetStep().scope == Scope::kRun) continue;
    std::vector<Question>& asked = open[IdOf(finding.question)];
    asked.clear();
    if (failures.programmed > 0) asked.push_back(finding.question);
  }
  GPUSet maybe;
  for (auto& [id, asked] : open) {
    if (path.dropped[id])
      reading.dropped.push_back({std::move(asked)});
    else
      maybe[id] = !asked.empty();
  }
  reading.asked = Asked(path, next, maybe, failures);
  reading.isWhole =
      !reading.findings.empty() && reading.findings.back().question.GetStep().key == ProwlerKey::kProwlerEnd;
  return reading;
}

// What may be asked from that question on. The GPUs in `maybe` can have failed without a sign in the report.
// As many GPUs as were told for certain must have failed; where no question fits that, one fewer is tried.
std::vector<Question> Walk::Asked(const Path& path, Question next, const GPUSet& maybe,
                                  const Failures& failures) const {
  const std::size_t dropped = path.dropped.count();
  std::vector<Question> asked;
  for (std::size_t least = failures.least - std::min(failures.least, dropped); asked.empty(); --least) {
    GPUSet failed, passed = maybe;  // for certain, and perhaps, if the question is asked
    for (Question question = next; question.step < Steps().size(); question = Behind(path, question)) {
      const bool isRun = question.GetStep().scope == Scope::kRun;
      const std::size_t id = IdOf(question);
      if (!isRun && (path.dropped[id] || failed[id])) continue;
      const std::size_t others = passed.count() - (!isRun && passed[id] ? 1 : 0);
      if (others >= least) asked.push_back(question);
      if (isRun && !question.GetStep().optional) break;
      if (isRun) continue;
      passed.set(id);
      if (question.GetStep().optional) continue;
      failed.set(id);
      if (dropped + failed.count() > failures.most) break;
    }
  }
  return asked;
}

}  // namespace gpuprowler
