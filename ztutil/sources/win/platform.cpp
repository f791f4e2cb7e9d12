#include "system/platform.h"

#include "windowsheader.h"

#include <ztutil/prepareprocess.h>

#include <boost/filesystem/operations.hpp>
#include <io.h>
#include <objbase.h>
#include <share.h>
#include <shlobj.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <memory>

namespace ztutil::platform {

namespace {

// What a debugger takes the name of a thread from, and the exception that carries it.
constexpr DWORD kThreadNameException = 0x406D1388;
struct ThreadName {
  DWORD type = 0x1000;
  const char* name;
  DWORD thread = static_cast<DWORD>(-1);  // the calling one
  DWORD flags = 0;
};

void RaiseThreadName(const ThreadName& record) {
  RaiseException(kThreadNameException, 0, sizeof record / sizeof(ULONG_PTR),
                 reinterpret_cast<const ULONG_PTR*>(&record));
}

#ifdef _MSC_VER

void RaiseGuarded(const ThreadName& record) {
  __try {
    RaiseThreadName(record);
  } __except (GetExceptionCode() == kThreadNameException ? EXCEPTION_EXECUTE_HANDLER
                                                         : EXCEPTION_CONTINUE_SEARCH) {
  }
}

#else

LONG CALLBACK PassOverThreadName(EXCEPTION_POINTERS* exception) {
  return exception->ExceptionRecord->ExceptionCode == kThreadNameException ? EXCEPTION_CONTINUE_EXECUTION
                                                                           : EXCEPTION_CONTINUE_SEARCH;
}

// GCC has no __try.
void RaiseGuarded(const ThreadName& record) {
  PVOID const handler = AddVectoredExceptionHandler(1, PassOverThreadName);
  if (handler == nullptr) return;  // unguarded it would end the process
  RaiseThreadName(record);
  RemoveVectoredExceptionHandler(handler);
}

#endif

}  // namespace

std::int64_t MonotonicCounter() {
  LARGE_INTEGER counter{};
  QueryPerformanceCounter(&counter);
  return counter.QuadPart;
}

std::int64_t MonotonicFrequency() {
  LARGE_INTEGER frequency{};
  QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

std::int64_t UTCMicroseconds() {
  constexpr std::int64_t kFrom1601To1970 = 11644473600000000;
  FILETIME now{};  // in tenths of a microsecond since 1601
  GetSystemTimeAsFileTime(&now);
  const ULARGE_INTEGER tenths{{now.dwLowDateTime, now.dwHighDateTime}};
  return static_cast<std::int64_t>(tenths.QuadPart / 10) - kFrom1601To1970;
}

std::int64_t LocalOffsetSeconds() {
  const __time64_t now = _time64(nullptr);
  std::tm utc{};
  std::tm local{};
  _gmtime64_s(&utc, &now);
  _localtime64_s(&local, &now);
  return _mkgmtime64(&local) - _mkgmtime64(&utc);
}

std::string UserDirectory() {
  PWSTR desktop = nullptr;
  SHGetKnownFolderPath(FOLDERID_Desktop, 0, nullptr, &desktop);
  const std::unique_ptr<wchar_t, void (*)(void*)> owner(desktop, CoTaskMemFree);
  if (desktop == nullptr) return {};
  return boost::filesystem::path(desktop).parent_path().string();
}

// N keeps a child process from inheriting the file.

std::FILE* OpenRegularFile(const std::string& path) { return _fsopen(path.c_str(), "rN", _SH_DENYNO); }

std::FILE* OpenForAppending(const std::string& path) {
  boost::system::error_code ignored;
  if (boost::filesystem::symlink_status(path, ignored).type() == boost::filesystem::symlink_file)
    return nullptr;
  return _fsopen(path.c_str(), "aN", _SH_DENYNO);
}

void NameThreadForDebugger(const std::string& name) {
  ThreadName record;
  record.name = name.c_str();
  RaiseGuarded(record);
}

void DebugString(const std::string& text) { OutputDebugStringA(text.c_str()); }

std::uint64_t InstalledRAM() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  return GlobalMemoryStatusEx(&status) ? status.ullTotalPhys : 0;
}

std::size_t WriteToFile(std::FILE* stream, const char* bytes, std::size_t n) {
  const int descriptor = _fileno(stream);
  if (descriptor < 0) return 0;  // a standard stream of a process that has none
  _lock_file(stream);
  constexpr std::size_t kMostAtOnce = INT_MAX;
  std::size_t done = 0;
  while (done < n) {
    const auto rest = static_cast<unsigned>(std::min(n - done, kMostAtOnce));
    const int count = _write(descriptor, bytes + done, rest);
    done = count > 0 ? done + static_cast<std::size_t>(count) : n - 1;
    if (count <= 0) break;
  }
  _unlock_file(stream);
  return done;
}

// The failed flush has emptied the buffer.
void PurgeStream(std::FILE* stream) { std::clearerr(stream); }

// Nothing else is to be done here: no write ends a process, and the runtime gives the places of standard
// streams that are closed to no other file.
void PrepareProberProcess() {
  const UINT mode = SetErrorMode(SEM_NOGPFAULTERRORBOX);
  SetErrorMode(mode | SEM_NOGPFAULTERRORBOX);
  // Nor is the user asked about a library that a driver misses, or a disk that isn't in its drive.
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
}

}  // namespace ztutil::platform
