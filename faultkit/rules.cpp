#include "rules.h"

#include "calls.h"
#include "settings.h"

#include <map>

namespace rig {
namespace {

enum class Argument { kNone, kNumber, kText };

const std::map<std::string, Argument> kActions = {
    {"segv", Argument::kNone},   {"abort", Argument::kNone}, {"hang", Argument::kNone},
    {"exit", Argument::kNumber}, {"ret", Argument::kNumber}, {"sleep", Argument::kNumber},
    {"fail", Argument::kNumber}, {"err", Argument::kNumber}, {"say", Argument::kText},
    {"warn", Argument::kText},   {"text", Argument::kText},
};

const std::set<std::string> kTextCalls = {"eglQueryDeviceStringEXT", "eglQueryString", "glGetString",
                                          "glGetStringi"};

Rule ParseRule(const char* source, const std::string& text) {
  const auto [place, effect] = Halve(text, '=');
  const auto [call, count] = Halve(place, '@');
  const auto [name, argument] = Halve(effect, ':');
  Rule rule{call, 0, name, argument};
  if (WrappedCalls().count(call) == 0) Refuse(source, text, "no call of this name can be made to fail");
  if (call != place) {
    const long long number = ParseNumber(source, count);
    if (number < 1) Refuse(source, text, "calls are counted from 1");
    rule.fCount = static_cast<unsigned long>(number);
  }
  const auto action = kActions.find(name);
  if (action == kActions.end()) Refuse(source, text, "no such action");
  if (action->second == Argument::kNumber) rule.fNumber = ParseNumber(source, argument);
  if (action->second == Argument::kNone && name != effect)
    Refuse(source, text, "this action takes no argument");
  if (name == "text" && kTextCalls.count(call) == 0) Refuse(source, text, "this call gives no text");
  if (name == "err" && call.compare(0, 2, "gl") != 0) Refuse(source, text, "this isn't a call of OpenGL");
  return rule;
}

}  // namespace

const std::set<std::string>& WrappedCalls() {
#define RIG_NAME(call, form) #call,
  static const std::set<std::string> calls = {"__egl_Main", "eglGetPlatformDisplay",
                                              RIG_EGL_CALLS(RIG_NAME) RIG_GL_CALLS(RIG_NAME)
                                                  RIG_CL_CALLS(RIG_NAME)};
#undef RIG_NAME
  return calls;
}

std::vector<Rule> ParseRules(const char* source, const std::string& text) {
  std::vector<Rule> rules;
  for (const std::string& rule : Split(text, ';')) rules.push_back(ParseRule(source, rule));
  return rules;
}

}  // namespace rig
