// What the prober asks, and in which order.
#ifndef GPUPROWLER_STEPS_H_
#define GPUPROWLER_STEPS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace gpuprowler {

// Whom a step asks: the machine once, or each GPU of a kind.
enum class Scope { kRun, kGLGPU, kCLGPU };

// What an answer looks like behind its equals sign.
enum class Form {
  kFlag,    // 0 or 1
  kNumber,  // decimal
  kReal,
  kText,  // between double quotes
  kList,  // [8], of whole numbers
};

struct Step {
  Scope scope;
  Form form;
  std::string_view key;    // of the answer; empty for the last step, which has none
  std::string_view topic;  // in words; empty where the key says it
  bool optional = false;   // there may be no answer, though nothing has failed

  // Whether it has only the bound of the whole, and is left out where measuring isn't wanted.
  bool IsMeasurement() const;

  // The key as one word: "glMaxDrawBuffers" for "glGetIntegerv[GL_MAX_DRAW_BUFFERS]".
  std::string PlainKey() const;
};

// All of them. A step asks all GPUs of its kind, one after the other, before the next step begins.
const std::vector<Step>& Steps();

// The place in Steps() of the step whose answer has that key; Steps().size() if there is none.
std::size_t FindStep(std::string_view key);

// A step as one GPU meets it.
struct Question {
  std::size_t step;  // in Steps()
  unsigned gpu;      // its number; 0 for Scope::kRun

  const Step& GetStep() const { return Steps()[step]; }

  // "glgpu[0]"; empty for Scope::kRun.
  std::string Tag() const;

  // What the line begins with that would answer it: "glgpu[0].GLVersion", "NumGLGPUs". "exit" for the last.
  std::string Name() const;
};

// By their order in a run.
bool operator<(const Question& left, const Question& right);

}  // namespace gpuprowler

#endif  // GPUPROWLER_STEPS_H_
