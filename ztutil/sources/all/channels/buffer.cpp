#include <ztutil/buffer.h>
#include <ztutil/failurehook.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace ztutil {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();

constexpr char kBadOffset[] = "Buffer: bad offset param";
constexpr char kBadState[] = "Buffer::SetState: bad args";

// A null pointer may come along with a count of 0.
void CopyBytes(void* to, const void* from, std::size_t n) {
  if (n != 0) std::memcpy(to, from, n);
}

}  // namespace

Buffer::Buffer(std::size_t capacity)
    : fCapacity(capacity), fFlags(kOwned | kGrowable), fData(new std::uint8_t[capacity]) {}

Buffer::Buffer(void* data, std::size_t size)
    : fEndOfData(size), fCapacity(size), fData(static_cast<std::uint8_t*>(data)) {
  if (data == nullptr && size != 0) throw std::runtime_error("Buffer: null buf with positive size");
}

Buffer::Buffer(const Buffer& other)
    : Channel(),
      Reader(),
      Writer(),
      Seeker(),
      RandomAccess(),
      fOffset(other.fOffset),
      fEndOfData(other.fEndOfData),
      fCapacity(other.fCapacity),
      fDirtyBegin(other.fDirtyBegin),
      fDirtyEnd(other.fDirtyEnd),
      fFlags((other.fFlags & kGrowable) | kOwned),
      fData(other.fCapacity != 0 ? new std::uint8_t[other.fCapacity] : nullptr) {
  if (fData != nullptr) CopyBytes(fData, other.fData, fEndOfData);
}

Buffer& Buffer::operator=(const Buffer& other) {
  Buffer copy(other);
  Swap(copy);
  return *this;
}

Buffer::Buffer(Buffer&& other) noexcept : Buffer(nullptr, 0) { Swap(other); }

Buffer& Buffer::operator=(Buffer&& other) noexcept {
  Buffer taken(std::move(other));
  Swap(taken);
  return *this;
}

Buffer::~Buffer() { Free(); }

void Buffer::Swap(Buffer& other) noexcept {
  std::swap(fOffset, other.fOffset);
  std::swap(fEndOfData, other.fEndOfData);
  std::swap(fCapacity, other.fCapacity);
  std::swap(fDirtyBegin, other.fDirtyBegin);
  std::swap(fDirtyEnd, other.fDirtyEnd);
  std::swap(fFlags, other.fFlags);
  std::swap(fData, other.fData);
}

bool Buffer::IsStateValid(std::size_t offset, std::size_t endOfData, std::size_t dirtyBegin,
                          std::size_t dirtyEnd) const {
  return offset <= endOfData && endOfData <= fCapacity && dirtyBegin <= dirtyEnd && dirtyEnd <= endOfData &&
         (fData != nullptr || fCapacity == 0);
}

void Buffer::SetState(std::size_t offset, std::size_t endOfData, std::size_t dirtyBegin,
                      std::size_t dirtyEnd) {
  if (!IsStateValid(offset, endOfData, dirtyBegin, dirtyEnd)) throw std::invalid_argument(kBadState);
  fOffset = offset;
  fEndOfData = endOfData;
  fDirtyBegin = dirtyBegin;
  fDirtyEnd = dirtyEnd;
}

void Buffer::SetEndOfData(std::size_t n) {
  if (!IsStateValid(fOffset, n, fDirtyBegin, fDirtyEnd)) {
    throw std::runtime_error("Buffer: bad endOfData param");
  }
  fEndOfData = n;
}

void Buffer::SetOffset(std::size_t n) {
  if (!IsStateValid(n, fEndOfData, fDirtyBegin, fDirtyEnd)) throw std::runtime_error(kBadOffset);
  fOffset = n;
}

void Buffer::SetDirtyBounds(std::size_t begin, std::size_t end) {
  if (!IsStateValid(fOffset, fEndOfData, begin, end)) throw std::runtime_error("Buffer: bad dirty bounds");
  fDirtyBegin = begin;
  fDirtyEnd = end;
}

void Buffer::Reset() { fOffset = fEndOfData = fDirtyBegin = fDirtyEnd = 0; }

void Buffer::SetBuffer(void* data, std::size_t size) {
  if (data == nullptr) {
    FailRequirement("Failed requirement: buf != NULL");
    if (size != 0) throw std::invalid_argument(kBadState);
  }
  Buffer taken(data, size);
  Swap(taken);
}

void Buffer::CopyOut(void* dst, std::size_t n) {
  if (n > GetRemaining()) throw std::runtime_error("Buffer: CopyOut nbytes too large");
  CopyBytes(dst, fData + fOffset, n);
  fOffset += n;
}

void Buffer::CopyIn(const void* src, std::size_t n) {
  if (n > GetSpace()) {
    if (!IsGrowable()) throw XUnderrun(0, nullptr);
    Grow(n - GetSpace());
  }
  CopyBytes(fData + fOffset, src, n);
  MarkWritten(n);
}

void Buffer::MarkWritten(std::size_t n) {
  if (n > GetSpace()) throw std::runtime_error(kBadOffset);
  fDirtyBegin = std::min(fDirtyBegin, fOffset);
  fOffset += n;
  fDirtyEnd = std::max(fDirtyEnd, fOffset);
  fEndOfData = std::max(fEndOfData, fOffset);
}

void Buffer::Grow(std::size_t extra) {
  if (!IsGrowable()) throw std::runtime_error("not IsGrowable");
  if (extra > kLargest - fCapacity) throw std::runtime_error("cannot Grow Buffer that large");
  const std::size_t wanted = fCapacity + extra;
  const std::size_t rounded = (wanted + (kPage - 1)) / kPage * kPage;
  Reallocate(wanted <= kLargest - (kPage - 1) ? rounded : wanted);
}

void Buffer::SetCapacity(std::size_t n) {
  if (n == fCapacity) return;
  RequireOwner();
  if (n < fEndOfData) throw std::runtime_error("shrinking Buffer would invalidate data");
  Reallocate(n);
}

std::int32_t Buffer::ReadByte() {
  if (IsPlain() && fOffset < fEndOfData) return fData[fOffset++];
  return Reader::ReadByte();
}

bool Buffer::DoClose() {
  const bool wasOpen = fData != nullptr;
  Free();
  fData = nullptr;
  fCapacity = 0;
  Reset();
  return wasOpen;
}

bool Buffer::DoIsOpen() const { return fData != nullptr; }

std::size_t Buffer::DoReadSome(void* buf, std::size_t n) {
  const std::size_t count = std::min(n, GetRemaining());
  CopyOut(buf, count);
  return count;
}

std::size_t Buffer::DoWriteSome(const void* buf, std::size_t n) {
  std::size_t count = std::min(n, GetSpace());
  if (count == 0) {
    if (!IsGrowable()) throw std::runtime_error("Buffer full");
    Grow(n);
    count = std::min(n, GetSpace());
  }
  CopyIn(buf, count);
  return count;
}

std::int64_t Buffer::DoTell() { return static_cast<std::int64_t>(fOffset); }

// A negative one is beyond all data as an offset.
void Buffer::DoSeek(std::int64_t position) {
  static_assert(sizeof position == sizeof(std::size_t), "no offset is cut");
  SetOffset(static_cast<std::size_t>(position));
}

void Buffer::DoSeekBy(std::int64_t delta) {
  const auto distance = static_cast<std::uint64_t>(delta);
  if (delta >= 0) {
    if (distance > kLargest - fOffset) throw std::runtime_error("Buffer: seek past EOF");
  } else if (0 - distance > fOffset) {
    throw std::runtime_error("Buffer: offset would be negative");
  }
  DoSeek(static_cast<std::int64_t>(fOffset + distance));
}

void Buffer::DoSeekEnd() { fOffset = fEndOfData; }

void Buffer::DoSetEnd() {
  if (fOffset == fCapacity) return;
  RequireOwner();
  SetState(fOffset, fOffset, std::min(fDirtyBegin, fOffset), std::min(fDirtyEnd, fOffset));
  Reallocate(fOffset);
}

void Buffer::RequireOwner() const {
  if (!IsOwner()) throw std::runtime_error("Buffer: ownership is required for this operation");
}

// Gives the data a new block of that size, which must be large enough.
void Buffer::Reallocate(std::size_t capacity) {
  auto* const data = new std::uint8_t[capacity];
  CopyBytes(data, fData, fEndOfData);
  Free();
  fData = data;
  fCapacity = capacity;
}

void Buffer::Free() {
  if (IsOwner()) delete[] fData;
}

}  // namespace ztutil
