#include "words.h"

#include "run/steps.h"

#include <ztutil/classicstream.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iomanip>
#include <iterator>

namespace gpuprowler {

namespace {

constexpr std::size_t kToldQuestions = 4;  // where it may be one of many
constexpr int kReportDigits = 6;
constexpr std::uint64_t kMB = std::uint64_t{1024} * 1024;

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

std::string Rounded(double number, std::chars_format format, int digits) {
  char text[400];
  return {text, std::to_chars(text, std::end(text), number, format, digits).ptr};
}

std::string ValueOf(const GPU& gpu, const std::string& key) {
  const Value* const found = gpu.Find((gpu.interface == Interface::kOpenGL ? "gl" : "cl") + key);
  return found != nullptr ? InWords(*found) : "";
}

// The words where the GPU denies it.
std::string Cannot(const GPU& gpu, const char* key, const char* words) {
  const Value* const found = gpu.Find(key);
  const bool* const flag = found != nullptr ? std::get_if<bool>(&found->value) : nullptr;
  return flag != nullptr && !*flag ? words : "";
}

std::string AdapterOf(const Answer& answer, const GPU& gpu) {
  if (!gpu.adapter) return gpu.software ? "none: this is software" : "";
  const Adapter& adapter = answer.adapters[*gpu.adapter];
  return Joined({adapter.address, adapter.name});
}

std::string AccessOf(const Adapter& adapter) {
  if (adapter.renderNode.empty() || adapter.mayOpen) return adapter.renderNode;
  return adapter.renderNode + (adapter.group.empty() ? " (you may not open it)"
                                                     : " (only group " + adapter.group + " may open it)");
}

// "8086:3ea0"
std::string IDsOf(const Adapter& adapter) {
  if (adapter.vendorID == 0) return "";
  ztutil::ClassicStream out;
  out << std::hex << std::setfill('0') << std::setw(4) << adapter.vendorID << ":" << std::setw(4)
      << adapter.deviceID;
  return out.str();
}

}  // namespace

const char* InWords(Interface interface) { return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"; }

std::string InWords(const Value& value) {
  struct {
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(bool flag) const { return flag ? "1" : "0"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return Significant(number, kReportDigits); }
    std::string operator()(const std::vector<std::int64_t>& numbers) const {
      std::string text;
      for (const std::int64_t number : numbers) text += (text.empty() ? "" : ", ") + std::to_string(number);
      return text;
    }
  } words;
  return std::visit(words, value.value);
}

std::string TopicOf(const std::string& question) {
  const std::size_t tag = question.find("gpu[");
  const std::size_t step =
      FindStep(tag == std::string::npos ? question : question.substr(question.find('.') + 1));
  if (step < Steps().size()) return std::string(Steps()[step].topic);
  return question == "exit" ? std::string(Steps().back().topic) : "";
}

std::string WithTopic(const std::string& question) { return question + Around(" (", TopicOf(question), ")"); }

std::string AnyOf(const std::vector<std::string>& questions) {
  std::string text;
  const std::size_t shown = std::min(questions.size(), kToldQuestions);
  for (std::size_t i = 0; i < shown; ++i) text += (i > 0 ? ", or " : "") + WithTopic(questions[i]);
  if (shown < questions.size()) text += ", or one of " + std::to_string(questions.size() - shown) + " more";
  return text;
}

Facts StoryOf(const Answer& answer) {
  Facts story;
  for (const Run& run : answer.runs) {
    if (!run.asked.empty() && !run.alone) {
      story.emplace_back("Last line", run.lastLine.empty() ? "none" : run.lastLine);
      story.emplace_back("Was being asked", AnyOf(run.asked));
      story.emplace_back("Stood in", run.standsIn);
    }
    for (const std::string& note : run.notes) story.emplace_back("Note", note);
  }
  return story;
}

std::string CommandOf(const Answer& answer) {
  std::string command = answer.prober;
  for (const std::string& argument : answer.arguments) command += " " + argument;
  return command;
}

std::string Fixed(double number, int digits) { return Rounded(number, std::chars_format::fixed, digits); }

std::string Significant(double number, int digits) {
  return Rounded(number, std::chars_format::general, digits);
}

std::string NameOf(const GPU& gpu) {
  return gpu.tag + (gpu.run > 0 ? " of run " + std::to_string(gpu.run) : "");
}

std::string ModelOf(const GPU& gpu) {
  const std::string name = ValueOf(gpu, "Name");
  return name.empty() ? ValueOf(gpu, "Renderer") : name;
}

Facts FactsOf(const Answer& answer, const GPU& gpu) {
  const std::string memory = ValueOf(gpu, "MemoryMB");
  return {{"Renderer", ValueOf(gpu, "Name").empty() ? "" : ValueOf(gpu, "Renderer")},
          {InWords(gpu.interface), Joined({ValueOf(gpu, "Version"), ValueOf(gpu, "DeviceVersion"),
                                           Around("GLSL ", ValueOf(gpu, "ShadingLanguageVersion"))})},
          {"Can't", Joined({Cannot(gpu, "canCompileProgramGLSL", "compile and link a GLSL program"),
                            Cannot(gpu, "glFrameBufferOK", "render to a texture")})},
          {"Memory", memory == "0" ? "" : Around("", memory, " MB")},
          {"Driver",
           Joined({gpu.driver ? answer.drivers[*gpu.driver].manifest : "", ValueOf(gpu, "DriverVersion")})},
          {"Adapter", AdapterOf(answer, gpu)},
          {"Findings", !gpu.failed.empty() ? ""
                       : gpu.complete      ? "complete"
                                           : "incomplete"}};
}

Facts FactsOf(const Adapter& adapter) {
  std::string outputs;
  for (const std::string& output : adapter.outputs) outputs += (outputs.empty() ? "" : " ") + output;
  return {{"Address", adapter.address},
          {"Name", adapter.name},
          {"Ids", IDsOf(adapter)},
          {"Driver", adapter.driver + Around(" ", adapter.driverVersion)},
          {"Memory", adapter.memoryBytes > 0 ? std::to_string(adapter.memoryBytes / kMB) + " MB" : ""},
          {"Power", adapter.asleep ? "asleep" : ""},
          {"Device file", AccessOf(adapter)},
          {"Outputs", outputs}};
}

std::string CompanyOf(const Answer& answer, const Run& run) {
  std::string drivers;
  for (const std::size_t driver : run.drivers) drivers = Joined({drivers, answer.drivers[driver].manifest});
  return run.alone ? Around("with ", drivers, " alone") : "";
}

std::string LibraryOf(const Driver& driver) {
  const bool isMissing = !driver.library.empty() && driver.path.empty();
  return driver.library + (isMissing ? ", which isn't there" : "");
}

std::string BehaviourOf(const Driver& driver) {
  const std::string question = Around(" at ", driver.question);
  const bool wasAsked = driver.behaviour != Behaviour::kSetAside;
  return Joined({InWords(driver.behaviour) + (wasAsked ? question : ""),
                 Around("set aside since ", driver.since), wasAsked ? "" : "misbehaved" + question});
}

std::string Joined(std::initializer_list<std::string> parts) {
  std::string joined;
  for (const std::string& part : parts)
    if (!part.empty()) joined += (joined.empty() ? "" : ", ") + part;
  return joined;
}

std::string Around(const char* before, const std::string& text, const char* behind) {
  return text.empty() ? "" : before + text + behind;
}

}  // namespace gpuprowler
