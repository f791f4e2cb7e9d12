// How the faulty drivers read their environment variables. A variable that can't be understood ends the
// process, since a test whose fault was misspelt would otherwise pass for the wrong reason.

#ifndef RIG_SETTINGS_H
#define RIG_SETTINGS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rig {

// Exit code of a process that the rig has ended itself. Not one that a fault gives by accident.
constexpr int kRefusedExitCode = 97;

// Empty if the variable isn't set.
std::string Setting(const char* variable);

// The parts between separators. Empty parts are left out, so that a separator may also stand at the end.
std::vector<std::string> Split(const std::string& text, char separator);

// What stands before and behind the first separator; nothing if there is none.
std::optional<std::pair<std::string, std::string>> Halve(const std::string& text, char separator);

// Decimal, or hexadecimal after "0x", with an optional sign; nothing unless the whole text is one number that
// fits.
std::optional<long long> ParseNumber(const std::string& text);

// Writes the text and a line end with one write to the descriptor, past all buffers of the process.
// False if not all of it could be written.
bool WriteLine(int descriptor, const std::string& text);

// Says on stderr which part of what is refused and why, and ends the process with kRefusedExitCode. `source`
// is the variable, or else the call that the rig itself can't do without. Neither destructors nor exit
// handlers run.
[[noreturn]] void Refuse(const char* source, const std::string& part, const std::string& why);

}  // namespace rig

#endif
