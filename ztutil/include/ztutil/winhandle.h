// Binary streams over what the operating system has: files, pipe ends, the standard streams. The same on
// every platform, whatever the name says.
#ifndef ZTUTIL_WINHANDLE_H_
#define ZTUTIL_WINHANDLE_H_

#include "channel.h"
#include "nativehandle.h"

#include <boost/filesystem/path.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace ztutil {

// "what failed: " and the system's text for the code; without `what` that text alone. Empty if the code is 0
// or the system has no text for it. Never throws.
std::string WinErrorText(const char* what, std::uint32_t code) noexcept;

// A refusal of the system: its error code, and WinErrorText for it. Calls have the same names on every
// platform, those of the operations' descriptions; code and text are the system's own.
class XWinErr : public std::runtime_error {
 public:
  explicit XWinErr(std::uint32_t code);
  XWinErr(const char* what, std::uint32_t code);

  std::uint32_t fCode;
};

// A stream on a handle of the system. A read blocks until there is something, a write until there is room,
// on Linux also where the descriptor is a non-blocking one. A failure of either is std::runtime_error with
// "ReadFile failed" or "WriteFile failed". A reader that has gone is such a failure and no SIGPIPE; a file
// beyond its limit of size does bring the SIGXFSZ with which the system then ends a process that hasn't
// ignored it. The end of a pipe's data is its writer's closing. Seek operations throw XWinErr with
// "SetFilePointerEx", also for what can't be sought, and SetEnd with "SetEndOfFile".
//
// Nothing is kept of what was read or written: each ReadByte is a call of the system.
//
// One thread at a time uses an object.
class WinHandle : public RandomAccess {
 public:
  // An owned handle is closed with this object, and `deletePath`, unless it is null, deleted then: the file
  // that it names now, wherever the process is by then. One that isn't owned is only forgotten, by all but
  // Close.
  WinHandle(NativeHandle handle, bool owned, const boost::filesystem::path* deletePath);
  ~WinHandle() override;

  // Takes another handle, and closes the one before if it was owned: so not to be called with the same one.
  void Reset(NativeHandle handle, bool owned, const boost::filesystem::path* deletePath);

 protected:
  bool DoClose() override;
  bool DoIsOpen() const override;

  std::size_t DoReadSome(void* buf, std::size_t n) override;

  std::size_t DoWriteSome(const void* buf, std::size_t n) override;

  std::int64_t DoTell() override;
  void DoSeek(std::int64_t position) override;
  void DoSeekBy(std::int64_t delta) override;
  void DoSeekEnd() override;

  void DoSetEnd() override;

 private:
  friend std::unique_ptr<WinHandle> OpenFile(const boost::filesystem::path& path, std::uint32_t access,
                                             std::uint32_t creation, bool deleteOnClose);
  friend std::unique_ptr<WinHandle> CreateTempFile(const boost::filesystem::path& prefix);

  // Takes a handle where there is none.
  void Own(NativeHandle handle);

  bool fOwned = false;
  NativeHandle fHandle = kInvalidHandle;
  boost::filesystem::path fDeletePath;
};

enum AccessFlags : std::uint32_t {
  kRead = 1,
  kWrite = 2,
  kReadWrite = 3,
};

enum CreationFlags : std::uint32_t {
  kOpenExisting = 0,
  kTruncateExisting = 1,  // needs kWrite
  kOpenAlways = 2,        // makes the file if it isn't there
  kCreateAlways = 3,      // makes or empties it
};

// Opens a file that others may open, too; the first gives a stream that owns the handle. Throw XWinErr with
// "CreateFileW", and before anything else std::invalid_argument with "OpenFile: bad access flags" or
// "OpenFile: bad creation flags".
std::unique_ptr<WinHandle> OpenFile(const boost::filesystem::path& path, std::uint32_t access,
                                    std::uint32_t creation, bool deleteOnClose);
NativeHandle OpenRawFile(const boost::filesystem::path& path, std::uint32_t access, std::uint32_t creation);

// The directory for temporary files, as an absolute path. Throws XWinErr with "GetTempPathW".
boost::filesystem::path GetTempDirectory();

// Makes an empty file with a name of its own in that directory, which begins with the first three characters
// of the prefix. Throws XWinErr with "GetTempFileNameW". The caller deletes the file.
boost::filesystem::path MakeTempPath(const boost::filesystem::path& prefix);

// Makes such a file, open for reading and writing and deleted when it closes. Throws as MakeTempPath, or
// XWinErr with "CreateFileW".
std::unique_ptr<WinHandle> CreateTempFile(const boost::filesystem::path& prefix);

// The process's standard streams. Made at the first use, by any thread, and not locked; gone when statics
// are.
Reader& StdIn();
Writer& StdOut();
Writer& StdErr();

}  // namespace ztutil

#endif  // ZTUTIL_WINHANDLE_H_
