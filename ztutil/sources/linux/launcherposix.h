// Child processes by clone and execve.
#ifndef ZTUTIL_LAUNCHERPOSIX_H_
#define ZTUTIL_LAUNCHERPOSIX_H_

#include "process/launcherruns.h"

#include <ztutil/launcher.h>

namespace ztutil {

// The program's path is wide text for UTF-8 (widetext.h), looked for on PATH when it holds no slash, and is
// also the child's first argument. The others reach the child byte for byte; a NUL in one of them is
// "CreateProcessW failed". The child starts with no signal blocked, and with SIGPIPE and SIGCHLD as they are
// by default.
//
// A child that nobody waits for is given up by GiveUp, at a later Launch, or with the launcher: from then on
// a thread stays to reap it at its end. Where the host has others reap its children, by ignoring SIGCHLD or
// in a wait of its own for any child, Wait throws.
class LauncherPosix : public Launcher {
 public:
  LauncherPosix();
  ~LauncherPosix() override;

  LaunchResult Launch(const std::wstring& program, const std::deque<std::string>& arguments) override;
  std::int32_t Wait(std::int32_t* exitCode) override;
  void Kill() override;
  std::optional<std::uint32_t> GetRawEnd() const override;
  LaunchResult LaunchToEndWithHost(const std::wstring& program,
                                   const std::deque<std::string>& arguments) override;
  void GiveUp() override;
  std::uint32_t GetProcessID() const override;
  std::string GetStartError() const override;
  LaunchResult LaunchWithEnvironment(const std::wstring& program, const std::deque<std::string>& arguments,
                                     const EnvironmentChanges& changes, bool endsWithHost) override;

 private:
  class Run;

  LauncherRuns<Run> fRuns;
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHERPOSIX_H_
