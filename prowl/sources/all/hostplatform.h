// What prowl needs of the operating system. Each platform's folder defines it once.
#ifndef PROWL_HOSTPLATFORM_H_
#define PROWL_HOSTPLATFORM_H_

#include <string>

namespace prowl::platform {

// Undoes what a parent can have left to us and would keep us from seeing how a child ends.
void PrepareHostProcess();

// A word of the command line as UTF-8.
std::string UTF8FromArgument(const std::string& argument);

// A text of lines as this system's programs write one.
std::string WithLineEnds(const std::string& text);

// Whether somebody looks at standard error.
bool IsErrorTerminal();

// From here on what asks this process to end, such as Ctrl-C, a terminal that goes away or the end of the
// session, only makes WasInterrupted true; with the second, it ends the process again. What was ignored stays
// so.
void HoldInterrupts();
void ReleaseInterrupts();
bool WasInterrupted();

}  // namespace prowl::platform

#endif  // PROWL_HOSTPLATFORM_H_
