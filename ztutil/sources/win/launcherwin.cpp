#include "launcherwin.h"

#include "process/commandline.h"
#include "windowsheader.h"

#include <ztutil/fmt.h>
#include <ztutil/widetext.h>
#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>

#include <atomic>
#include <cstdio>
#include <cwchar>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

namespace ztutil {

namespace {

DebugFlag gConsoleAppLog{"ConsoleAppLog"};
DebugFlag gBinioLog{"BINIO_LOG"};

constexpr DWORD kFirstCrashCode = 256;
constexpr DWORD kKilledCode = 257;

// What a failure throws; what the system says of it goes to the log.
[[noreturn]] void Fail(const char* text) {
  ZT_LOG(gConsoleAppLog, text << ": error " << GetLastError());
  throw std::runtime_error(text);
}

[[noreturn]] void Refuse(const char* text) {
  const DWORD error = GetLastError();
  ZT_LOG(gConsoleAppLog, text << ": error " << error);
  throw LaunchRefusal{text, error};
}

// Held from a launch's first pipe until the child's ends are closed here: a child that another thread starts
// meanwhile would inherit these, too, and hold up the end of the data. Taken before the loggers' locks, and
// nothing that logs launches. Never destroyed: an abandoned thread may outlive the statics.
std::mutex& LaunchMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

enum class Direction { kToChild, kFromChild };

struct Pipe {
  Pipe(const char* name, Direction direction, HANDLE& childEnd) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (!CreatePipe(&read, &write, &inheritable, 0)) Refuse("CreatePipe failed");
    Own(*fRead, read);
    Own(*fWrite, write);
    const bool toChild = direction == Direction::kToChild;
    if (!SetHandleInformation(toChild ? write : read, HANDLE_FLAG_INHERIT, 0))
      Refuse("SetHandleInformation failed");
    childEnd = toChild ? read : write;
    ZT_LOG(gBinioLog, name << "Rd=" << FmtPointer(read) << " " << name << "Wr=" << FmtPointer(write));
  }

  static boost::shared_ptr<WinHandle> NoHandle() {
    return boost::make_shared<WinHandle>(kInvalidHandle, false, nullptr);
  }

  static void Own(WinHandle& end, HANDLE handle) {
    end.Reset(reinterpret_cast<NativeHandle>(handle), true, nullptr);
  }

  boost::shared_ptr<WinHandle> fRead = NoHandle();
  boost::shared_ptr<WinHandle> fWrite = NoHandle();
};

// A job that ends its processes with its last handle, which is this process's. What these start is not in it.
HANDLE HostJob() {
  static const HANDLE job = [] {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
    const HANDLE made = CreateJobObjectW(nullptr, nullptr);
    if (!SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits))
      Refuse("CreateProcessW failed");
    return made;
  }();
  return job;
}

// What a launch has beyond the classic startup information: the job in which the child begins. Put into one
// later, a host that is killed in between leaves the child behind.
class JobAttribute {
 public:
  explicit JobAttribute(HANDLE job) : fJob(job) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    fBytes.resize(size);
    if (!InitializeProcThreadAttributeList(Get(), 1, 0, &size)) Refuse("CreateProcessW failed");
    constexpr DWORD_PTR kJobList = 0x2000D;  // PROC_THREAD_ATTRIBUTE_JOB_LIST, of Windows 10
    if (!UpdateProcThreadAttribute(Get(), 0, kJobList, &fJob, sizeof fJob, nullptr, nullptr))
      Refuse("CreateProcessW failed");
  }

  LPPROC_THREAD_ATTRIBUTE_LIST Get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(fBytes.data()); }

 private:
  HANDLE fJob;
  std::vector<char> fBytes;  // nothing that has to be deleted: the list only points to the job
};

struct BeforeInAnyCase {
  bool operator()(const std::wstring& left, const std::wstring& right) const {
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
  }
};

std::wstring VariableText(const std::string& text, char refused = '\0') {
  if (text.find('\0') == std::string::npos && text.find(refused) == std::string::npos)
    return WideFromUTF8(text);
  SetLastError(ERROR_INVALID_PARAMETER);
  Refuse("CreateProcessW failed");
}

// This process's environment with those changes, as CreateProcessW takes it; empty where there are none.
std::wstring EnvironmentBlock(const EnvironmentChanges& changes) {
  if (changes.empty()) return L"";
  std::map<std::wstring, std::wstring, BeforeInAnyCase> variables;
  wchar_t* const own = GetEnvironmentStringsW();
  if (own == nullptr) Refuse("CreateProcessW failed");
  for (const wchar_t* entry = own; *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    const std::wstring text = entry;
    const std::size_t equals = text.find(L'=', 1);  // a drive's folder is called "=C:"
    variables.emplace(text.substr(0, equals), equals != std::wstring::npos ? text.substr(equals + 1) : L"");
  }
  FreeEnvironmentStringsW(own);
  for (const auto& [name, value] : changes) {
    const std::wstring wide = VariableText(name.empty() ? "=" : name, '=');
    variables.erase(wide);
    if (value) variables.emplace(wide, VariableText(*value));
  }
  std::wstring block;
  for (const auto& [name, value] : variables) block += name + L"=" + value + L'\0';
  return block + (block.empty() ? std::wstring(2, L'\0') : std::wstring(1, L'\0'));
}

// The job is null where the child is to have none.
LaunchResult Start(const std::wstring& program, const std::deque<std::string>& arguments,
                   const EnvironmentChanges& changes, HANDLE job, std::atomic<HANDLE>& process) {
  std::wstring environment = EnvironmentBlock(changes);
  std::u16string line = CommandLine(program, arguments);
  STARTUPINFOEXW extended{};
  STARTUPINFOW& startup = extended.StartupInfo;
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
  startup.wShowWindow = SW_HIDE;
  // Until there are pipes in their place.
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  DWORD flags = environment.empty() ? 0 : CREATE_UNICODE_ENVIRONMENT;
  std::optional<JobAttribute> attribute;
  if (job != nullptr) {
    startup.cb = sizeof extended;
    extended.lpAttributeList = attribute.emplace(job).Get();
    flags |= EXTENDED_STARTUPINFO_PRESENT;
  }

  const std::lock_guard<std::mutex> lock(LaunchMutex());
  const Pipe input("childStdin", Direction::kToChild, startup.hStdInput);
  const Pipe output("childStdout", Direction::kFromChild, startup.hStdOutput);
  const Pipe errors("childStderr", Direction::kFromChild, startup.hStdError);
  PROCESS_INFORMATION information{};
  if (!CreateProcessW(nullptr, reinterpret_cast<wchar_t*>(line.data()), nullptr, nullptr, TRUE, flags,
                      environment.empty() ? nullptr : environment.data(), nullptr, &startup, &information))
    Refuse("CreateProcessW failed");
  process = information.hProcess;
  return {input.fWrite, {nullptr, output.fRead, errors.fRead}};
}

}  // namespace

// The child of one launch. Its handles are never closed.
struct LauncherWin::Run {
  std::atomic<HANDLE> fProcess{nullptr};
  std::atomic<bool> fKilled{false};
};

LauncherWin::LauncherWin() = default;
LauncherWin::~LauncherWin() = default;

LaunchResult LauncherWin::Launch(const std::wstring& program, const std::deque<std::string>& arguments) {
  return LaunchWithEnvironment(program, arguments, {}, false);
}

LaunchResult LauncherWin::LaunchToEndWithHost(const std::wstring& program,
                                              const std::deque<std::string>& arguments) {
  return LaunchWithEnvironment(program, arguments, {}, true);
}

LaunchResult LauncherWin::LaunchWithEnvironment(const std::wstring& program,
                                                const std::deque<std::string>& arguments,
                                                const EnvironmentChanges& changes, bool endsWithHost) {
  return fRuns.Launch([&](Run& run) {
    return Start(program, arguments, changes, endsWithHost ? HostJob() : nullptr, run.fProcess);
  });
}

std::int32_t LauncherWin::Wait(std::int32_t* exitCode) {
  const std::shared_ptr<Run> run = fRuns.Get();
  const HANDLE process = run->fProcess;
  if (WaitForSingleObject(process, INFINITE) == WAIT_FAILED) Fail("WaitForSingleObject failed");
  DWORD code = 0;
  if (!GetExitCodeProcess(process, &code)) Fail("GetExitCodeProcess failed");
  fRuns.SetRawEnd(run, code);
  if (code < kFirstCrashCode) {
    *exitCode = static_cast<std::int32_t>(code);
    return 0;
  }
  return run->fKilled ? 2 : 1;
}

void LauncherWin::Kill() {
  const std::shared_ptr<Run> run = fRuns.Get();
  const HANDLE process = run->fProcess;
  if (process != nullptr) run->fKilled = true;
  // A process that has just ended denies access.
  if (!TerminateProcess(process, kKilledCode) && GetLastError() != ERROR_ACCESS_DENIED)
    Fail("TerminateProcess failed");
}

std::optional<std::uint32_t> LauncherWin::GetRawEnd() const { return fRuns.GetRawEnd(); }

// The handles of a child stay, whether somebody waits or not.
void LauncherWin::GiveUp() {}

std::uint32_t LauncherWin::GetProcessID() const {
  const HANDLE process = fRuns.GetLast()->fProcess;
  return process != nullptr ? GetProcessId(process) : 0;
}

std::string LauncherWin::GetStartError() const { return fRuns.GetStartError(); }

boost::shared_ptr<Launcher> CreateLauncher() { return boost::make_shared<LauncherWin>(); }

// What ends a process without its doing is the status of an exception, an error or a warning, or a code that
// a language's runtime has raised. Others are its own choice, such as -1.
std::string DescribeRawEnd(std::uint32_t rawEnd) {
  const std::uint32_t kind = rawEnd >> 28;
  if (kind != 0x8 && kind != 0xC && kind != 0xE) return "exit status " + std::to_string(rawEnd);
  static constexpr struct {
    std::uint32_t code;
    const char* name;
  } kNames[] = {
      {0x80000003, "breakpoint"},
      {0xC0000005, "access violation"},
      {0xC0000006, "in-page error"},
      {0xC0000017, "no memory"},
      {0xC000001D, "illegal instruction"},
      {0xC0000025, "noncontinuable exception"},
      {0xC000008E, "floating-point division by zero"},
      {0xC0000094, "integer division by zero"},
      {0xC0000096, "privileged instruction"},
      {0xC00000FD, "stack overflow"},
      {0xC0000135, "DLL not found"},
      {0xC0000139, "entry point not found"},
      {0xC000013A, "Ctrl+C"},
      {0xC0000142, "DLL initialization failed"},
      {0xC0000374, "heap corruption"},
      {0xC0000409, "stack buffer overrun"},
      {0xC0000417, "invalid argument to the C runtime"},
      {0xE06D7363, "C++ exception"},
  };
  char text[sizeof "exception 0x12345678"];
  std::snprintf(text, sizeof text, "exception 0x%08X", unsigned{rawEnd});
  for (const auto& row : kNames)
    if (row.code == rawEnd) return std::string(text) + " (" + row.name + ")";
  return text;
}

}  // namespace ztutil
