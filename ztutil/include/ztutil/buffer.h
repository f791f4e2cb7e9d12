// A memory file: a stream over a block of bytes.
#ifndef ZTUTIL_BUFFER_H_
#define ZTUTIL_BUFFER_H_

#include "channel.h"

#include <cstddef>
#include <cstdint>

namespace ztutil {

// The block has a capacity, of which the first bytes up to the end of data are valid; the offset is where
// one reads and writes. Always offset <= end of data <= capacity.
//
// The dirty range spans what was written, from the lowest place to the highest. It begins as 0 to 0, so that
// it reaches down to 0 unless SetState or SetDirtyBounds said otherwise, and nothing but these two makes it
// smaller where the data stays.
//
// A buffer that owns its block may be growable, and then grows to a multiple of 4096 bytes where a write
// needs it. Each time it copies the data, so that many small pieces cost the square of their sum: who knows
// the sum calls SetCapacity first. One on the caller's memory is fixed, and that memory must outlive it. A
// closed buffer has no block, and all its sizes are 0.
//
// What was put back to it as a Reader isn't part of it: that is read first, also after Reset, Seek and
// SetBuffer, and isn't copied, moved, assigned or swapped. It waits behind Close for what is assigned next.
//
// An operation that throws leaves the buffer as it was.
class Buffer : public RandomAccess {
 public:
  // Owned and growable, open and empty. The bytes aren't cleared.
  explicit Buffer(std::size_t capacity);

  // On the caller's memory, all of which counts as data. Null is a closed buffer and goes with size 0 only:
  // else std::runtime_error with "Buffer: null buf with positive size".
  Buffer(void* data, std::size_t size);

  // Copies the data and the state, to a block of its own with the same capacity; of capacity 0 it is closed.
  Buffer(const Buffer& other);
  Buffer& operator=(const Buffer& other);

  // Takes the block and the state, and leaves the other closed.
  Buffer(Buffer&& other) noexcept;
  Buffer& operator=(Buffer&& other) noexcept;

  ~Buffer() override;
  void Swap(Buffer& other) noexcept;

  std::size_t GetOffset() const { return fOffset; }
  std::size_t GetEndOfData() const { return fEndOfData; }
  std::size_t GetCapacity() const { return fCapacity; }
  std::uint8_t* GetData() const { return fData; }
  std::size_t GetRemaining() const { return fEndOfData - fOffset; }  // bytes to the end of data
  std::size_t GetSpace() const { return fCapacity - fOffset; }       // bytes to the end of the block
  bool IsEmpty() const { return fEndOfData == 0; }
  bool IsFull() const { return fEndOfData == fCapacity; }
  bool IsOwner() const { return (fFlags & kOwned) != 0; }
  bool IsGrowable() const { return (fFlags & kGrowable) != 0; }
  bool IsDirty() const { return fDirtyEnd != fDirtyBegin; }
  std::size_t GetDirtyBegin() const { return fDirtyBegin; }
  std::size_t GetDirtyEnd() const { return fDirtyEnd; }
  std::size_t GetDirtySize() const { return fDirtyEnd - fDirtyBegin; }

  // True if the buffer could have these values: its rules hold, the dirty range lies in the data, and there
  // is a block unless the capacity is 0.
  bool IsStateValid(std::size_t offset, std::size_t endOfData, std::size_t dirtyBegin,
                    std::size_t dirtyEnd) const;

  // Each sets what IsStateValid allows. Else SetState throws std::invalid_argument with
  // "Buffer::SetState: bad args", the others std::runtime_error with "Buffer: bad endOfData param",
  // "Buffer: bad offset param" and "Buffer: bad dirty bounds".
  void SetState(std::size_t offset, std::size_t endOfData, std::size_t dirtyBegin, std::size_t dirtyEnd);
  void SetEndOfData(std::size_t n);
  void SetOffset(std::size_t n);
  void SetDirtyBounds(std::size_t begin, std::size_t end);

  // Empties the buffer. The block stays.
  void Reset();

  // Takes the caller's memory in place of the block, as the constructor does. Null is a failed requirement,
  // "Failed requirement: buf != NULL"; where the hook returns, null with a positive size is
  // std::invalid_argument with "Buffer::SetState: bad args".
  void SetBuffer(void* data, std::size_t size);

  // Copy all n bytes and move the offset, or throw: std::runtime_error with "Buffer: CopyOut nbytes too
  // large", and XUnderrun with count 0 where a fixed buffer has no room for them. The source lies outside
  // the block.
  void CopyOut(void* dst, std::size_t n);
  void CopyIn(const void* src, std::size_t n);

  // Counts n bytes at the offset as written, which the caller has put there. Beyond the block it throws
  // std::runtime_error with "Buffer: bad offset param".
  void MarkWritten(std::size_t n);

  // Adds at least that many bytes of capacity. Throws std::runtime_error with "not IsGrowable" or "cannot
  // Grow Buffer that large".
  void Grow(std::size_t extra);

  // Makes the block exactly that large. Throws std::runtime_error with "Buffer: ownership is required for
  // this operation" or "shrinking Buffer would invalidate data".
  void SetCapacity(std::size_t n);

  std::int32_t ReadByte() override;

 protected:
  bool DoClose() override;
  bool DoIsOpen() const override;

  std::size_t DoReadSome(void* buf, std::size_t n) override;

  // A fixed buffer takes what it has room for, and without any throws std::runtime_error with "Buffer full".
  std::size_t DoWriteSome(const void* buf, std::size_t n) override;

  // A place outside the data throws std::runtime_error with "Buffer: bad offset param", a step to a negative
  // one "Buffer: offset would be negative", a step that no number holds "Buffer: seek past EOF".
  std::int64_t DoTell() override;
  void DoSeek(std::int64_t position) override;
  void DoSeekBy(std::int64_t delta) override;
  void DoSeekEnd() override;

  // Shrinks the block to the offset, and throws as SetCapacity does for memory that isn't owned; at the
  // block's end it does nothing.
  void DoSetEnd() override;

 private:
  enum Flags : std::uint32_t { kOwned = 1, kGrowable = 2 };

  void RequireOwner() const;
  void Reallocate(std::size_t capacity);
  void Free();

  std::size_t fOffset = 0;
  std::size_t fEndOfData = 0;
  std::size_t fCapacity = 0;
  std::size_t fDirtyBegin = 0;
  std::size_t fDirtyEnd = 0;
  std::uint32_t fFlags = 0;
  std::uint8_t* fData = nullptr;
};

}  // namespace ztutil

#endif  // ZTUTIL_BUFFER_H_
