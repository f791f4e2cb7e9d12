#include "walk.h"

#include <ztutil/gpuprowlerappandhost.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

namespace prowl {

namespace {

// Takes a beginning off a text, if it's there.
bool TakeOff(std::string_view beginning, std::string_view& text) {
  if (text.substr(0, beginning.size()) != beginning) return false;
  text.remove_prefix(beginning.size());
  return true;
}

// The same with a decimal number.
std::optional<unsigned> TakeNumber(std::string_view& text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

struct Key {
  Scope scope;
  unsigned gpu;
  std::string_view name;
};

// Takes "glgpu[0].GLVersion" apart. What has no tag is of the run.
std::optional<Key> ParseKey(std::string_view text) {
  for (const auto& [scope, word] :
       {std::pair(Scope::kGLGPU, ProwlerKey::kGLGPU), std::pair(Scope::kCLGPU, ProwlerKey::kCLGPU)}) {
    std::string_view rest = text;
    if (!TakeOff(word, rest) || !TakeOff("[", rest)) continue;
    const auto gpu = TakeNumber(rest);
    if (!gpu || !TakeOff("].", rest)) return std::nullopt;
    return Key{scope, *gpu, rest};
  }
  return Key{Scope::kRun, 0, text};
}

}  // namespace

Walk::Walk() { GPUs(fNext).push_back({0}); }

std::optional<Answer> Walk::Take(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  std::string_view left = line.substr(0, equals);
  if (TakeOff(ProwlerKey::kGPUTag, left) && TakeOff(".", left)) {
    Announce(left);
    return std::nullopt;
  }
  const auto key = ParseKey(left);
  if (!key) return std::nullopt;
  const Question question{FindStep(key->name), key->gpu};
  if (question.step == Steps().size() || question.GetStep().scope != key->scope ||
      question.gpu >= GPUs(question).size() || question < fNext)
    return std::nullopt;

  Reach(question);
  GPUs(question)[question.gpu].nextStep = question.step + 1;
  fLatest = question;
  const std::string_view value = line.substr(equals + 1);
  if (key->name == ProwlerKey::kNumGLGPUs) Enumerate(Scope::kGLGPU, question.step + 1, value);
  if (key->name == ProwlerKey::kNumCLGPUs) Enumerate(Scope::kCLGPU, question.step + 1, value);
  fNext = Behind(question);
  fAnnounced = false;
  return Answer{question, value};
}

std::vector<Question> Walk::Asked(std::size_t failures) const {
  using GPUId = std::pair<Scope, unsigned>;
  const auto isOpen = [&](const Question& question) { return !GPUs(question)[question.gpu].dropped; };
  const auto idOf = [](const Question& question) { return GPUId(question.GetStep().scope, question.gpu); };
  std::set<GPUId> open;
  for (Question question = fNext; question.step < Steps().size(); question = Behind(question))
    if (question.GetStep().scope != Scope::kRun && isOpen(question)) open.insert(idOf(question));

  // So many GPUs have failed without having left out an answer yet. Any may be among them, and answers that
  // have to come may then be left out.
  const std::size_t hidden = std::min(failures - std::min(failures, fDropped.size()), open.size());
  std::set<GPUId> met, passed;
  std::vector<Question> asked;
  for (Question question = fNext; question.step < Steps().size(); question = Behind(question)) {
    const GPUId gpu = idOf(question);
    if (!isOpen(question) || passed.count(gpu) > 0) continue;
    // Those that have failed are others than this one.
    if (met.size() - met.count(gpu) >= hidden) asked.push_back(question);
    if (gpu.first != Scope::kRun) met.insert(gpu);
    if (question.GetStep().optional) continue;
    if (gpu.first == Scope::kRun || passed.size() == hidden) break;
    passed.insert(gpu);
  }
  return asked;
}

std::vector<Walk::GPU>& Walk::GPUs(const Question& question) {
  return fGPUs[static_cast<std::size_t>(question.GetStep().scope)];
}

const std::vector<Walk::GPU>& Walk::GPUs(const Question& question) const {
  return fGPUs[static_cast<std::size_t>(question.GetStep().scope)];
}

// The next question, whoever is asked.
Question Walk::Behind(Question question) const {
  ++question.gpu;
  while (question.step < Steps().size() && question.gpu >= GPUs(question).size())
    question = {question.step + 1, 0};
  return question;
}

void Walk::Enumerate(Scope scope, std::size_t firstStep, std::string_view count) {
  const std::size_t gpus = TakeNumber(count).value_or(0);
  fGPUs[static_cast<std::size_t>(scope)].assign(std::min(gpus, kMaxGPUs), {firstStep});
}

// A symbol is told anew for each GPU.
void Walk::Announce(std::string_view symbol) {
  Question question{FindSymbol(symbol), 0};
  if (question.step == Steps().size()) return;
  for (; question.gpu < GPUs(question).size(); ++question.gpu) {
    if (question < fNext || GPUs(question)[question.gpu].dropped) continue;
    if (fAnnounced && !(fNext < question)) continue;
    Reach(question);
    fNext = question;
    fAnnounced = true;
    return;
  }
}

// Everything in front of the question has been asked.
void Walk::Reach(const Question& question) {
  for (Question passed = fNext; passed < question; passed = Behind(passed)) {
    GPU& gpu = GPUs(passed)[passed.gpu];
    if (passed.GetStep().optional || passed.GetStep().scope == Scope::kRun || gpu.dropped) continue;
    gpu.dropped = true;
    fDropped.emplace_back();
    for (std::size_t step = gpu.nextStep; step <= passed.step; ++step)
      fDropped.back().asked.push_back({step, passed.gpu});
  }
}

}  // namespace prowl
