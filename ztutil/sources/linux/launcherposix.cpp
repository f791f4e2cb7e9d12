#include "launcherposix.h"

#include "retry.h"

#include <ztutil/fmt.h>
#include <ztutil/widetext.h>
#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

#include <boost/algorithm/string/split.hpp>
#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};
DebugFlag gBinioLog{"BINIO_LOG"};

using Lock = std::lock_guard<std::mutex>;

constexpr int kFirstFreeDescriptor = STDERR_FILENO + 1;

// What a failure throws is the same text on every system; what this system says of it goes to the log.
void Log(const char* text, const char* call, int error) {
  ZT_LOG(gConsoleAppLog, text << ": " << WinErrorText(call, static_cast<std::uint32_t>(error)));
}

[[noreturn]] void Fail(const char* text, const char* call, int error) {
  Log(text, call, error);
  throw std::runtime_error(text);
}

[[noreturn]] void Refuse(const char* text, const char* call, int error) {
  Log(text, call, error);
  throw LaunchRefusal{text, static_cast<std::uint32_t>(error)};
}

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
    if (lifted == -1) Refuse("CreatePipe failed", "fcntl", errno);
    Own(lifted);
  }

  boost::shared_ptr<WinHandle> fHandle = boost::make_shared<WinHandle>(kInvalidHandle, false, nullptr);
  int fDescriptor = -1;
};

struct Pipe {
  explicit Pipe(const char* name) {
    int ends[2];
    // Inheritable at no moment, or a child that another thread starts would keep the pipe open.
    if (pipe2(ends, O_CLOEXEC) != 0) Refuse("CreatePipe failed", "pipe2", errno);
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

// What a new process is to become.
struct ChildPlan {
  char* const* paths;  // where the program may be, in the order of the search, up to a null
  char* const* arguments;
  char* const* environment;
  const int* streams;
  pid_t host;     // 0 if it outlives that
  int error = 0;  // why there is no program
};

// The kernel's, which isn't libc's.
struct SignalAction {
  void (*handler)(int);
  unsigned long flags;
  void (*restorer)();
  std::uint64_t mask;
};

// A new process up to its program. It shares the host's memory, so it calls the system directly: libc and the
// sanitizers keep books, and these are the host's. No handler of the host's may run, so signals are blocked.
__attribute__((no_sanitize("address", "thread", "undefined"))) int BecomeProgram(void* argument) {
  ChildPlan& plan = *static_cast<ChildPlan*>(argument);
  if (plan.host != 0) {
    syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL);
    const long parent = syscall(SYS_getppid);  // 0 from inside a process namespace that the host has made
    if (parent != plan.host && parent != 0) return 0;  // it was gone before
  }
  for (int number = 1; number < NSIG; ++number) {
    SignalAction action{};
    syscall(SYS_rt_sigaction, number, nullptr, &action, sizeof action.mask);
    if (action.handler == SIG_IGN && number != SIGPIPE && number != SIGCHLD) continue;
    action = {};
    syscall(SYS_rt_sigaction, number, &action, nullptr, sizeof action.mask);
  }
  for (int stream = 0; stream < kFirstFreeDescriptor; ++stream)
    syscall(SYS_dup3, plan.streams[stream], stream, 0);
  // What the host itself has open without close-on-exec. A loop over all numbers would take seconds where the
  // limit is high.
  closefrom(kFirstFreeDescriptor);
  const std::uint64_t none = 0;
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof none);

  int error = ENOENT;
  for (char* const* path = plan.paths; *path != nullptr; ++path) {
    syscall(SYS_execve, *path, plan.arguments, plan.environment);
    if (errno == ENOENT || errno == ENOTDIR) continue;
    error = errno;
    if (error != EACCES) break;
  }
  plan.error = error;
  return 0;
}

// libc's clone by its other name. The sanitizers watch the usual one, and take every new process for one with
// memory of its own.
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);

// Where a program may be, in the order of the search.
std::vector<std::string> PathsOf(const std::string& program) {
  if (program.empty() || program.find('/') != std::string::npos) return {program};
  const char* const path = std::getenv("PATH");
  const std::string folders = path != nullptr ? path : "/bin:/usr/bin";
  std::vector<std::string> paths;
  boost::split(paths, folders, [](char c) { return c == ':'; });
  for (std::string& folder : paths) folder += (folder.empty() ? "" : "/") + program;
  return paths;
}

// As the system takes them.
std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) {
    // The child would see what stands in front of the NUL.
    if (text.find('\0') != std::string::npos) Refuse("CreateProcessW failed", "execve", EINVAL);
    pointers.push_back(const_cast<char*>(text.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

// This process's environment with those changes.
class ChildEnvironment {
 public:
  explicit ChildEnvironment(const EnvironmentChanges& changes) {
    for (const auto& [name, value] : changes) {
      if (name.empty() || name.find_first_of({"=\0", 2}) != std::string::npos)
        Refuse("CreateProcessW failed", "execve", EINVAL);
      if (value) fEntries.push_back(name + "=" + *value);
    }
    fPointers = Pointers(fEntries);
    fPointers.pop_back();
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry)
      if (changes.count(std::string(*entry, std::strcspn(*entry, "="))) == 0) fPointers.push_back(*entry);
    fPointers.push_back(nullptr);
  }
  ChildEnvironment(const ChildEnvironment&) = delete;
  ChildEnvironment& operator=(const ChildEnvironment&) = delete;

  char* const* Get() const { return fPointers.data(); }

 private:
  std::vector<std::string> fEntries;
  std::vector<char*> fPointers;
};

// Starts the child with those descriptors as its standard streams.
pid_t Spawn(const std::string& program, const std::deque<std::string>& arguments,
            const EnvironmentChanges& changes, const int (&streams)[3], bool endsWithHost) {
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const std::vector<std::string> paths = PathsOf(program);
  const std::vector<char*> wordPointers = Pointers(words), pathPointers = Pointers(paths);
  const ChildEnvironment environment(changes);
  ChildPlan plan{pathPointers.data(), wordPointers.data(), environment.Get(), streams,
                 endsWithHost ? getpid() : 0};

  std::vector<char> stack(16384);
  sigset_t all, former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  // Comes back when the child has its program, or has gone.
  const pid_t pid =
      __clone(BecomeProgram, stack.data() + stack.size(), CLONE_VM | CLONE_VFORK | SIGCHLD, &plan);
  const int cloneError = errno;
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  if (pid == -1) Refuse("CreateProcessW failed", "clone", cloneError);
  if (plan.error == 0) return pid;
  Retry([&] { return waitpid(pid, nullptr, 0); });
  Refuse("CreateProcessW failed", "execve", plan.error);
}

// --- Waiting -----------------------------------------------------------------------------------------------

// Comes back when the child has ended, which it doesn't reap. 0, or the system's error.
int AwaitEnd(pid_t pid) {
  for (;; std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
    siginfo_t info{};
    if (Retry([&] { return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT); }) != 0)
      return errno;
    // A child that this process traces shows its stops, too. They are the tracer's.
    if (info.si_code == CLD_EXITED || info.si_code == CLD_KILLED || info.si_code == CLD_DUMPED) return 0;
  }
}

// Reaps a child that nobody else waits for when it ends, on a thread of its own.
void ReapLater(pid_t pid) {
  try {
    std::thread([pid] {
      if (AwaitEnd(pid) == 0) waitpid(pid, nullptr, WNOHANG);
    }).detach();
  } catch (const std::exception& e) {
    ZT_LOG(gConsoleAppLog, "what is left of process " << pid << " stays: " << e.what());
  }
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

  // 0, or the system's error: ECHILD if there is no process or somebody else has reaped it.
  int Wait(int& status);
  int Kill();
  bool WasKilled() const;

  pid_t GetPid() const;

  // Has a child that isn't reaped yet reaped when it ends.
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
int LauncherPosix::Run::Wait(int& status) {
  std::unique_lock lock(fMutex);
  if (fIsOurs) {
    const pid_t pid = fPid;
    lock.unlock();
    const int error = AwaitEnd(pid);
    lock.lock();
    if (error != 0 && error != ECHILD) return error;  // it may be alive, and can be killed
    // Not waiting again: the id may be another child's, should somebody else have reaped this one.
    int reaped = 0;
    if (error == 0 && waitpid(pid, &reaped, WNOHANG) == pid) fStatus = reaped;
    fIsOurs = false;
  }
  if (!fStatus) return ECHILD;
  status = *fStatus;
  return 0;
}

int LauncherPosix::Run::Kill() {
  const Lock lock(fMutex);
  if (fPid == 0) return ESRCH;
  fKilled = true;
  if (!fIsOurs) return 0;
  siginfo_t info;
  // A look that doesn't wait: somebody else may have reaped it.
  fIsOurs =
      waitid(P_PID, static_cast<id_t>(fPid), &info, WEXITED | WNOWAIT | WNOHANG) == 0 || errno != ECHILD;
  if (!fIsOurs || kill(fPid, SIGKILL) == 0 || errno == ESRCH) return 0;
  return errno;
}

bool LauncherPosix::Run::WasKilled() const {
  const Lock lock(fMutex);
  return fKilled;
}

pid_t LauncherPosix::Run::GetPid() const {
  const Lock lock(fMutex);
  return fPid;
}

void LauncherPosix::Run::GiveUp() {
  {
    const Lock lock(fMutex);
    if (!std::exchange(fIsOurs, false)) return;
  }
  ReapLater(fPid);
}

// --- The launcher ------------------------------------------------------------------------------------------

LauncherPosix::LauncherPosix() = default;

// The thread that has launched the last run may hold it for long.
LauncherPosix::~LauncherPosix() { fRuns.GetLast()->GiveUp(); }

LaunchResult LauncherPosix::Launch(const std::wstring& program, const std::deque<std::string>& arguments) {
  return LaunchWithEnvironment(program, arguments, {}, false);
}

LaunchResult LauncherPosix::LaunchToEndWithHost(const std::wstring& program,
                                                const std::deque<std::string>& arguments) {
  return LaunchWithEnvironment(program, arguments, {}, true);
}

LaunchResult LauncherPosix::LaunchWithEnvironment(const std::wstring& program,
                                                  const std::deque<std::string>& arguments,
                                                  const EnvironmentChanges& changes, bool endsWithHost) {
  return fRuns.Launch([&](Run& run) -> LaunchResult {
    const Pipe input("childStdin"), output("childStdout"), errors("childStderr");
    run.Start(Spawn(UTF8FromWide(program), arguments, changes,
                    {input.fRead.fDescriptor, output.fWrite.fDescriptor, errors.fWrite.fDescriptor},
                    endsWithHost));
    return {input.fWrite.fHandle, {nullptr, output.fRead.fHandle, errors.fRead.fHandle}};
  });
}

std::int32_t LauncherPosix::Wait(std::int32_t* exitCode) {
  const std::shared_ptr<Run> run = fRuns.Get();
  int status = 0;
  if (const int error = run->Wait(status)) Fail("WaitForSingleObject failed", "waitid", error);
  fRuns.SetRawEnd(run, static_cast<std::uint32_t>(status));
  if (WIFEXITED(status)) {
    *exitCode = WEXITSTATUS(status);
    return 0;
  }
  return run->WasKilled() && WTERMSIG(status) == SIGKILL ? 2 : 1;
}

void LauncherPosix::Kill() {
  const int error = fRuns.Get()->Kill();
  if (error != 0) Fail("TerminateProcess failed", "kill", error);
}

std::optional<std::uint32_t> LauncherPosix::GetRawEnd() const { return fRuns.GetRawEnd(); }

void LauncherPosix::GiveUp() { fRuns.Get()->GiveUp(); }

std::uint32_t LauncherPosix::GetProcessID() const {
  return static_cast<std::uint32_t>(fRuns.GetLast()->GetPid());
}

std::string LauncherPosix::GetStartError() const { return fRuns.GetStartError(); }

boost::shared_ptr<Launcher> CreateLauncher() { return boost::make_shared<LauncherPosix>(); }

std::string DescribeRawEnd(std::uint32_t rawEnd) {
  const int status = static_cast<int>(rawEnd);
  if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
  const int number = WTERMSIG(status);
  const char* const name = sigabbrev_np(number);
  return "signal " + std::to_string(number) + (name != nullptr ? std::string(" (SIG") + name + ")" : "");
}

}  // namespace ztutil
