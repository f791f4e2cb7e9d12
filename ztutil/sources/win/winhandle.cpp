#include "windowsheader.h"

#include <ztutil/winhandle.h>

#include <iterator>

namespace ztutil::native {

namespace {

namespace fs = boost::filesystem;

HANDLE Handle(NativeHandle handle) { return reinterpret_cast<HANDLE>(handle); }

// Success, or the error of the call that has just failed.
std::uint32_t Code(BOOL succeeded) { return succeeded ? 0 : GetLastError(); }

}  // namespace

std::uint32_t Open(const fs::path& path, std::uint32_t access, std::uint32_t creation, NativeHandle& handle) {
  // The system would open what stands in front of the NUL.
  if (path.native().find(L'\0') != std::wstring::npos) return ERROR_INVALID_NAME;
  constexpr DWORD kDispositions[] = {OPEN_EXISTING, TRUNCATE_EXISTING, OPEN_ALWAYS, CREATE_ALWAYS};
  DWORD rights = 0;
  if (access & kRead) rights |= GENERIC_READ;
  if (access & kWrite) rights |= GENERIC_WRITE;
  HANDLE const opened =
      CreateFileW(path.c_str(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  kDispositions[creation], FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return GetLastError();
  handle = reinterpret_cast<NativeHandle>(opened);
  return 0;
}

std::uint32_t Read(NativeHandle handle, void* buf, std::size_t n, std::size_t& count) {
  DWORD got = 0;
  std::uint32_t code = 0;
  // Nothing from a pipe isn't its end: somebody has written nothing. A socket, to which the system gives the
  // same file type, isn't one.
  do {
    code = Code(ReadFile(Handle(handle), buf, static_cast<DWORD>(n), &got, nullptr));
  } while (code == 0 && got == 0 && n != 0 &&
           GetNamedPipeInfo(Handle(handle), nullptr, nullptr, nullptr, nullptr));
  if (code != 0 && code != ERROR_BROKEN_PIPE) return code;
  count = code == 0 ? got : 0;
  return 0;
}

std::uint32_t Write(NativeHandle handle, const void* buf, std::size_t n, std::size_t& count) {
  DWORD written = 0;
  const std::uint32_t code = Code(WriteFile(Handle(handle), buf, static_cast<DWORD>(n), &written, nullptr));
  if (code == 0) count = written;
  return code;
}

std::uint32_t Seek(NativeHandle handle, std::int64_t distance, Origin origin, std::int64_t& position) {
  const DWORD method = origin == Origin::kBegin     ? FILE_BEGIN
                       : origin == Origin::kCurrent ? FILE_CURRENT
                                                    : FILE_END;
  LARGE_INTEGER by{};
  by.QuadPart = distance;
  LARGE_INTEGER now{};
  const std::uint32_t code = Code(SetFilePointerEx(Handle(handle), by, &now, method));
  if (code == 0) position = now.QuadPart;
  return code;
}

std::uint32_t SetEnd(NativeHandle handle) { return Code(SetEndOfFile(Handle(handle))); }

void Close(NativeHandle handle) { CloseHandle(Handle(handle)); }

void Delete(const fs::path& path) { DeleteFileW(path.c_str()); }

std::uint32_t TempDirectory(fs::path& directory) {
  wchar_t buffer[MAX_PATH];
  const DWORD length = GetTempPathW(static_cast<DWORD>(std::size(buffer)), buffer);
  if (length == 0) return GetLastError();
  if (length >= std::size(buffer)) return ERROR_INSUFFICIENT_BUFFER;
  directory = buffer;
  return 0;
}

std::uint32_t MakeTempFile(const fs::path& directory, const fs::path& prefix, fs::path& path,
                           NativeHandle& handle) {
  wchar_t buffer[MAX_PATH];
  if (GetTempFileNameW(directory.c_str(), prefix.c_str(), 0, buffer) == 0) return GetLastError();
  path = buffer;
  handle = kInvalidHandle;
  return 0;
}

NativeHandle StandardHandle(StandardStream stream) {
  const DWORD number = stream == StandardStream::kInput    ? STD_INPUT_HANDLE
                       : stream == StandardStream::kOutput ? STD_OUTPUT_HANDLE
                                                           : STD_ERROR_HANDLE;
  return reinterpret_cast<NativeHandle>(GetStdHandle(number));
}

std::string ErrorText(std::uint32_t code) {
  char* message = nullptr;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
      code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<char*>(&message), 0, nullptr);
  if (length == 0) return {};
  const std::unique_ptr<char, HLOCAL (*)(void*)> owner(message, [](void* text) { return LocalFree(text); });
  return {message, length};
}

}  // namespace ztutil::native
