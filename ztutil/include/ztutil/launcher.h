// How a child process is made, awaited and killed: the seam between ConsoleApp and the operating system. A
// host launches by consoleappaccessor.h, and is here for DescribeRawEnd, or to put a launcher of its own
// behind a ConsoleApp.
#ifndef ZTUTIL_LAUNCHER_H_
#define ZTUTIL_LAUNCHER_H_

#include "channel.h"

#include <boost/shared_ptr.hpp>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace ztutil {

// This side's ends of a child's pipes, each closed with its last owner.
struct LaunchResult {
  boost::shared_ptr<Writer> fStdin;
  // By TaskID: 1 is standard output, 2 standard error; 0 stays empty.
  std::array<boost::shared_ptr<Reader>, 3> fAppOutput;
};

// Variables of a child's environment that aren't as this process has them, by name: their values, or nothing
// for those that the child is not to have. On Linux both are bytes, on Windows UTF-8, and there a name's case
// doesn't count.
using EnvironmentChanges = std::map<std::string, std::optional<std::string>>;

// Runs one child after another. Launch and Wait are called on the thread of their run, Kill on any thread,
// also while Wait waits. A launcher may be needed for the next run while the thread of an earlier one is
// still at work: Wait and Kill mean the run that the calling thread has launched itself, and on a thread that
// has launched none the last one.
class Launcher {
 public:
  // Doesn't touch a child that still runs.
  virtual ~Launcher() = default;

  // Starts a program with its three standard streams on pipes, and this process's environment and working
  // directory. On Linux it inherits nothing else; on Windows it does inherit those handles of the host's that
  // are marked for it. Throws std::runtime_error, and then there is no child: "CreatePipe failed",
  // "SetHandleInformation failed" or "CreateProcessW failed".
  virtual LaunchResult Launch(const std::wstring& program, const std::deque<std::string>& arguments) = 0;

  // Waits for the child's end, without a bound. 0 if it ended by itself, and only then the exit code is set;
  // 1 if it crashed, 2 if it was killed by Kill. The pointer is never null. Throws std::runtime_error with
  // "WaitForSingleObject failed" or "GetExitCodeProcess failed".
  virtual std::int32_t Wait(std::int32_t* exitCode) = 0;

  // Asks for the child's end and doesn't wait for it. A child that has already ended is no error; a run that
  // has no child, not yet or because its Launch has failed, throws std::runtime_error with "TerminateProcess
  // failed", and isn't affected.
  virtual void Kill() = 0;

  // How the last child that was waited for has ended, as the system tells it: POSIX's wait status, or the
  // full 32-bit exit code. Nothing before the first; a run that ends after a later Launch doesn't count. Any
  // thread may call.
  virtual std::optional<std::uint32_t> GetRawEnd() const = 0;

  // As Launch, and the child is killed when this process ends, however that happens; what the child has
  // started itself is not. On Linux it also goes with the calling thread, which is to stay until Wait has
  // returned, and a program that gains rights by being started (setuid) outlives both.
  virtual LaunchResult LaunchToEndWithHost(const std::wstring& program,
                                           const std::deque<std::string>& arguments) = 0;

  // Tells that nobody is going to wait for the calling thread's child. Where the system keeps what is left of
  // a child until somebody has waited, that goes when the child ends.
  virtual void GiveUp() = 0;

  // The last launch's child, as the system numbers it; 0 if there is none. Any thread may call.
  virtual std::uint32_t GetProcessID() const = 0;

  // Why the last launch has failed, in the system's words such as "No such file or directory"; empty if it
  // hasn't, or the system isn't to blame. Any thread may call.
  virtual std::string GetStartError() const = 0;

  // As LaunchToEndWithHost, or else as Launch, with those changes to the child's environment alone: a program
  // is still looked for on this process's PATH. "CreateProcessW failed" also for a variable that can't be: no
  // name, an equals sign in the name, or a NUL. A launcher that doesn't know how refuses all changes.
  virtual LaunchResult LaunchWithEnvironment(const std::wstring& program,
                                             const std::deque<std::string>& arguments,
                                             const EnvironmentChanges& changes, bool endsWithHost) {
    if (!changes.empty()) throw std::runtime_error("CreateProcessW failed");
    return endsWithHost ? LaunchToEndWithHost(program, arguments) : Launch(program, arguments);
  }
};

// This platform's launcher.
boost::shared_ptr<Launcher> CreateLauncher();

// What GetRawEnd gives, in words such as "exit status 3", "signal 11 (SIGSEGV)" or "exception 0xC0000005".
std::string DescribeRawEnd(std::uint32_t rawEnd);

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHER_H_
