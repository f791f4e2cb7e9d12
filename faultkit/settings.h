// How the faulty drivers read their environment variables. A variable that can't be understood ends the
// process, since a test whose fault was misspelt would otherwise pass for the wrong reason.

#ifndef RIG_SETTINGS_H
#define RIG_SETTINGS_H

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace rig {

// Empty if the variable isn't set.
std::string Setting(const char* variable);

// The parts between separators. Empty parts are left out, so that a separator may also stand at the end.
std::vector<std::string> Split(const std::string& text, char separator);

// What stands before and behind the first separator; without one the whole text, and nothing.
std::pair<std::string, std::string> Halve(const std::string& text, char separator);

// A whole number as C++ writes one, with an optional sign. Refuses another text as a part of `source`.
long long ParseNumber(const char* source, const std::string& text);

// The bytes of a number as a driver gives them.
template <class Number>
std::string BytesOf(Number number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

// What a driver is to answer, by the number of the question, from a text of the form "NAME=VALUE;...". NAME
// is a number or a constant of the interface with that prefix (see constants.h), VALUE a text, which gets its
// NUL, "#NUMBER" as 32 bits or "##NUMBER" as 64. Refuses what can't be understood as a part of `source`.
std::map<unsigned, std::string> ParseAnswers(const char* source, const std::string& text, const char* prefix);

// The exit code of a process that Refuse ends.
constexpr int kRefused = 97;

// Says on stderr which part of what is refused and why, and ends the process with kRefused. `source` is
// the variable or the option, or else the call that the rig itself can't do without. Neither destructors nor
// exit handlers run.
[[noreturn]] void Refuse(const char* source, const std::string& part, const std::string& why);

}  // namespace rig

#endif
