// The loggers that there are: to a file, a standard stream, the debugger, or nowhere. None reports a failure:
// what can't be written is lost.
#ifndef ZTUTIL_LOGSINKS_H_
#define ZTUTIL_LOGSINKS_H_

#include "logger.h"

#include <cstdio>

namespace ztutil {

// Silences a stretch of the program.
class ZTNullLogger : public ZTLogger {
 public:
  ZTNullLogger() : ZTNullLogger(Hold()) {}
  ~ZTNullLogger() override;

  // ZTLogger
  bool IsEnabled() const override;
  void VPrint(const char* file, int line, const char* format, std::va_list arguments) override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  explicit ZTNullLogger(const Hold&) : ZTLogger("ZTNullLogger") {}
};

// Writes to "ztlog.txt" in the LogDirectory. The first one of a process begins a new file, a later one adds
// to it. The file is open only while a message is written, and one that has stayed empty goes with the
// logger.
class ZTFileLogger : public ZTLogger {
 public:
  ZTFileLogger() : ZTFileLogger(Hold()) {}
  ~ZTFileLogger() override;

  // ZTLogger
  void Flush() override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  explicit ZTFileLogger(const Hold&);

  std::FILE* fStream = nullptr;
  std::string fPath;
};

// Writes to a standard stream, which isn't owned, each message at once when it is flushed. A message that
// can't be written is lost: no later one carries a piece of it. A null stream swallows everything.
class ZTStdioLogger : public ZTLogger {
 public:
  explicit ZTStdioLogger(std::FILE* stream) : ZTStdioLogger(Hold(), stream) {}
  ~ZTStdioLogger() override;

  // ZTLogger
  void Flush() override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  ZTStdioLogger(const Hold&, std::FILE* stream);

  std::FILE* const fStream;
  std::string fMessage;  // what has been written and not flushed
};

// Hands its text to the debugger.
class ZTDebugStrLogger : public ZTLogger {
 public:
  ZTDebugStrLogger() : ZTDebugStrLogger(Hold()) {}
  ~ZTDebugStrLogger() override;

  // ZTLogger
  std::string GetEndOfLine() const override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  explicit ZTDebugStrLogger(const Hold&) : ZTLogger("DebugStr") {}
};

// Gathers the messages that are said during its life into one line of the logger beneath it, with a blank
// between them. Throws std::runtime_error with "Stackable: nullptr" from Print if there is none beneath.
class SingleLineLogger : public ZTLogger {
 public:
  // Null means "SingleLineLogger".
  explicit SingleLineLogger(const char* name = nullptr) : SingleLineLogger(Hold(), name) {}
  ~SingleLineLogger() override;

  // ZTLogger
  std::string MakePrefix(const char* file, int line) override;
  std::string GetEndOfLine() const override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  SingleLineLogger(const Hold&, const char* name);

  std::int32_t fCalls = 0;
};

}  // namespace ztutil

#endif  // ZTUTIL_LOGSINKS_H_
