// What tests need of the system that they run on. linux/ and win/ define it once each, and have the tests of
// what their system alone has.
#ifndef TESTSYSTEM_H_
#define TESTSYSTEM_H_

#include <ztutil/winhandle.h>

#include <array>
#include <cstdint>
#include <string>

// Has the process find its user directory there. Where that can't be done, no test of the program runs.
void UseAsUserDirectory(const std::string& folder);

// Has the process put its temporary files there.
void UseForTemporaryFiles(const std::string& folder);

// The local time zone of the process from now on, as in POSIX's TZ: "IST-5:30".
void SetZone(const char* zone);

// The end to read from and the end to write to; both invalid if there is none to be had.
std::array<ztutil::NativeHandle, 2> MakePipe();

struct Pipe {
  const std::array<ztutil::NativeHandle, 2> raw = MakePipe();
  ztutil::WinHandle in{raw[0], true, nullptr};
  ztutil::WinHandle out{raw[1], true, nullptr};
};

// Makes it the process's standard input.
void UseAsStandardInput(ztutil::NativeHandle handle);

// "own" for what no child process inherits, "inherited", or "closed".
std::string StateOf(ztutil::NativeHandle handle);

// How many processes start within a second, also on a busy machine.
extern const unsigned kStartsAtOnce;

// What the runtime puts in front of the line feed that ends a line of a text file.
extern const char kCarriageReturn[];

// The system's text for a code, and its codes for what they say.
std::string SystemText(std::uint32_t code);
extern const std::uint32_t kNoSuchFile;
extern const std::uint32_t kIsADirectory;
extern const std::uint32_t kBadName;  // one with a NUL in it
extern const std::uint32_t kBadHandle;

#endif  // TESTSYSTEM_H_
