// Child processes by CreateProcessW.
#ifndef ZTUTIL_LAUNCHERWIN_H_
#define ZTUTIL_LAUNCHERWIN_H_

#include "process/launcherruns.h"

#include <ztutil/launcher.h>

namespace ztutil {

// Program and arguments become one command line (commandline.h), which a NUL in one of them ends. The child's
// console window stays hidden.
//
// An exit code of 256 or above counts as a crash, or as killed after a Kill: a program that ends itself with
// such a code can't be told from one that an exception has ended. What was killed has the code 257.
//
// Each launch keeps two handles, its process's and that process's first thread's, until this process ends. So
// a Wait or a Kill means the same process however late it comes.
class LauncherWin : public Launcher {
 public:
  LauncherWin();
  ~LauncherWin() override;

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
  struct Run;

  LauncherRuns<Run> fRuns;
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHERWIN_H_
