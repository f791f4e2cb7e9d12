// Reading from a binary stream, whatever is behind it: a pipe, a file, memory. Bytes can be put back.
#ifndef ZTUTIL_READER_H_
#define ZTUTIL_READER_H_

#include "channelbase.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace ztutil {

class Buffer;

// What was put back is read first. While a previewer is set, only PreviewRead reads: the others throw
// "direct read while preview active", Read as std::logic_error and the rest as std::runtime_error. A source
// that gives more than it was asked for is std::logic_error with "read returned more than asked".
class Reader : public virtual Channel {
 public:
  Reader();
  Reader(Reader* delegate, bool own);
  ~Reader() override;

  // As SetChannel. What was put back stays.
  void SetReader(Reader* delegate, bool own);

  // Reads up to n bytes, as many as are there at once; 0 at the end of the data, or for n = 0. Never mixes
  // bytes that were put back with bytes of the source.
  std::size_t ReadSome(void* buf, std::size_t n);

  // Reads n bytes, or gives false at the end of the data and puts back what it has got: the stream is as
  // before, though `buf` isn't. A failure after the first bytes is an XUnderrun with them, and then nothing
  // is put back.
  bool Read(void* buf, std::size_t n);

  // Puts a copy of the bytes back. Not to be called while others that were put back are still unread: those
  // would be lost.
  void Unread(const void* buf, std::size_t n);

  // Starts and ends a look ahead; the previewer is only told from others. Throws std::runtime_error with
  // "Reader: Previewer already active".
  void SetPreviewer(void* previewer);
  void ClearPreviewer();

  // ReadSome for the previewer.
  std::size_t PreviewRead(void* buf, std::size_t n);

  // Ends a look ahead as if nothing had been read. `buffer` comes from `new` and holds all that PreviewRead
  // gave; afterwards it is null, since the reader keeps or deletes it. A buffer that doesn't fit what was
  // read throws std::runtime_error with "Buffer: offset would be negative" or "Buffer: bad offset param",
  // stays the caller's, and the look ahead goes on.
  void TakeBack(Buffer*& buffer);

 protected:
  using ReadFunc = std::function<std::size_t(void* buf, std::size_t n)>;

  // What Read does, by that function.
  bool ReadLoop(void* buf, std::size_t n, const ReadFunc& readFunction);

  // True if neither a previewer nor bytes that were put back stand before the source.
  bool IsPlain() const { return fPreviewer == nullptr && fPushback == nullptr; }

  // Reads what was put back, else by DoReadSome. Called for n > 0 on an open channel.
  virtual std::size_t ReadSomeImpl(void* buf, std::size_t n);

  // Reads up to n bytes of the source and gives the count; 0 is the end of the data.
  virtual std::size_t DoReadSome(void* buf, std::size_t n);

  // Called after n bytes were put back.
  virtual void OnPushback(std::size_t n);

 public:
  // The next byte, 0 to 255, or -1 at the end of the data. Asks the source for this one byte.
  virtual std::int32_t ReadByte();

 private:
  friend class RandomAccess;

  void RequireNoPreviewer() const;

  Delegate<Reader> fReader;
  std::unique_ptr<Buffer> fPushback;
  void* fPreviewer = nullptr;
};

}  // namespace ztutil

#endif  // ZTUTIL_READER_H_
