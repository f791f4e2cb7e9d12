// Where loggers write to.
#ifndef ZTUTIL_LOGSINKS_H_
#define ZTUTIL_LOGSINKS_H_

#include "logger.h"

#include <cstdio>

namespace ztutil {

// A logger on a standard stream, flushed after each message. A message that can't be written is lost: no
// later one carries a piece of it.
class ZTStdioLogger : public ZTLogger {
 public:
  // The stream isn't owned; null swallows everything.
  explicit ZTStdioLogger(std::FILE* stream);

 protected:
  void Flush() override;
  void Write(const void* bytes, std::size_t count) override;

 private:
  std::FILE* const fStream;
  bool fInLine = false;  // something of a message has been written
};

}  // namespace ztutil

#endif  // ZTUTIL_LOGSINKS_H_
