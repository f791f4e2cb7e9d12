// What the child needs of the operating system. Descriptors are 0, 1 and 2.

#ifndef RIG_CHILDSYSTEM_H
#define RIG_CHILDSYSTEM_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace rig {

// Before anything is read or written: the streams carry bytes as they are.
void PrepareStreams();

// One call of the system each; 0 at the end of the data, and if nothing could be written.
std::size_t ReadSome(void* buf, std::size_t n);
std::size_t WriteSome(int descriptor, const void* buf, std::size_t n);

void CloseStream(int descriptor);

// The whole code where the system keeps it. Neither destructors nor exit handlers run.
[[noreturn]] void EndProcess(std::uint32_t code);

// Comes back if the signal doesn't end the process, or there is no such thing here.
void RaiseSignal(int number);

// Starts this program again with that one action and the same streams, and doesn't wait for it.
bool StartGrandchild(const char* program, const std::string& action);

// What the system handed to this process: each argument and a NUL, the program's first; or the one line of
// text, in UTF-16.
std::string RawCommandLine(int argc, char** argv);

// The numbers of all open descriptors, each behind a blank; empty where there is no such thing.
std::string OpenDescriptors();

}  // namespace rig

#endif
