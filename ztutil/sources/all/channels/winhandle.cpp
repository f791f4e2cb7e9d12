#include <ztutil/fmt.h>
#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

#include <boost/filesystem/operations.hpp>

#include <algorithm>

namespace ztutil {

namespace {

namespace fs = boost::filesystem;

using native::Origin;

DebugFlag gBinioLog{"BINIO_LOG"};

constexpr char kLogFile[] = "ztutil/sources/win/winhandle";

// What one call of the system takes.
constexpr std::size_t kMostAtOnce = 0xFFFFFFFF;

void Require(const char* what, std::uint32_t code) {
  if (code != 0) throw XWinErr(what, code);
}

std::int64_t SetFilePointer(NativeHandle handle, std::int64_t distance, Origin origin) {
  std::int64_t position = 0;
  Require("SetFilePointerEx", native::Seek(handle, distance, origin, position));
  return position;
}

// Gives the handle, if the system has opened the file on the way.
NativeHandle MakeTempFile(const fs::path& prefix, fs::path& path) {
  NativeHandle handle = kInvalidHandle;
  Require("GetTempFileNameW", native::MakeTempFile(GetTempDirectory(), prefix, path, handle));
  return handle;
}

// What stays the file's name when the process goes to another directory. An empty path is none.
fs::path Absolute(const fs::path& path) {
  boost::system::error_code error;
  const fs::path current = fs::current_path(error);
  return path.empty() || error ? path : fs::absolute(path, current);
}

}  // namespace

std::string WinErrorText(const char* what, std::uint32_t code) noexcept {
  std::string text;
  try {
    if (code == 0) return text;
    const std::string message = native::ErrorText(code);
    if (message.empty()) return text;
    if (what != nullptr) text.append(what).append(" failed: ");
    text += message;
  } catch (...) {
  }
  return text;
}

XWinErr::XWinErr(std::uint32_t code) : XWinErr(nullptr, code) {}

XWinErr::XWinErr(const char* what, std::uint32_t code)
    : std::runtime_error(WinErrorText(what, code)), fCode(code) {}

WinHandle::WinHandle(NativeHandle handle, bool owned, const fs::path* deletePath) {
  Reset(handle, owned, deletePath);
}

WinHandle::~WinHandle() { Reset(kInvalidHandle, true, nullptr); }

void WinHandle::Reset(NativeHandle handle, bool owned, const fs::path* deletePath) {
  fs::path newPath;
  if (deletePath != nullptr) newPath = Absolute(*deletePath);
  if (fOwned) {
    if (DebugFlagValue(gBinioLog) != 0) {
      LogText(kLogFile, __LINE__, [this](std::ostream& out) {
        out << "WinHandle::Reset closing " << FmtPointer(reinterpret_cast<const void*>(fHandle));
      });
    }
    native::Close(fHandle);
    native::Delete(fDeletePath);
  }
  fHandle = handle;
  fOwned = owned;
  fDeletePath.swap(newPath);
}

void WinHandle::Own(NativeHandle handle) {
  fHandle = handle;
  fOwned = true;
}

bool WinHandle::DoClose() {
  const bool wasOpen = DoIsOpen();
  fOwned = true;
  Reset(kInvalidHandle, true, nullptr);
  return wasOpen;
}

bool WinHandle::DoIsOpen() const { return fHandle != kInvalidHandle; }

std::size_t WinHandle::DoReadSome(void* buf, std::size_t n) {
  std::size_t count = 0;
  if (native::Read(fHandle, buf, std::min(n, kMostAtOnce), count) != 0) {
    throw std::runtime_error("ReadFile failed");
  }
  return count;
}

std::size_t WinHandle::DoWriteSome(const void* buf, std::size_t n) {
  std::size_t count = 0;
  if (native::Write(fHandle, buf, std::min(n, kMostAtOnce), count) != 0) {
    throw std::runtime_error("WriteFile failed");
  }
  return count;
}

std::int64_t WinHandle::DoTell() { return SetFilePointer(fHandle, 0, Origin::kCurrent); }

void WinHandle::DoSeek(std::int64_t position) { SetFilePointer(fHandle, position, Origin::kBegin); }

void WinHandle::DoSeekBy(std::int64_t delta) { SetFilePointer(fHandle, delta, Origin::kCurrent); }

void WinHandle::DoSeekEnd() { SetFilePointer(fHandle, 0, Origin::kEnd); }

void WinHandle::DoSetEnd() { Require("SetEndOfFile", native::SetEnd(fHandle)); }

std::unique_ptr<WinHandle> OpenFile(const fs::path& path, std::uint32_t access, std::uint32_t creation,
                                    bool deleteOnClose) {
  auto file = std::make_unique<WinHandle>(kInvalidHandle, false, deleteOnClose ? &path : nullptr);
  file->Own(OpenRawFile(path, access, creation));
  return file;
}

NativeHandle OpenRawFile(const fs::path& path, std::uint32_t access, std::uint32_t creation) {
  if (access < kRead || access > kReadWrite) throw std::invalid_argument("OpenFile: bad access flags");
  if (creation > kCreateAlways) throw std::invalid_argument("OpenFile: bad creation flags");
  NativeHandle handle = kInvalidHandle;
  Require("CreateFileW", native::Open(path, access, creation, handle));
  return handle;
}

fs::path GetTempDirectory() {
  fs::path directory;
  Require("GetTempPathW", native::TempDirectory(directory));
  return directory;
}

fs::path MakeTempPath(const fs::path& prefix) {
  fs::path path;
  const NativeHandle handle = MakeTempFile(prefix, path);
  if (handle != kInvalidHandle) native::Close(handle);
  return path;
}

std::unique_ptr<WinHandle> CreateTempFile(const fs::path& prefix) {
  auto file = std::make_unique<WinHandle>(kInvalidHandle, false, nullptr);
  // Owned before it is open, where it isn't yet: should that fail, the file is deleted.
  file->Own(MakeTempFile(prefix, file->fDeletePath));
  if (!file->DoIsOpen()) file->Own(OpenRawFile(file->fDeletePath, kReadWrite, kCreateAlways));
  return file;
}

Reader& StdIn() {
  static WinHandle stream(native::StandardHandle(native::StandardStream::kInput), false, nullptr);
  return stream;
}

Writer& StdOut() {
  static WinHandle stream(native::StandardHandle(native::StandardStream::kOutput), false, nullptr);
  return stream;
}

Writer& StdErr() {
  static WinHandle stream(native::StandardHandle(native::StandardStream::kError), false, nullptr);
  return stream;
}

}  // namespace ztutil
