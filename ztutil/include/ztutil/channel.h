// Binary streams by what one can do with them: Reader (reader.h), Writer, Seeker, and RandomAccess, which is
// all three. Streams over files and pipes are in winhandle.h, one over memory in buffer.h.
#ifndef ZTUTIL_CHANNEL_H_
#define ZTUTIL_CHANNEL_H_

#include "channelbase.h"
#include "reader.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace ztutil {

// Calls the function for what remains until all of it is written. A function that throws, or gives 0, which
// is std::logic_error with "WriteFunc should never return 0", or more than it was asked to write, the same
// with "write returned more than asked", ends the loop: with that exception if nothing was written, else with
// XUnderrun, which tells what was.
using WriteFunc = std::function<std::size_t(const void* buf, std::size_t n)>;
void WriteLoop(const void* buf, std::size_t n, const WriteFunc& writeFunction);

class Writer : public virtual Channel {
 public:
  Writer() = default;
  Writer(Writer* delegate, bool own);

  // As SetChannel.
  void SetWriter(Writer* delegate, bool own);

  // Writes at least one byte, maybe not all, and gives the count; 0 for n = 0 only. Throws std::logic_error
  // with "DoWriteSome should never return 0 if nbytes > 0" and "write returned more than asked".
  std::size_t WriteSome(const void* buf, std::size_t n);

  // Writes all, by WriteLoop.
  void Write(const void* buf, std::size_t n);

 protected:
  // What both of them call, for n > 0 on an open channel.
  virtual std::size_t WriteSomeImpl(const void* buf, std::size_t n);

 public:
  // Brings what was written to its destination. The base has nothing to bring, and forwards nothing; an
  // override calls it first.
  virtual void Flush();

 protected:
  virtual std::size_t DoWriteSome(const void* buf, std::size_t n);

 private:
  friend class RandomAccess;

  Delegate<Writer> fWriter;
};

// Positions are bytes from the start of the source. Bytes that a Reader has put back aren't counted, and a
// seek doesn't drop them.
class Seeker : public virtual Channel {
 public:
  Seeker() = default;
  Seeker(Seeker* delegate, bool own);

  // As SetChannel.
  void SetSeeker(Seeker* delegate, bool own);

  virtual std::int64_t Tell();
  virtual void Seek(std::int64_t position);
  virtual void SeekBy(std::int64_t delta);
  virtual void SeekEnd();

 protected:
  virtual std::int64_t DoTell();
  virtual void DoSeek(std::int64_t position);
  virtual void DoSeekBy(std::int64_t delta);
  virtual void DoSeekEnd();

 private:
  friend class RandomAccess;

  Delegate<Seeker> fSeeker;
};

class RandomAccess : public virtual Reader, public virtual Writer, public virtual Seeker {
 public:
  RandomAccess() = default;
  RandomAccess(RandomAccess* delegate, bool own);

  // As SetChannel, for all roles at once.
  void SetRandomAccess(RandomAccess* delegate, bool own);

  // Makes the data end at the current position.
  virtual void SetEnd();

 protected:
  virtual void DoSetEnd();

 private:
  Delegate<RandomAccess> fRandomAccess;
};

}  // namespace ztutil

#endif  // ZTUTIL_CHANNEL_H_
