#include "calltable.h"

#include <regex>

namespace {

// The rig tells each call, on standard output. GL tells memory in kilobytes.
const Environment kAnswers = {
    {"RIG_CALLS", "/dev/stdout"},
    {"RIG_GL_INFO",
     "0x1F00=Vendor 1;0x1F01=Renderer 2;0x8B8C=Language 3;0x84F8=#4;0x88A1=#5;0x84E2=#6;0x8B4D=#7;0x8B4C=#8;"
     "0x8872=#9;0x8824=#10;0x8B4A=#11;0x8B49=#12;0x8B4B=#13;0x8869=#14;0x87FC=#20971520"},
    {"RIG_CL_INFO",
     "0x0901=OpenCL 15 CUDA 16;0x102F=OpenCL 17;0x1035=#1;0x101F=##18874368;0x102B=Name 19;0x102C=Vendor 20;"
     "0x1001=#21;0x102D=22"}};

constexpr std::size_t kWidth = 124;
constexpr std::size_t kLongestLoop = 2;

std::string Masked(std::string line) {
  static const std::pair<std::regex, const char*> masks[] = {
      {std::regex("\"\\d{4}-\\d\\d-\\d\\d_\\d\\d:\\d\\d:\\d\\d\""), "TIME"},
      {std::regex("^# \\d{5}_\\S+\\[\\w+\\]"), "#"},
      {std::regex("duration=\\S+"), "duration=SECONDS"},
      {std::regex("SharedSystemMemory=\\d+"), "SharedSystemMemory=BYTES"},
      {std::regex("installedRam(\\w*)=\\d+"), "installedRam$1=BYTES"},
  };
  for (const auto& [pattern, mask] : masks) line = std::regex_replace(line, pattern, mask);
  return line;
}

// The call as it is made again: with the event after its own, if it has one.
std::string Again(const std::string& call) {
  static const std::regex event("event(\\d+)");
  std::smatch found;
  if (!std::regex_search(call, found, event)) return call;
  return found.prefix().str() + "event" + std::to_string(std::stoi(found[1]) + 1) + found.suffix().str();
}

// How many times the calls [at, at + length) stand there, one time behind the other.
std::size_t Turns(const Texts& calls, std::size_t at, std::size_t length) {
  std::size_t next = at + length;
  while (next < calls.size() && Again(calls[next - length]) == calls[next]) ++next;
  return (next - at) / length;
}

Texts Folded(const Texts& calls) {
  Texts folded;
  for (std::size_t at = 0; at < calls.size();) {
    std::size_t length = 1;
    while (length < kLongestLoop && Turns(calls, at, length) == 1 && at + length < calls.size()) ++length;
    const std::size_t turns = Turns(calls, at, length);
    if (turns == 1) {
      folded.push_back(calls[at++]);
      continue;
    }
    std::string loop;
    for (std::size_t i = 0; i < length; ++i) loop += (i == 0 ? "" : "; ") + calls[at + i];
    folded.push_back(std::to_string(turns) + " times {" + loop + "}");
    at += turns * length;
  }
  return folded;
}

// Calls side by side, as many as a line holds.
std::string Flowed(const Texts& calls) {
  std::string text, line;
  for (const std::string& call : Folded(calls)) {
    if (!line.empty() && line.size() + call.size() + 2 > kWidth) text += std::exchange(line, "") + ";\n";
    line += (line.empty() ? "  " : "; ") + call;
  }
  return line.empty() ? text : text + line + "\n";
}

}  // namespace

std::string CallTable(Environment environment, const Texts& arguments) {
  for (const auto& [name, value] : kAnswers) environment[name] = value;
  const Outcome outcome = RunProber(environment, arguments);
  std::string text;
  Texts calls;
  for (const std::string& line : outcome.lines) {
    if (line.compare(0, 2, "  ") == 0) {
      calls.push_back(line.substr(2));
      continue;
    }
    text += Flowed(std::exchange(calls, {})) + Masked(line) + "\n";
  }
  return text + Flowed(calls) + "[stderr]\n" + outcome.errors + "[" + outcome.ending + "]\n";
}
