// What a run needs of the operating system. Each platform's folder defines it once.
#ifndef GPUPROWLER_RUNPLATFORM_H_
#define GPUPROWLER_RUNPLATFORM_H_

#include <cstdint>
#include <string>

namespace gpuprowler::platform {

// The prober in the folder of this process's program; its bare name, which is looked for on PATH, where there
// is none.
std::string DefaultProber();

// A path as LaunchParams takes a program, whatever bytes or blanks are in it.
std::wstring LaunchText(const std::string& path);

// Whether that child of this process is stopped, by a shell's job control or a debugger. False where the
// system doesn't tell.
bool IsStopped(std::uint32_t processID);

// The function, and the library it is of, in which that child's first thread stands: "clFinish of libx.so, in
// poll of libc.so.6". "not known: " and why, where the build or the system doesn't let it be told. The child
// is stopped for a moment; this takes 2 seconds at most.
std::string WhereItStands(std::uint32_t processID);

}  // namespace gpuprowler::platform

#endif  // GPUPROWLER_RUNPLATFORM_H_
