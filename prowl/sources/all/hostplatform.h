// What prowl needs of the operating system. Each platform's folder defines it once.
#ifndef PROWL_HOSTPLATFORM_H_
#define PROWL_HOSTPLATFORM_H_

#include <string>

namespace prowl::platform {

// The prober in the folder of this program. Its bare name if the system doesn't tell that folder.
std::string ProberBesideUs();

// A path as LaunchParams takes a program, whatever bytes or blanks are in it.
std::wstring LaunchText(const std::string& path);

// Undoes what a parent can have left to us and would keep us from seeing how a child ends.
void PrepareHostProcess();

// A text of lines as this system's programs write one.
std::string WithLineEnds(const std::string& text);

// Whether somebody looks at standard error.
bool IsErrorTerminal();

// From here on what asks this process to end, such as Ctrl-C, a terminal that goes away or the end of the
// session, only makes WasInterrupted true and wakes up; with the second, it ends the process again. What was
// ignored stays so.
void HoldInterrupts();
void ReleaseInterrupts();
bool WasInterrupted();

// Waits at most that many seconds, until somebody wakes up, or has done so since the last call. One thread
// waits, any wakes up.
void WaitForWakeUp(double seconds);
void WakeUp();

// Whether a child of this process is stopped, by a shell's job control or a debugger. False where the system
// doesn't tell.
bool IsChildStopped();

}  // namespace prowl::platform

#endif  // PROWL_HOSTPLATFORM_H_
