// Loggers take the lines that a program says about itself. The one that was made last and still lives gets
// them. Include ztlogging.h to log; logsinks.h has loggers for files and streams.
#ifndef ZTUTIL_LOGGER_H_
#define ZTUTIL_LOGGER_H_

#include "printfformat.h"
#include "stackable.h"

#include <boost/shared_ptr.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ztutil {

// Making a logger installs it, and tells the one beneath; its end gives the output back. Where nobody has
// made one, what is said first makes a ZTFileLogger, which stays.
//
// A message is a line: the prefix, the text, an end of line. With all fields the prefix is
//   00012_2020/03/09_14:05:33.127(+00.015)[Launcher]
// and a blank: sequence number, local date and time, seconds since the message before, thread; then the
// indentation.
//
// Operations are called through a ZTLoggerLock; to indent, through CurrentLogger. The lock of the stack comes
// before LoggingMutex: nobody who has only the second may log, or make or destroy a logger.
class ZTLogger : public Stackable<ZTLogger> {
 public:
  // The fields of the prefix.
  enum FormatFlags : std::uint32_t {
    kLogSequence = 0x001,
    kLogYear = 0x002,
    kLogMonth = 0x004,
    kLogDay = 0x008,
    kLogHour = 0x010,
    kLogMinute = 0x020,
    kLogSecond = 0x040,
    kLogDelta = 0x080,
    kLogThread = 0x100,
    kLogAll = 0x1FF,
    kLogReserved = 0x200,  // never set
  };

  ~ZTLogger() override;

  // A disabled logger hides the ones beneath all the same.
  virtual bool IsEnabled() const;

  // When the message before this one, and this one, were said, on the clock of Now.
  virtual void GetPreviousTime(double& out) const;
  virtual void GetCurrentTime(double& out) const;

  // The last part of a path with either separator.
  virtual std::string GetBaseName(const char* path) const;

  // Writes one message and flushes. A text that ends a line itself gets no second end.
  virtual void VPrint(const char* file, int line, const char* format, std::va_list arguments)
      ZTUTIL_PRINTF_FORMAT(4, 0);

  // What stands in front of a message. The place in the source isn't shown.
  virtual std::string MakePrefix(const char* file, int line);

  // Reserved; empty.
  virtual std::string GetExtraText() const;

  // Brings what was written to its destination; the base does nothing.
  virtual void Flush();

  // The base gives one line feed.
  virtual std::string GetEndOfLine() const;

  virtual void Write(const void* bytes, std::size_t count) = 0;

  // Says something; `file` and `line` are the caller's. The format is printf's.
  void Print(const char* file, int line, const char* format, ...) ZTUTIL_PRINTF_FORMAT(4, 5);

  // Setting gives back the old flags. Bits without a field are kept; with any bit set a blank ends
  // the prefix.
  std::uint32_t GetFormatFlags() const { return fFormatFlags; }
  std::uint32_t SetFormatFlags(std::uint32_t flags);

  // Messages stand one blank further to the right, or to the left. Outdent below 0 throws std::length_error
  // with "string too long", and the depth stays negative.
  const std::string& GetIndentText() const { return fIndentText; }
  void Indent();
  void Outdent();

 protected:
  // Not null.
  explicit ZTLogger(const char* name);

 private:
  void SetIndent(std::int32_t depth);

  double fPreviousTime;
  double fCurrentTime;
  std::int32_t fLineCount = 0;
  std::string fName;
  std::uint32_t fFormatFlags = kLogAll;
  std::int32_t fIndent = 0;
  std::string fIndentText;
};

// The current logger, enabled or not; none where flags, and so logging, can't be initialised.
Stackable<ZTLogger>::Held CurrentLogger();

// The way to the current logger, which stays the current one, and silent towards other threads, as long as
// this or a copy of it lives. Empty when there is no logger or the current one is disabled. To be kept for
// one message.
class ZTLoggerLock {
 public:
  // The current logger, enabled or not, and the lock. For those who need no copies.
  struct PtrAndLock {
    PtrAndLock();

    // False without a logger.
    bool IsEnabled() const noexcept;

    const Stackable<ZTLogger>::Held fLogger;
    const boost::unique_lock<boost::recursive_mutex> fLock;
  };

  ZTLoggerLock();

  explicit operator bool() const { return fPtrAndLock != nullptr; }
  ZTLogger* operator->() const { return fPtrAndLock->fLogger.get(); }

 private:
  boost::shared_ptr<PtrAndLock> fPtrAndLock;
};

// Indent and outdent the current logger, and give back their argument. Throw std::runtime_error with
// "Stackable: nullptr" when there is none.
std::uintptr_t IndentLog(std::uintptr_t word);
std::uintptr_t OutdentLog(std::uintptr_t word);

}  // namespace ztutil

#endif  // ZTUTIL_LOGGER_H_
