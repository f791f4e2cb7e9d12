// An answer as a person reads it.
#include "printable.h"
#include "run/steps.h"

#include <ztutil/classicstream.h>

#include <gpuprowler/answer.h>

#include <algorithm>
#include <initializer_list>
#include <iomanip>
#include <ostream>
#include <utility>

namespace gpuprowler {

namespace {

constexpr int kKeyWidth = 22;
constexpr std::size_t kPrintedLines = 20;     // of one stream
constexpr std::size_t kPrintedQuestions = 8;  // where it may be one of many

// A question with its topic, if it has one.
std::string InWords(const std::string& question) {
  const std::size_t tag = question.find("gpu[");
  const std::size_t step =
      FindStep(tag == question.npos ? question : question.substr(question.find('.') + 1));
  const Step& asked = Steps()[std::min(step, Steps().size() - 1)];  // the last is "exit"
  return question + (asked.topic.empty() ? "" : " (" + std::string(asked.topic) + ")");
}

// "Title: one", or "Title one of:" and a list.
void PutQuestions(std::ostream& out, const std::string& title, const std::vector<std::string>& questions) {
  if (questions.size() == 1) {
    out << title << ": " << InWords(questions[0]) << "\n";
    return;
  }
  out << title << " one of:\n";
  const std::size_t shown = std::min(questions.size(), kPrintedQuestions);
  for (std::size_t i = 0; i < shown; ++i) out << "  " << InWords(questions[i]) << "\n";
  if (shown < questions.size()) out << "  or of " << questions.size() - shown << " more\n";
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

// As the report has it.
std::string InWords(const Value& value) {
  struct {
    std::string operator()(const std::string& text) const { return Printable(text); }
    std::string operator()(bool flag) const { return flag ? "1" : "0"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const {
      ztutil::ClassicStream out;
      out << number;
      return out.str();
    }
    std::string operator()(const std::vector<std::int64_t>& numbers) const {
      std::string text;
      for (const std::int64_t number : numbers) text += (text.empty() ? "" : ", ") + std::to_string(number);
      return text;
    }
  } words;
  return std::visit(words, value.value);
}

void PutValues(std::ostream& out, const std::string& title, const std::vector<Value>& values) {
  out << "\n" << title << "\n";
  for (const Value& value : values)
    out << "  " << std::left << std::setw(kKeyWidth) << value.reportKey << "  " << InWords(value) << "\n";
}

}  // namespace

std::string Summary(const Answer& answer) {
  ztutil::ClassicStream out;
  out << Printable(answer.text) << ", after " << std::fixed << std::setprecision(2) << answer.seconds
      << " s.\n";
  for (const Run& run : answer.runs) {
    if (!run.asked.empty()) {
      out << "Last line: " << (run.lastLine.empty() ? "none" : Printable(run.lastLine)) << "\n";
      PutQuestions(out, "Was being asked", run.asked);
    }
    for (const std::string& note : run.notes) out << "Note: " << Printable(note) << "\n";
  }
  for (const GPU& gpu : answer.gpus)
    if (!gpu.failed.empty()) PutQuestions(out, gpu.tag + " was dropped, having failed", gpu.failed);
  return out.str();
}

std::string AsText(const Answer& answer, bool) {
  ztutil::ClassicStream out;
  out << Summary(answer);
  for (const Run& run : answer.runs) PutValues(out, "Run", run.values);
  for (const GPU& gpu : answer.gpus) PutValues(out, gpu.tag, gpu.values);
  for (const Run& run : answer.runs) {
    PutLines(out, "Other lines", run.output, {LineKind::kOther, LineKind::kComment});
    PutLines(out, "Standard error", run.errors, {LineKind::kOther, LineKind::kFailure});
  }
  return out.str();
}

}  // namespace gpuprowler
