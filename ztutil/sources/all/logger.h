// Loggers: whoever has something to say says it to the one that was made last and still lives.
#ifndef ZTUTIL_LOGGER_H_
#define ZTUTIL_LOGGER_H_

#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace ztutil {

// Making a logger installs it; its end gives the output back to the one beneath. Any thread may do either.
class ZTLogger {
 public:
  // A disabled logger still hides the ones beneath.
  virtual ~ZTLogger();
  virtual bool IsEnabled() const;

  // Writes one message: the prefix, the text, the end of the line; then flushes. To be called through a
  // ZTLoggerLock. `file` and `line` are the caller's.
  void Print(const char* file, int line, const char* format, ...)
#ifdef __GNUC__
      __attribute__((format(printf, 4, 5)))
#endif
      ;

  // Every message from here on stands one blank further to the right, or to the left. Called under the lock.
  void Indent();
  void Outdent();

  ZTLogger(const ZTLogger&) = delete;
  ZTLogger& operator=(const ZTLogger&) = delete;

 protected:
  explicit ZTLogger(const char* name);

  // What stands in front of each message; the base gives the indentation.
  virtual std::string MakePrefix(const char* file, int line);

  // Brings what was written to its destination; the base does nothing.
  virtual void Flush();

  // What ends a message; the base gives one line feed.
  virtual std::string GetEndOfLine() const;

  virtual void Write(const void* bytes, std::size_t count) = 0;

 private:
  const std::string fName;
  std::string fIndentText;
};

// The one way to the current logger, which stays the current one, and silent towards other threads, as long
// as this lives. Empty when there is no logger or the current one is disabled.
class ZTLoggerLock {
 public:
  ZTLoggerLock();

  explicit operator bool() const { return fLogger != nullptr; }
  ZTLogger* operator->() const { return fLogger; }

 private:
  boost::unique_lock<boost::recursive_mutex> fStackLock;
  boost::unique_lock<boost::recursive_mutex> fLoggingLock;
  ZTLogger* fLogger;
};

}  // namespace ztutil

#endif  // ZTUTIL_LOGGER_H_
