#include "remember/memoryfile.h"

#include <ztutil/widetext.h>

#include <windows.h>

namespace gpuprowler::platform {

namespace {

class File {
 public:
  // Others may read, write, rename and remove it meanwhile. What leads elsewhere isn't followed.
  File(const std::wstring& path, DWORD access, DWORD creation)
      : fHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, creation, FILE_FLAG_OPEN_REPARSE_POINT, nullptr)) {}
  ~File() {
    if (fHandle != INVALID_HANDLE_VALUE) CloseHandle(fHandle);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  HANDLE Get() const { return fHandle; }

  // Whether it's open and an ordinary file.
  bool IsFile() const {
    BY_HANDLE_FILE_INFORMATION information{};
    constexpr DWORD kOthers = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    return GetFileInformationByHandle(fHandle, &information) != 0 &&
           (information.dwFileAttributes & kOthers) == 0;
  }

 private:
  const HANDLE fHandle;
};

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

// Who may read it is inherited: in a user's own folders that user alone.
void MakeFolder(const std::wstring& folder) {
  if (CreateDirectoryW(folder.c_str(), nullptr) != 0 || GetLastError() != ERROR_PATH_NOT_FOUND) return;
  const std::size_t slash = folder.find_last_of(L"\\/");
  if (slash == std::wstring::npos || slash == 0) return;
  MakeFolder(folder.substr(0, slash));
  CreateDirectoryW(folder.c_str(), nullptr);
}

std::string ReadFrom(const std::wstring& folder, std::size_t mostBytes) {
  const File file(folder + L"\\memory.json", GENERIC_READ, OPEN_EXISTING);
  LARGE_INTEGER size{};
  if (!file.IsFile() || GetFileSizeEx(file.Get(), &size) == 0 ||
      static_cast<ULONGLONG>(size.QuadPart) > mostBytes)
    return "";
  std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD count = 0;
  if (ReadFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &count, nullptr) == 0)
    return "";
  return content.substr(0, count);
}

bool Write(const std::wstring& path, const std::string& content) {
  const File file(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD count = 0;
  return file.IsFile() &&
         WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &count, nullptr) != 0 &&
         count == content.size() && FlushFileBuffers(file.Get()) != 0;
}

bool Replace(const std::wstring& folder, const std::string& content) {
  const std::wstring made = folder + L"\\memory.json.new";
  if (Write(made, content) &&
      MoveFileExW(made.c_str(), (folder + L"\\memory.json").c_str(), MOVEFILE_REPLACE_EXISTING) != 0)
    return true;
  DeleteFileW(made.c_str());
  return false;
}

// The lock goes with the process's handle.
bool Lock(const File& file) {
  constexpr int kTries = 100;
  constexpr DWORD kPauseMilliseconds = 10;
  for (int i = 0; i < kTries; ++i) {
    OVERLAPPED place{};
    if (LockFileEx(file.Get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0)
      return true;
    if (GetLastError() != ERROR_LOCK_VIOLATION) return false;
    Sleep(kPauseMilliseconds);
  }
  return false;
}

// Empty where the variable isn't set.
std::wstring Variable(const wchar_t* name) {
  std::wstring value(32768, L'\0');  // no variable is longer
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

}  // namespace

std::string StateFolder() { return ztutil::UTF8FromWide(Variable(L"LOCALAPPDATA")); }

std::string ReadMemoryFile(const std::string& folder, std::size_t mostBytes) {
  const std::wstring path = ztutil::WideFromUTF8(folder);
  return IsFolder(path) ? ReadFrom(path, mostBytes) : "";
}

bool ChangeMemoryFile(const std::string& folder, std::size_t mostBytes,
                      const std::function<std::string(const std::string& content)>& change) {
  const std::wstring path = ztutil::WideFromUTF8(folder);
  MakeFolder(path);
  if (!IsFolder(path)) return false;
  const File lock(path + L"\\memory.lock", GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS);
  return lock.IsFile() && Lock(lock) && Replace(path, change(ReadFrom(path, mostBytes)));
}

FileFacts FactsOfProgram(const std::string& program) {
  std::wstring path(32768, L'\0');
  const DWORD length = SearchPathW(nullptr, ztutil::WideFromUTF8(program).c_str(), L".exe",
                                   static_cast<DWORD>(path.size()), path.data(), nullptr);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (length == 0 || length >= path.size() ||
      GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0)
    return {program};
  path.resize(length);
  const ULARGE_INTEGER size{{data.nFileSizeLow, data.nFileSizeHigh}};
  const ULARGE_INTEGER time{{data.ftLastWriteTime.dwLowDateTime, data.ftLastWriteTime.dwHighDateTime}};
  return {ztutil::UTF8FromWide(path), size.QuadPart, static_cast<std::int64_t>(time.QuadPart)};
}

}  // namespace gpuprowler::platform
