// Where a log message's text is put together. It is a stream for the holder of LoggingMutex alone, which no
// message makes anew; whoever else wants a stream takes that of classicstream.h.
#ifndef ZTUTIL_MESSAGESTREAM_H_
#define ZTUTIL_MESSAGESTREAM_H_

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <type_traits>

namespace ztutil {

// A stream that puts what is written into a string. All is to be done under LoggingMutex.
class MessageStream : public std::ostream {
 public:
  struct GiveBack {
    void operator()(MessageStream* stream) const noexcept;
  };
  using Borrowed = std::unique_ptr<MessageStream, GiveBack>;

  // A stream as if newly made, deaf to the global locale: one that an earlier message has left, since making
  // one costs more than writing a message to it. Several may be out at once, since what is put into a message
  // may log.
  static Borrowed Borrow();

  // Has `build` write to the stream. One that gives back the stream as it came, and not as a std::ostream,
  // has put in nothing but what the operator below is for: then there is nothing to undo afterwards.
  template <class Build>
  void Fill(Build build) {
    fIsAsNew = false;
    build(*this);
    fIsAsNew = std::is_same_v<decltype(build(*this)), MessageStream&>;
  }

  const std::string& Text() const { return fBuffer.fText; }

  // Behind the operator.
  void Put(const char* text);
  void Put(const std::string& text);
  void Put(int value);
  void Put(double value);

 private:
  struct TextBuffer : public std::streambuf {
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;

    std::string fText;
  };

  MessageStream();
  void Renew();
  bool IsPlain() const;
  template <class Value, class Append>
  void PutPlain(const Value& value, Append append);
  template <class Value, class... Format>
  void PutNumber(Value value, Format... format);

  TextBuffer fBuffer;
  bool fIsAsNew = false;  // but for the text
};

// What most messages are made of goes past the stream's machinery, and looks as if it had gone through.
template <class Value, class Plain = std::decay_t<const Value>,
          class = std::enable_if_t<std::is_same_v<Plain, const char*> || std::is_same_v<Plain, std::string> ||
                                   std::is_same_v<Plain, int> || std::is_same_v<Plain, double>>>
MessageStream& operator<<(MessageStream& stream, const Value& value) {
  stream.Put(value);
  return stream;
}

}  // namespace ztutil

#endif  // ZTUTIL_MESSAGESTREAM_H_
