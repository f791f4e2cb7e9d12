// Where a program learns that a requirement inside the library is broken: two hooks, its own if it sets them.
// Any thread may set, get and call them.
#ifndef ZTUTIL_FAILUREHOOK_H_
#define ZTUTIL_FAILUREHOOK_H_

#include <string>

// Called for a broken requirement: where, what, and whether the caller can't go on. A hook that returns all
// the same lets it go on at its own risk.
using FailureHook = void (*)(const char* file, int line, const char* message, bool fatal);

// The file, compared as a pointer, of a requirement whose place isn't told.
extern const char kNullFile[];

// Replaces the hook of the process, null meaning the default one, and gives back the old one. The default
// gives the text to the message hook and, when fatal, throws std::runtime_error with it.
FailureHook SetFailureHook(FailureHook hook);
FailureHook GetFailureHook();

// Called by the default failure hook to show its text.
using MessageHook = void (*)(const std::string& text);

// As with the failure hook. The default writes a line on standard error and never throws.
MessageHook SetMessageHook(MessageHook hook);
MessageHook GetMessageHook();

// Says through the failure hook that a requirement is broken, and is fatal.
void FailRequirement(const char* message);

#endif  // ZTUTIL_FAILUREHOOK_H_
