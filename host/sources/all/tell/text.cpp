// An answer as a person reads it.
#include "printable.h"
#include "privacy.h"
#include "words.h"

#include <ztutil/classicstream.h>

#include <gpuprowler/answer.h>

#include <algorithm>
#include <initializer_list>
#include <iomanip>
#include <ostream>

namespace gpuprowler {

namespace {

constexpr int kKeyWidth = 22;
constexpr int kTitleWidth = 10;
constexpr std::size_t kPrintedLines = 20;     // of one stream
constexpr std::size_t kPrintedQuestions = 8;  // where it may be one of many

std::string After(double seconds) { return ", after " + Fixed(seconds, 2) + " s"; }

// "Title: one", or "Title one of:" and a list.
void PutQuestions(std::ostream& out, const std::string& title, const std::vector<std::string>& questions,
                  const std::string& indent = "") {
  out << indent << title;
  if (questions.size() == 1) {
    out << ": " << Printable(WithTopic(questions[0])) << "\n";
    return;
  }
  out << " one of:\n";
  const std::size_t shown = std::min(questions.size(), kPrintedQuestions);
  for (std::size_t i = 0; i < shown; ++i) out << indent << "  " << Printable(WithTopic(questions[i])) << "\n";
  if (shown < questions.size()) out << indent << "  or of " << questions.size() - shown << " more\n";
}

void PutVerdict(std::ostream& out, const Answer& answer) {
  if (answer.text.empty()) return;
  out << Printable(answer.text) << After(answer.seconds) << ".\n";
  if (answer.remembered) out << "Remembered from " << Printable(answer.time) << ": nothing was asked anew.\n";
  for (const Run& run : answer.runs) {
    if (!run.asked.empty() && !run.alone) {
      out << "Last line: " << (run.lastLine.empty() ? "none" : Printable(run.lastLine)) << "\n";
      PutQuestions(out, "Was being asked", run.asked);
      if (!run.standsIn.empty()) out << "Stood in: " << Printable(run.standsIn) << "\n";
    }
    for (const std::string& note : run.notes) out << "Note: " << Printable(note) << "\n";
  }
}

// A line of a GPU's, if there is something to say.
void PutTitled(std::ostream& out, const char* title, const std::string& text) {
  if (!text.empty()) out << "  " << std::left << std::setw(kTitleWidth) << title << text << "\n";
}

void PutGPU(std::ostream& out, const Answer& answer, const GPU& gpu) {
  out << "\n" << Printable(NameOf(gpu)) << ": " << Printable(ModelOf(gpu)) << "\n";
  for (const auto& [title, text] : FactsOf(answer, gpu)) PutTitled(out, title, Printable(text));
  if (!gpu.failed.empty()) PutQuestions(out, "Dropped, having failed", gpu.failed, "  ");
}

std::string LineOf(const Adapter& adapter) {
  std::string line;
  for (const auto& [title, text] : FactsOf(adapter)) line = Joined({line, Printable(text)});
  return line;
}

// "OpenGL 50_mesa.json (libEGL_mesa.so.0): crashed at glgpu[0].GLVersion, set aside since ...".
std::string LineOf(const Driver& driver) {
  return InWords(driver.interface) + Around(" ", Printable(driver.manifest)) +
         Around(" (", Printable(LibraryOf(driver)), ")") + Around(": ", Printable(BehaviourOf(driver)));
}

std::string LineOf(const Reason& reason) {
  return Printable(reason.text) + Around(" (", Printable(reason.code), ")");
}

template <class Part>
void PutList(std::ostream& out, const char* title, const std::vector<Part>& parts) {
  if (parts.empty()) return;
  out << "\n" << title << "\n";
  for (const Part& part : parts) out << "  " << LineOf(part) << "\n";
}

// Where there was more than one.
void PutRuns(std::ostream& out, const Answer& answer) {
  if (answer.runs.size() < 2) return;
  out << "\nRuns\n";
  for (std::size_t i = 0; i < answer.runs.size(); ++i) {
    const Run& run = answer.runs[i];
    out << "  " << i << "  " << Printable(run.text) << After(run.seconds)
        << Around(", ", Printable(CompanyOf(answer, run))) << "\n";
  }
}

void PutValues(std::ostream& out, const std::string& title, const std::vector<Value>& values) {
  out << "\n" << title << "\n";
  for (const Value& value : values)
    out << "  " << std::left << std::setw(kKeyWidth) << Printable(value.reportKey) << "  "
        << Printable(InWords(value)) << "\n";
}

// The last lines of some kinds, and what follows them, under a title if there are any.
void PutLines(std::ostream& out, const std::string& title, const Stream& stream,
              std::initializer_list<LineKind> kinds) {
  std::vector<const Line*> wanted;
  for (const Line& line : stream.lines)
    if (std::find(kinds.begin(), kinds.end(), line.kind) != kinds.end()) wanted.push_back(&line);
  if (wanted.empty() && stream.unfinished.empty()) return;
  const std::size_t first = wanted.size() - std::min(wanted.size(), kPrintedLines);
  out << "\n" << title << "\n";
  if (first + stream.linesDropped > 0)
    out << "  (" << first + stream.linesDropped << " lines before these)\n";
  for (std::size_t i = first; i < wanted.size(); ++i) out << "  " << Printable(wanted[i]->text) << "\n";
  if (!stream.unfinished.empty()) out << "  " << Printable(stream.unfinished) << " (without a line end)\n";
}

std::string SummaryOf(const Answer& answer) {
  ztutil::ClassicStream out;
  PutVerdict(out, answer);
  for (const GPU& gpu : answer.gpus)
    if (!gpu.failed.empty())
      PutQuestions(out, Printable(gpu.tag) + " was dropped, having failed", gpu.failed);
  return out.str();
}

std::string TextOf(const Answer& answer, bool all) {
  ztutil::ClassicStream out;
  PutVerdict(out, answer);
  for (const GPU& gpu : answer.gpus) PutGPU(out, answer, gpu);
  PutList(out, "Why", answer.reasons);
  PutList(out, "Adapters", answer.adapters);
  PutList(out, "Drivers", answer.drivers);
  PutRuns(out, answer);
  for (std::size_t run = 0; all && run < answer.runs.size(); ++run)
    PutValues(out, "Findings of run " + std::to_string(run), answer.runs[run].values);
  for (const GPU& gpu : answer.gpus)
    if (all) PutValues(out, "Findings of " + Printable(NameOf(gpu)), gpu.values);
  for (const Run& run : answer.runs) {
    PutLines(out, "Other lines", run.output, {LineKind::kOther, LineKind::kComment});
    PutLines(out, "Standard error", run.errors, {LineKind::kOther, LineKind::kFailure});
  }
  const std::string text = out.str();
  return text.substr(text.find('\n') == 0 ? 1 : 0);  // there was no verdict
}

}  // namespace

std::string Summary(const Answer& answer) { return SummaryOf(WithoutNames(answer, GetOwnNames())); }

std::string AsText(const Answer& answer, bool all) {
  return TextOf(WithoutNames(answer, GetOwnNames()), all);
}

}  // namespace gpuprowler
