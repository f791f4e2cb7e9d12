// What the library needs of the operating system, as plain functions. Each platform's folder defines them
// once.
#ifndef ZTUTIL_PLATFORM_H_
#define ZTUTIL_PLATFORM_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace ztutil::platform {

// A counter that never goes back, and how many of its counts make a second. Any thread.
std::int64_t MonotonicCounter();
std::int64_t MonotonicFrequency();

// Microseconds since 1970-01-01 00:00:00 UTC. Any thread.
std::int64_t UTCMicroseconds();

// Seconds that local time is ahead of UTC right now; negative west of Greenwich. Any thread.
std::int64_t LocalOffsetSeconds();

// The directory of the user's own settings and logs: the parent of the desktop folder. An empty text, which
// stands for the current directory, where there is none. Any thread.
std::string UserDirectory();

// Opens a regular file for reading, in text mode, while others may read and write it; null for anything else,
// and without waiting for a pipe's other end. The caller closes it.
std::FILE* OpenRegularFile(const std::string& path);

// Opens a file for adding to its end, in text mode, while others may read and write it and, where the system
// allows that, remove it; makes it if there is none. Null on failure, and where somebody may have meant us to
// write to another file: nothing is added through a link, and, where files have such, to one that has a
// second name, is no regular file, or is neither ours nor that of its folder's owner. The caller closes it.
// No child process inherits either file.
std::FILE* OpenForAppending(const std::string& path);

// Shows the calling thread's name to debuggers and to the system. Of a name for which the system has no room
// it shows what stands in the brackets at its end, if there is anything, and cuts that between characters.
void NameThreadForDebugger(const std::string& name);

// Hands a text to the process's debugger, up to its first NUL.
void DebugString(const std::string& text);

// The machine's physical memory in bytes; 0 if the system doesn't tell.
std::uint64_t InstalledRAM();

// Writes to the stream's file past what the stream holds, which is to be flushed before, and gives how many
// of the bytes got there. Nobody else's use of the stream comes between them. What can't tell how far it got,
// a failure on Windows or a stream on memory, gives all but one. On Linux a file that doesn't block is
// waited for, and a signal is no failure.
std::size_t WriteToFile(std::FILE* stream, const char* bytes, std::size_t n);

// Takes back what has been written to the stream and not reached the system, and clears its error, so that
// the next write starts afresh. To be called when a flush has failed.
void PurgeStream(std::FILE* stream);

}  // namespace ztutil::platform

#endif  // ZTUTIL_PLATFORM_H_
