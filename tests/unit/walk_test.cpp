// Reports whose truth is known: a made-up prober's, with drivers that fail, crash and print what they like
// between, in front of and within its lines. They print no answer, though, that could come next: nobody could
// tell.
#include <gtest/gtest.h>
#include <run/verdict.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using gpuprowler::Ending;
using gpuprowler::Form;
using gpuprowler::Question;
using gpuprowler::Scope;
using gpuprowler::Steps;
using std::string;

class MadeUpRun {
 public:
  explicit MadeUpRun(unsigned seed) : fRandom(seed) {
    fCounts[1] = Below(5);
    fCounts[2] = fHasOpenCL ? Below(4) : 0;
    for (const Scope scope : {Scope::kGLGPU, Scope::kCLGPU})
      for (unsigned gpu = 0; gpu < CountOf(scope); ++gpu)
        if (OneIn(3)) fFailsAt[{scope, gpu}] = Below(static_cast<unsigned>(Steps().size()));
    if (OneIn(3)) fEnding.kind = Ending::Kind::kCrashed;
    if (OneIn(4)) fOutput += Imitation() + "\n";  // -stdout
    while (fNow.step + 1 < Steps().size() && Ask()) fNow = Behind(fNow);
    fIsWhole = fNow.step + 1 == Steps().size();
    if (fIsWhole && !fFailed.empty()) fEnding.status = gpuprowler::kProberFailed;
    if (!fIsWhole && OneIn(2) && fNow.GetStep().scope == Scope::kRun) Fail();
  }

  // What is wrong in the reading; empty if nothing is.
  string Judge() {
    gpuprowler::Report report;
    const bool errorsFirst = OneIn(2);
    if (errorsFirst) report.TakeErrors(fErrors.data(), fErrors.size(), 0);
    report.TakeOutput(fOutput.data(), fOutput.size(), 0);
    if (!errorsFirst) report.TakeErrors(fErrors.data(), fErrors.size(), 0);
    const bool exited = fEnding.kind == Ending::Kind::kExited;
    report.Conclude(exited && fEnding.status == gpuprowler::kProberFailed);
    const gpuprowler::Reading& reading = report.GetReading();
    const gpuprowler::Judgement verdict = gpuprowler::Judge(fEnding, report);

    string wrong, found;
    for (const gpuprowler::Finding& finding : reading.findings)
      found += finding.question.Name() + "=" + finding.value + "\n";
    const auto differ = std::mismatch(found.begin(), found.end(), fFindings.begin(), fFindings.end());
    if (found != fFindings)
      wrong += "found ..." + string(differ.first, found.end()) + "\ninstead of ..." +
               string(differ.second, fFindings.end());
    auto hidden = fFailed;
    for (const gpuprowler::DroppedGPU& gpu : reading.dropped) {
      const auto failed = hidden.find(IdOf(gpu.asked.front()));
      if (failed == hidden.end() || !Has(gpu.asked, failed->second))
        wrong += gpu.asked.front().Name() + " dropped\n";
      if (failed != hidden.end()) hidden.erase(failed);
    }
    for (const auto& [id, question] : hidden)
      if (MustShow(question)) wrong += question.Name() + " not dropped\n";
    const string name = !exited              ? "crashed"
                        : fEnding.status > 0 ? "finished-with-failures"
                        : fIsWhole           ? "finished"
                                             : "ended-early";
    if (VerdictName(verdict.verdict) != name || reading.isWhole != fIsWhole)
      wrong += verdict.text + ", not " + name + "\n";
    if (!(exited && fIsWhole) && !Has(verdict.asked, fNow)) wrong += fNow.Name() + " not asked\n";
    return wrong.empty() ? "" : wrong + "Output:\n" + fOutput + "\nErrors:\n" + fErrors;
  }

 private:
  using GPUId = std::pair<Scope, unsigned>;

  static GPUId IdOf(const Question& question) { return {question.GetStep().scope, question.gpu}; }
  static bool Has(const std::vector<Question>& list, const Question& question) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Question& each) { return each.Name() == question.Name(); });
  }

  unsigned Below(unsigned limit) { return static_cast<unsigned>(fRandom() % limit); }
  bool OneIn(unsigned times) { return Below(times) == 0; }
  unsigned CountOf(Scope scope) const { return fCounts[static_cast<std::size_t>(scope)]; }

  Question Behind(Question question) const {
    ++question.gpu;
    while (question.step < Steps().size() && question.gpu >= CountOf(question.GetStep().scope))
      question = {question.step + 1, 0};
    return question;
  }

  // False if the run ends in this question.
  bool Ask() {
    const bool isRun = fNow.GetStep().scope == Scope::kRun;
    if (fFailed.count(IdOf(fNow)) > 0 || (fNow.GetStep().key == "NumCLGPUs" && !fHasOpenCL)) return true;
    while (fNow.step > 0 && OneIn(fQuiet)) MakeNoise();  // no driver is there before
    if (OneIn(fStamina)) return false;
    const auto failsAt = fFailsAt.find(IdOf(fNow));
    const bool fails = failsAt != fFailsAt.end() && fNow.step >= failsAt->second;
    if ((!fails || fProgrammed) && (isRun || !fNow.GetStep().optional || OneIn(2))) {
      const string value = ValueOf(fNow);
      fFindings += fNow.Name() + "=" + value + "\n";
      fOutput += fNow.Name() + "=" + value + "\n";
      fAnswered = fNow;
    }
    if (fails) Fail();
    return true;
  }

  void Fail() {
    if (fNow.GetStep().scope == Scope::kRun)
      fEnding = {Ending::Kind::kExited, gpuprowler::kProberFailed};
    else
      fFailed.emplace(IdOf(fNow), fNow);
    const bool programmed = fProgrammed && fNow.GetStep().scope != Scope::kRun;
    fErrors += OneIn(3) ? "half " : "";
    fErrors += programmed ? "exception: Programmed throw\n"
               : OneIn(2) ? "exception: x\n"
                          : "KGX::LogicalException: \n";
  }

  void MakeNoise() {
    const char* const kLines[] = {"hello\n",   "# a=1\n", "=\n", "prowlerEnd\n", "half ", "\"",
                                  "glgpu[0].", "Tester=", "\n"};
    switch (Below(4)) {
      case 0:
        fErrors += fLies ? "lib: exception: x\n" : "libGL error\n";
        break;
      case 1:
        fOutput += OneIn(9) ? string(20000, 'x') : kLines[Below(9)];
        break;
      default:
        if (const string line = Imitation(); !line.empty()) fOutput += line + (OneIn(2) ? "\n" : " ");
    }
  }

  // An answer that can't be the next, even if GPUs have failed.
  string Imitation() {
    Question imitated{Below(static_cast<unsigned>(Steps().size()) - 1), 0};
    if (imitated.GetStep().scope != Scope::kRun) imitated.gpu = Below(6);
    bool canBeNext = fFindings.empty() ? imitated.step == 0 : fAnswered < imitated;
    for (Question passed = Behind(fAnswered); canBeNext && passed < imitated; passed = Behind(passed))
      if (!passed.GetStep().optional &&
          ((fFailsAt.empty() && !fLies) || passed.GetStep().scope == Scope::kRun ||
           IdOf(passed) == IdOf(imitated)))
        canBeNext = false;
    return canBeNext ? "" : imitated.Name() + "=" + ValueOf(imitated, true);
  }

  string ValueOf(const Question& question, bool plain = false) {
    string number = std::to_string(Below(100));
    if (question.GetStep().key == "NumGLGPUs") return std::to_string(fCounts[1]);
    if (question.GetStep().key == "NumCLGPUs") return std::to_string(fCounts[2]);
    switch (question.GetStep().form) {
      case Form::kFlag:
        return OneIn(2) ? "0" : "1";
      case Form::kNumber:
        return number;
      case Form::kReal:
        return OneIn(5) ? "-nan" : number + ".5e+10";
      case Form::kList:
        return "[-" + number + "]";
      default:
        return "\"" + Text(plain) + "\"";
    }
  }

  // With anything in it but a quote at a line's end, which would be the end of the text.
  string Text(bool plain) {
    const char* const kPieces[] = {"a",           "\"b",         "=", " ", "\n", "\n# ", "\nexception: x",
                                   "prowlerEnd=", "\nTester=\"c"};
    string text;
    while (OneIn(2)) text += kPieces[Below(plain ? 4 : 9)];
    const Question next = Behind(fNow);
    if (!plain && OneIn(8) && next.GetStep().form != Form::kText && !next.GetStep().key.empty())
      text += "\n" + next.Name() + "=" + ValueOf(next) + "\n";
    return text;
  }

  // An answer of its GPU's has been due since.
  bool MustShow(const Question& failed) const {
    for (Question question = fProgrammed ? Behind(failed) : failed; question < fAnswered;
         question = Behind(question))
      if (IdOf(question) == IdOf(failed) && !question.GetStep().optional) return true;
    return false;
  }

  std::mt19937 fRandom;
  unsigned fCounts[3] = {1, 0, 0};
  const bool fHasOpenCL = !OneIn(3), fProgrammed = OneIn(4), fLies = OneIn(4);
  const unsigned fQuiet = OneIn(4) ? 1000000 : 2 + Below(30), fStamina = OneIn(2) ? 1000000 : 20 + Below(200);
  std::map<GPUId, std::size_t> fFailsAt;  // the step, or the first question behind it
  std::map<GPUId, Question> fFailed;
  Question fNow{0, 0}, fAnswered{0, 0};
  Ending fEnding{Ending::Kind::kExited, 0, "x"};
  bool fIsWhole = false;
  string fOutput, fErrors, fFindings;
};

// WALK_RUNS sets how many.
TEST(WalkTest, FindsTheTruth) {
  const char* const wanted = std::getenv("WALK_RUNS");
  const unsigned runs = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 2000;
  unsigned wrong = 0;
  for (unsigned seed = 0; seed < runs; ++seed) {
    const string what = MadeUpRun(seed).Judge();
    if (!what.empty() && ++wrong < 4) ADD_FAILURE() << "run " << seed << ": " << what;
  }
  EXPECT_EQ(wrong, 0u) << "of " << runs;
}

}  // namespace
