// Where a log message's text is put together.
#ifndef ZTUTIL_MESSAGESTREAM_H_
#define ZTUTIL_MESSAGESTREAM_H_

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace ztutil {

// A stream as if newly made, deaf to the global locale, taken from those that earlier messages have left:
// making one costs more than writing a message to it. To be used under LoggingMutex. Several may live at
// once, since what is put into a message may log.
class MessageStream {
 public:
  MessageStream();
  ~MessageStream();
  MessageStream(const MessageStream&) = delete;
  MessageStream& operator=(const MessageStream&) = delete;

  std::ostream& operator*() const { return fStream->stream; }

  // What was written so far.
  const std::string& Text() const { return fStream->buffer.fText; }

 private:
  // Puts what is written into a string.
  class TextBuffer : public std::streambuf {
   public:
    std::string fText;

   protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;
  };

  struct Stream {
    Stream();
    void Renew();  // undoes what a message may have changed

    TextBuffer buffer;
    std::ostream stream{&buffer};
  };

  static std::vector<std::unique_ptr<Stream>>& Spare();

  std::unique_ptr<Stream> fStream;
};

}  // namespace ztutil

#endif  // ZTUTIL_MESSAGESTREAM_H_
