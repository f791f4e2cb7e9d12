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
constexpr int kTitleWidth = 10;
constexpr std::size_t kPrintedLines = 20;     // of one stream
constexpr std::size_t kPrintedQuestions = 8;  // where it may be one of many
constexpr std::uint64_t kMB = std::uint64_t{1024} * 1024;

// --- Words
// ---------------------------------------------------------------------------------------------------

std::string After(double seconds) {
  ztutil::ClassicStream out;
  out << ", after " << std::fixed << std::setprecision(2) << seconds << " s";
  return out.str();
}

// A question with its topic, if it has one.
std::string InWords(const std::string& question) {
  const std::size_t tag = question.find("gpu[");
  const std::size_t step =
      FindStep(tag == std::string::npos ? question : question.substr(question.find('.') + 1));
  const Step& asked = Steps()[std::min(step, Steps().size() - 1)];  // the last is "exit"
  return Printable(question) + (asked.topic.empty() ? "" : " (" + std::string(asked.topic) + ")");
}

const char* InWords(Interface interface) { return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"; }

// Empty where there is nothing to say.
const char* InWords(Behaviour behaviour) {
  switch (behaviour) {
    case Behaviour::kSound:
      return "sound";
    case Behaviour::kFailed:
      return "failed";
    case Behaviour::kEnded:
      return "ended the process";
    case Behaviour::kCrashed:
      return "crashed";
    case Behaviour::kHung:
      return "hung";
    case Behaviour::kSetAside:
      return "not asked";
    default:
      return "";
  }
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

// "first, second": of parts that may be empty.
std::string Joined(std::initializer_list<std::string> parts) {
  std::string joined;
  for (const std::string& part : parts)
    if (!part.empty()) joined += (joined.empty() ? "" : ", ") + part;
  return joined;
}

// Around what is there.
std::string Around(const char* before, const std::string& text, const char* behind = "") {
  return text.empty() ? "" : before + text + behind;
}

// --- Parts
// ---------------------------------------------------------------------------------------------------

// "Title: one", or "Title one of:" and a list.
void PutQuestions(std::ostream& out, const std::string& title, const std::vector<std::string>& questions,
                  const std::string& indent = "") {
  out << indent << title;
  if (questions.size() == 1) {
    out << ": " << InWords(questions[0]) << "\n";
    return;
  }
  out << " one of:\n";
  const std::size_t shown = std::min(questions.size(), kPrintedQuestions);
  for (std::size_t i = 0; i < shown; ++i) out << indent << "  " << InWords(questions[i]) << "\n";
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

// The first run is meant where none is named.
std::string NameOf(const GPU& gpu) {
  return Printable(gpu.tag) + (gpu.run > 0 ? " of run " + std::to_string(gpu.run) : "");
}

// A line of a GPU's, if there is something to say.
void PutTitled(std::ostream& out, const char* title, const std::string& text) {
  if (!text.empty()) out << "  " << std::left << std::setw(kTitleWidth) << title << text << "\n";
}

void PutGPU(std::ostream& out, const Answer& answer, const GPU& gpu) {
  const auto value = [&](const std::string& key) {
    const Value* const found = gpu.Find((gpu.interface == Interface::kOpenGL ? "gl" : "cl") + key);
    return found ? InWords(*found) : "";
  };
  const auto cannot = [&](const char* key, const char* words) {
    const Value* const found = gpu.Find(key);
    return found && InWords(*found) == "0" ? words : "";
  };
  const std::string name = value("Name"), renderer = value("Renderer");
  out << "\n" << NameOf(gpu) << ": " << (name.empty() ? renderer : name) << "\n";
  if (!name.empty()) PutTitled(out, "Renderer", renderer);
  PutTitled(
      out, InWords(gpu.interface),
      Joined({value("Version"), value("DeviceVersion"), Around("GLSL ", value("ShadingLanguageVersion"))}));
  PutTitled(out, "Can't",
            Joined({cannot("canCompileProgramGLSL", "compile and link a GLSL program"),
                    cannot("glFrameBufferOK", "render to a texture")}));
  if (const std::string memory = value("MemoryMB"); memory != "0")
    PutTitled(out, "Memory", Around("", memory, " MB"));
  PutTitled(
      out, "Driver",
      Joined({gpu.driver ? Printable(answer.drivers[*gpu.driver].manifest) : "", value("DriverVersion")}));
  if (gpu.adapter) {
    const Adapter& adapter = answer.adapters[*gpu.adapter];
    PutTitled(out, "Adapter", Joined({Printable(adapter.address), Printable(adapter.name)}));
  }
  if (gpu.software) PutTitled(out, "Adapter", "none: this is software");
  if (!gpu.failed.empty())
    PutQuestions(out, "Dropped, having failed", gpu.failed, "  ");
  else
    PutTitled(out, "Findings", gpu.complete ? "complete" : "incomplete");
}

std::string InWords(const Adapter& adapter) {
  const std::string memory = adapter.memoryBytes > 0 ? std::to_string(adapter.memoryBytes / kMB) + " MB" : "";
  const std::string access = adapter.mayOpen ? ""
                             : adapter.group.empty()
                                 ? " (you may not open it)"
                                 : " (only group " + Printable(adapter.group) + " may open it)";
  std::string outputs;
  for (const std::string& output : adapter.outputs)
    outputs += (outputs.empty() ? "" : " ") + Printable(output);
  return Joined({Printable(adapter.address), Printable(adapter.name),
                 Printable(adapter.driver) + Around(" ", Printable(adapter.driverVersion)), memory,
                 adapter.asleep ? "asleep" : "",
                 adapter.renderNode.empty() ? "" : Printable(adapter.renderNode) + access, outputs});
}

// "OpenGL 50_mesa.json (libEGL_mesa.so.0): crashed at glgpu[0].GLVersion, set aside since ...".
std::string InWords(const Driver& driver) {
  const bool isMissing = !driver.library.empty() && driver.path.empty();
  const std::string question = Around(" at ", Printable(driver.question));
  const bool wasAsked = driver.behaviour != Behaviour::kSetAside;
  const std::string behaviour =
      Joined({InWords(driver.behaviour) + (wasAsked ? question : ""),
              Around("set aside since ", Printable(driver.since)), wasAsked ? "" : "misbehaved" + question});
  return InWords(driver.interface) + Around(" ", Printable(driver.manifest)) +
         Around(" (", Printable(driver.library), isMissing ? ", which isn't there)" : ")") +
         (behaviour.empty() ? "" : ": " + behaviour);
}

std::string InWords(const Reason& reason) {
  return Printable(reason.text) + Around(" (", Printable(reason.code), ")");
}

template <class Part>
void PutList(std::ostream& out, const char* title, const std::vector<Part>& parts) {
  if (parts.empty()) return;
  out << "\n" << title << "\n";
  for (const Part& part : parts) out << "  " << InWords(part) << "\n";
}

// Where there was more than one.
void PutRuns(std::ostream& out, const Answer& answer) {
  if (answer.runs.size() < 2) return;
  out << "\nRuns\n";
  for (std::size_t i = 0; i < answer.runs.size(); ++i) {
    const Run& run = answer.runs[i];
    out << "  " << i << "  " << Printable(run.text) << After(run.seconds);
    if (run.alone)
      for (const std::size_t driver : run.drivers)
        out << ", with " << Printable(answer.drivers[driver].manifest) << " alone";
    out << "\n";
  }
}

void PutValues(std::ostream& out, const std::string& title, const std::vector<Value>& values) {
  out << "\n" << title << "\n";
  for (const Value& value : values)
    out << "  " << std::left << std::setw(kKeyWidth) << value.reportKey << "  " << InWords(value) << "\n";
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

}  // namespace

std::string Summary(const Answer& answer) {
  ztutil::ClassicStream out;
  PutVerdict(out, answer);
  for (const GPU& gpu : answer.gpus)
    if (!gpu.failed.empty())
      PutQuestions(out, Printable(gpu.tag) + " was dropped, having failed", gpu.failed);
  return out.str();
}

std::string AsText(const Answer& answer, bool all) {
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
    if (all) PutValues(out, "Findings of " + NameOf(gpu), gpu.values);
  for (const Run& run : answer.runs) {
    PutLines(out, "Other lines", run.output, {LineKind::kOther, LineKind::kComment});
    PutLines(out, "Standard error", run.errors, {LineKind::kOther, LineKind::kFailure});
  }
  const std::string text = out.str();
  return text.substr(text.find('\n') == 0 ? 1 : 0);  // there was no verdict
}

}  // namespace gpuprowler
