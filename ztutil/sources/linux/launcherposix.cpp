#include "launcherposix.h"

#include "fmt.h"
#include "retry.h"
#include "widetext.h"
#include "winhandle.h"
#include "ztlogging.h"

#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <mutex>
#include <vector>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};
DebugFlag gBinioLog{"BINIO_LOG"};

using Lock = std::lock_guard<std::mutex>;

constexpr int kFirstFreeDescriptor = STDERR_FILENO + 1;

// The text is that of the same failure on every system; what this system says of it goes to the log.
[[noreturn]] void Fail(const char* text, const char* call, int error) {
  ZT_LOG(gConsoleAppLog, text << ": " << WinErrorText(call, static_cast<std::uint32_t>(error)));
  throw std::runtime_error(text);
}

// --- Children that nobody waits for ------------------------------------------------------------------------

class Orphans {
 public:
  // Never destroyed: an abandoned thread may outlive the statics.
  static Orphans& Get() {
    static auto* const orphans = new Orphans;
    return *orphans;
  }

  void Adopt(pid_t pid) {
    {
      const Lock lock(fMutex);
      fPids.push_back(pid);
    }
    Bury();
  }

  // Reaps those that have ended.
  void Bury() {
    const Lock lock(fMutex);
    const auto hasGone = [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; };
    fPids.erase(std::remove_if(fPids.begin(), fPids.end(), hasGone), fPids.end());
  }

 private:
  std::mutex fMutex;  // leaf
  std::vector<pid_t> fPids;
};

// --- Pipes -------------------------------------------------------------------------------------------------

struct PipeEnd {
  void Own(int descriptor) {
    fDescriptor = descriptor;
    fHandle->Reset(descriptor, true, nullptr);
  }

  // Ends land among the standard streams where the host has closed some of these. There the child's would
  // overwrite each other, and what the host writes to a stream would go into a pipe.
  void Lift() {
    if (fDescriptor >= kFirstFreeDescriptor) return;
    const int lifted = fcntl(fDescriptor, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
    if (lifted == -1) Fail("CreatePipe failed", "fcntl", errno);
    Own(lifted);
  }

  boost::shared_ptr<WinHandle> fHandle = boost::make_shared<WinHandle>(kInvalidHandle, false, nullptr);
  int fDescriptor = -1;
};

struct Pipe {
  explicit Pipe(const char* name) {
    int ends[2];
    // Inheritable at no moment, or a child that another thread starts would keep the pipe open.
    if (pipe2(ends, O_CLOEXEC) != 0) Fail("CreatePipe failed", "pipe2", errno);
    fRead.Own(ends[0]);
    fWrite.Own(ends[1]);
    fRead.Lift();
    fWrite.Lift();
    ZT_LOG(gBinioLog, name << "Rd=" << Shown(fRead) << " " << name << "Wr=" << Shown(fWrite));
  }

  static std::string Shown(const PipeEnd& end) {
    return FmtPointer(reinterpret_cast<const void*>(NativeHandle{end.fDescriptor}));
  }

  PipeEnd fRead;
  PipeEnd fWrite;
};

// --- Spawning ----------------------------------------------------------------------------------------------

void RequireSpawn(const char* call, int error) {
  if (error != 0) Fail("CreateProcessW failed", call, error);
}

struct FileActions {
  FileActions() { RequireSpawn("posix_spawn_file_actions_init", posix_spawn_file_actions_init(&fActions)); }
  ~FileActions() { posix_spawn_file_actions_destroy(&fActions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  posix_spawn_file_actions_t fActions;
};

struct SpawnAttributes {
  SpawnAttributes() { RequireSpawn("posix_spawnattr_init", posix_spawnattr_init(&fAttributes)); }
  ~SpawnAttributes() { posix_spawnattr_destroy(&fAttributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  posix_spawnattr_t fAttributes;
};

char* Argument(const std::string& text) {
  // The child would see what stands in front of the NUL.
  if (text.find('\0') != std::string::npos) RequireSpawn("posix_spawnp", EINVAL);
  return const_cast<char*>(text.c_str());
}

// Starts the child with those descriptors as its standard streams.
pid_t Spawn(const std::string& program, const std::deque<std::string>& arguments, const int (&streams)[3]) {
  FileActions files;
  for (int stream = 0; stream < kFirstFreeDescriptor; ++stream)
    RequireSpawn("posix_spawn_file_actions_adddup2",
                 posix_spawn_file_actions_adddup2(&files.fActions, streams[stream], stream));
  // What the host itself has open without close-on-exec. A loop over all numbers would take seconds where the
  // limit is high.
  RequireSpawn("posix_spawn_file_actions_addclosefrom_np",
               posix_spawn_file_actions_addclosefrom_np(&files.fActions, kFirstFreeDescriptor));

  SpawnAttributes attributes;
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes.fAttributes, &signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGCHLD);
  posix_spawnattr_setsigdefault(&attributes.fAttributes, &signals);
  posix_spawnattr_setflags(&attributes.fAttributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  std::vector<char*> argv{Argument(program)};
  for (const std::string& argument : arguments) argv.push_back(Argument(argument));
  argv.push_back(nullptr);
  pid_t pid = 0;
  RequireSpawn("posix_spawnp",
               posix_spawnp(&pid, argv[0], &files.fActions, &attributes.fAttributes, argv.data(), environ));
  return pid;
}

}  // namespace

// --- One launch --------------------------------------------------------------------------------------------

// The process of one launch, from before there is one until it is reaped. One thread waits, any may kill.
class LauncherPosix::Run {
 public:
  Run() = default;
  ~Run() { GiveUp(); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void Start(pid_t pid);

  // The wait status; nothing if there is no process or somebody else has reaped it.
  std::optional<int> Wait();

  // 0, or the system's error.
  int Kill();
  bool WasKilled() const;

  // Leaves a child that isn't reaped yet to the orphans.
  void GiveUp();

 private:
  mutable std::mutex fMutex;  // leaf; guards the fields below
  pid_t fPid = 0;             // 0 before there is a process
  bool fIsOurs = false;       // fPid is still that process's and nobody else's
  bool fKilled = false;
  std::optional<int> fStatus;
};

void LauncherPosix::Run::Start(pid_t pid) {
  const Lock lock(fMutex);
  fPid = pid;
  fIsOurs = true;
}

// The end is seen without the lock, but the child reaped under it: whoever has the lock can rely on the
// process id.
std::optional<int> LauncherPosix::Run::Wait() {
  std::unique_lock lock(fMutex);
  if (!fIsOurs) return fStatus;
  const pid_t pid = fPid;
  lock.unlock();
  siginfo_t info;
  const bool ended =
      Retry([&] { return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT); }) == 0;
  lock.lock();
  int status = 0;
  // Not waiting again: the id may be another child's, should somebody else have reaped this one.
  if (ended && waitpid(pid, &status, WNOHANG) == pid) fStatus = status;
  fIsOurs = false;
  return fStatus;
}

int LauncherPosix::Run::Kill() {
  const Lock lock(fMutex);
  if (fPid == 0) return ESRCH;
  fKilled = true;
  siginfo_t info;
  // A look that doesn't wait: somebody else may have reaped it.
  fIsOurs = fIsOurs && waitid(P_PID, static_cast<id_t>(fPid), &info, WEXITED | WNOWAIT | WNOHANG) == 0;
  if (!fIsOurs || kill(fPid, SIGKILL) == 0 || errno == ESRCH) return 0;
  return errno;
}

bool LauncherPosix::Run::WasKilled() const {
  const Lock lock(fMutex);
  return fKilled;
}

void LauncherPosix::Run::GiveUp() {
  std::unique_lock lock(fMutex);
  if (!fIsOurs) return;
  fIsOurs = false;
  lock.unlock();
  Orphans::Get().Adopt(fPid);
}

// --- The launcher ------------------------------------------------------------------------------------------

LauncherPosix::LauncherPosix() = default;

// The thread that has launched the last run may hold it for long.
LauncherPosix::~LauncherPosix() { fRuns.GetLast()->GiveUp(); }

LaunchResult LauncherPosix::Launch(const std::wstring& program, const std::deque<std::string>& arguments) {
  const std::shared_ptr<Run> run = fRuns.Begin();
  Orphans::Get().Bury();
  const Pipe input("childStdin"), output("childStdout"), errors("childStderr");
  run->Start(Spawn(UTF8FromWide(program), arguments,
                   {input.fRead.fDescriptor, output.fWrite.fDescriptor, errors.fWrite.fDescriptor}));
  return {input.fWrite.fHandle, {nullptr, output.fRead.fHandle, errors.fRead.fHandle}};
}

std::int32_t LauncherPosix::Wait(std::int32_t* exitCode) {
  const std::shared_ptr<Run> run = fRuns.Get();
  const std::optional<int> status = run->Wait();
  if (!status) Fail("WaitForSingleObject failed", "waitid", ECHILD);
  fRuns.SetRawEnd(run, static_cast<std::uint32_t>(*status));
  if (WIFEXITED(*status)) {
    *exitCode = WEXITSTATUS(*status);
    return 0;
  }
  return run->WasKilled() && WTERMSIG(*status) == SIGKILL ? 2 : 1;
}

void LauncherPosix::Kill() {
  const int error = fRuns.Get()->Kill();
  if (error != 0) Fail("TerminateProcess failed", "kill", error);
}

std::optional<std::uint32_t> LauncherPosix::GetRawEnd() const { return fRuns.GetRawEnd(); }

boost::shared_ptr<Launcher> CreateLauncher() { return boost::make_shared<LauncherPosix>(); }

std::string DescribeRawEnd(std::uint32_t rawEnd) {
  const int status = static_cast<int>(rawEnd);
  if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
  const int number = WTERMSIG(status);
  const char* const name = sigabbrev_np(number);
  return "signal " + std::to_string(number) + (name != nullptr ? std::string(" (SIG") + name + ")" : "");
}

}  // namespace ztutil
