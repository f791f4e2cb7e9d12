// Where a log message's text is put together.
#ifndef ZTUTIL_MESSAGESTREAM_H_
#define ZTUTIL_MESSAGESTREAM_H_

#include "classicstream.h"

#include <memory>

namespace ztutil {

// A stream as if newly made, taken from those that earlier messages have left: making one costs more than
// writing a message to it. To be used under LoggingMutex. Several may live at once, since what is put into a
// message may log.
class MessageStream {
 public:
  MessageStream();
  ~MessageStream();
  MessageStream(const MessageStream&) = delete;
  MessageStream& operator=(const MessageStream&) = delete;

  ClassicStream& operator*() const { return *fStream; }
  ClassicStream* operator->() const { return fStream.get(); }

 private:
  std::unique_ptr<ClassicStream> fStream;
};

}  // namespace ztutil

#endif  // ZTUTIL_MESSAGESTREAM_H_
