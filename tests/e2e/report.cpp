#include "report.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

namespace {

// A value and the letter behind its key, the form: text, text that's left out when empty, time, yes or no,
// whole number, measurement, list.
const std::regex kForms(
    R"-("\d{4}-\d\d-\d\d_\d\d:\d\d:\d\d":D|".*":T|(".+")?:t|[01]:B|\d+:U|\d+(\.\d+)?(e[+-]\d\d)?:F|\[\d+\]:L)-");

// The steps in their order. A number in brackets belongs to the symbol, whose line stands in front.
constexpr char kBringUp[] =
    "start:t Tester:T prowlerStart:D KGXCoreInitialized:B KGXOGLInitialized:B OGLContextCreated:B "
    "NumGLGPUs:U";
constexpr char kGLTests[] =
    "GLVersion:T IsIntegratedGLGPU:B GLMemoryMB:U GLName:t GLVendor:t GLVendorID:U GLDriverVersion:t "
    "GLRectTextureSize:U GLRenderer:T GLRendererID:U HasGLNPOTSupport:B GLDriver:t GLDriverDate:t "
    "CanCompileProgramGLSL:B GLFrameBufferOK:B glGetString[GL_SHADING_LANGUAGE_VERSION=35724]:T "
    "glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB=34820][GL_MAX_PROGRAM_INSTRUCTIONS_ARB=34977]:L "
    "glGetIntegerv[GL_MAX_TEXTURE_UNITS=34018]:L glGetIntegerv[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS=35661]:L "
    "glGetIntegerv[GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS=35660]:L "
    "glGetIntegerv[GL_MAX_TEXTURE_IMAGE_UNITS=34930]:L "
    "glGetIntegerv[GL_MAX_DRAW_BUFFERS=34852]:L glGetIntegerv[GL_MAX_VERTEX_UNIFORM_COMPONENTS=35658]:L "
    "glGetIntegerv[GL_MAX_FRAGMENT_UNIFORM_COMPONENTS=35657]:L glGetIntegerv[GL_MAX_VARYING_FLOATS=35659]:L "
    "glGetIntegerv[GL_MAX_VERTEX_ATTRIBS=34921]:L extension[KGX::OGL::GL_ARB_VERTEX_PROGRAM=69]:B "
    "extension[KGX::OGL::GL_ARB_FRAGMENT_PROGRAM=27]:B extension[KGX::OGL::GL_ARB_VERTEX_SHADER=70]:B "
    "extension[KGX::OGL::GL_ARB_FRAGMENT_SHADER=28]:B extension[KGX::OGL::GL_EXT_FRAMEBUFFER_OBJECT=81]:B "
    "extension[KGX::OGL::GL_ARB_TEXTURE_RECTANGLE=58]:B extension[KGX::OGL::GL_ARB_TEXTURE_FLOAT=53]:B "
    "extension[KGX::OGL::GL_ARB_OCCLUSION_QUERY=37]:B extension[KGX::OGL::GL_ARB_VERTEX_BUFFER_OBJECT=68]:B "
    "extension[KGX::OGL::GL_ARB_SHADER_TEXTURE_LOD=47]:B";
constexpr char kCLTests[] =
    "CLPlatformVersion:T CLDeviceVersion:T IsIntegratedCLGPU:B CLMemoryMB:U CLName:t CLVendor:t CLVendorID:U "
    "CLDriverVersion:t CUDASupported:B CUDAVersion:t CLBandwidth:F CLCompute:F";

// Takes a report apart from its first line on.
class Walk {
 public:
  explicit Walk(const Texts& report) : fNext(report.begin()), fEnd(report.end()) {}

  // Each step on all of the GPUs.
  void Add(const Texts& gpus, const std::string& steps) {
    static const std::regex symbol("\\[([^=\\]]+=\\d+)\\]");
    for (const std::string& word : Words(steps)) {
      for (const std::string& gpu : gpus) {
        const std::string key = std::regex_replace(word.substr(0, word.size() - 2), std::regex("=\\d+"), "");
        Step step{gpu, gpu + (gpu.empty() ? "" : ".") + key, key.find("glGetString") != 0, {}};
        for (std::sregex_iterator at(word.begin(), word.end(), symbol), end; at != end; ++at)
          EXPECT_TRUE(Take("gputag." + at->str(1), step)) << at->str() << " isn't there";
        const bool found = Take(step.key + "=", step);
        const std::string value = found ? step.lines.back().substr(step.key.size() + 1) : "";
        EXPECT_TRUE(std::regex_match(value + word.substr(word.size() - 2), kForms))
            << step.key << " is " << value;
        fSteps.push_back(step);
      }
    }
  }

  // "glgpu[0]" and so on, as many as the latest line tells.
  Texts GPUs(const std::string& word) const {
    Texts gpus;
    const Texts& lines = fSteps.back().lines;
    for (char index = '0'; !lines.empty() && index < lines[0].back(); ++index)
      gpus.push_back(word + "[" + index + "]");
    return gpus;
  }

  bool Begins(const std::string& beginning) const {
    return fNext != fEnd && fNext->compare(0, beginning.size(), beginning) == 0;
  }

  std::vector<Step> fSteps;

 private:
  bool Take(const std::string& beginning, Step& step) {
    if (!Begins(beginning)) return false;
    step.lines.push_back(*fNext++);
    return true;
  }

  Texts::const_iterator fNext;
  const Texts::const_iterator fEnd;
};

}  // namespace

std::vector<Step> StepsOf(const Texts& report) {
  Walk walk(report);
  walk.Add({""}, kBringUp);
  walk.Add(walk.GPUs("glgpu"), kGLTests);
  if (walk.Begins("NumCLGPUs=")) {
    walk.Add({""}, "NumCLGPUs:U");
    walk.Add(walk.GPUs("clgpu"), kCLTests);
  }
  walk.Add({""}, "NumNativeGPUs:U prowlerEnd:D end:t");
  EXPECT_FALSE(walk.Begins("")) << "a line doesn't stand where it belongs";
  return walk.fSteps;
}

Outcome RunWithFault(const std::string& fault, const Texts& arguments) {
  return RunProber(Drivers({{"RIG_FAULT", fault}}), arguments);
}

const Outcome& CleanRun() {
  static const Outcome outcome = RunWithFault("");
  return outcome;
}

const std::vector<Step>& CleanSteps() {
  static const std::vector<Step> steps = StepsOf(CleanRun().lines);
  return steps;
}

Failure NoFailure(const Step&, unsigned) { return {}; }

Failures FailureIn(const std::string& key, const Failure& failure) {
  return [=](const Step& step, unsigned) { return step.key == key ? failure : Failure{}; };
}

Outcome Foretell(const std::vector<Step>& steps, const Failures& failures) {
  Outcome outcome{{}, "", "", "status 0"};
  std::set<std::string> terminated;
  unsigned count = 0;
  for (const Step& step : steps) {
    if (terminated.count(step.gpu) > 0) continue;
    const Failure failure = failures(step, count);
    count += step.counts;
    const bool failed = !failure.errors.empty();
    const std::size_t kept = failed ? std::min(failure.keptLines, step.lines.size()) : step.lines.size();
    std::copy_n(step.lines.begin(), kept, std::back_inserter(outcome.lines));
    if (!failed) continue;
    outcome.errors += failure.errors;
    outcome.ending = "status 2";
    if (step.gpu.empty()) break;
    terminated.insert(step.gpu);
  }
  return outcome;
}

const Texts& TracedRun() {
  static const Texts lines = RunProber(Drivers({{"RIG_TRACE", "/dev/stdout"}})).lines;
  return lines;
}

bool IsCall(const std::string& line) { return line.find('=') == std::string::npos; }

std::string FaultIn(const std::string& key, const std::string& fault) {
  const std::size_t mark = fault.find('#');
  if (mark == std::string::npos) return fault;
  std::size_t linesBefore = 0;
  for (auto step = CleanSteps().begin(); step != CleanSteps().end() && step->key != key; ++step)
    linesBefore += step->lines.size();
  const std::string function = fault.substr(0, mark);
  int call = std::stoi(fault.substr(mark + 1));
  for (auto line = TracedRun().begin(); linesBefore > 0; ++line) {
    linesBefore -= !IsCall(*line);
    call += *line == function;
  }
  return function + "@" + std::to_string(call) + fault.substr(fault.find('='));
}

std::string KeyOf(const std::string& line) { return line.substr(0, line.find('=')); }

std::string ValueOf(const Outcome& outcome, const std::string& key) {
  for (const std::string& line : outcome.lines)
    if (KeyOf(line) == key) return line.substr(std::min(key.size() + 1, line.size()));
  return "none";
}

Texts WithoutComments(Texts lines) {
  const auto isComment = [](const std::string& line) { return line.compare(0, 2, "# ") == 0; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), isComment), lines.end());
  return lines;
}

Texts Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}
