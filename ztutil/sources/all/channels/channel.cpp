#include "channels/transfer.h"

#include <ztutil/channel.h>

#include <stdexcept>

namespace ztutil {

namespace {

constexpr char kWrite[] = "write";

template <class Function>
void Loop(const void* buf, std::size_t n, const Function& write) {
  Transfer(static_cast<const std::uint8_t*>(buf), n, [&](const std::uint8_t* cursor, std::size_t rest) {
    const std::size_t count = RequireAtMost(write(cursor, rest), rest, kWrite);
    if (count == 0) throw std::logic_error("WriteFunc should never return 0");
    return count;
  });
}

}  // namespace

void WriteLoop(const void* buf, std::size_t n, const WriteFunc& writeFunction) {
  Loop(buf, n, writeFunction);
}

Writer::Writer(Writer* delegate, bool own) { SetWriter(delegate, own); }

void Writer::SetWriter(Writer* delegate, bool own) {
  SetChannel(delegate, own);
  fWriter.Set(delegate);
}

std::size_t Writer::WriteSome(const void* buf, std::size_t n) {
  RequireOpen();
  if (n == 0) return 0;
  const std::size_t count = RequireAtMost(WriteSomeImpl(buf, n), n, kWrite);
  if (count == 0) throw std::logic_error("DoWriteSome should never return 0 if nbytes > 0");
  return count;
}

void Writer::Write(const void* buf, std::size_t n) {
  RequireOpen();
  Loop(buf, n, [this](const void* cursor, std::size_t rest) { return WriteSomeImpl(cursor, rest); });
}

std::size_t Writer::WriteSomeImpl(const void* buf, std::size_t n) { return DoWriteSome(buf, n); }

void Writer::Flush() { RequireOpen(); }

std::size_t Writer::DoWriteSome(const void* buf, std::size_t n) {
  return fWriter.Of(*this).WriteSome(buf, n);
}

Seeker::Seeker(Seeker* delegate, bool own) { SetSeeker(delegate, own); }

void Seeker::SetSeeker(Seeker* delegate, bool own) {
  SetChannel(delegate, own);
  fSeeker.Set(delegate);
}

std::int64_t Seeker::Tell() {
  RequireOpen();
  return DoTell();
}

void Seeker::Seek(std::int64_t position) {
  RequireOpen();
  DoSeek(position);
}

void Seeker::SeekBy(std::int64_t delta) {
  RequireOpen();
  DoSeekBy(delta);
}

void Seeker::SeekEnd() {
  RequireOpen();
  DoSeekEnd();
}

std::int64_t Seeker::DoTell() { return fSeeker.Of(*this).Tell(); }

void Seeker::DoSeek(std::int64_t position) { fSeeker.Of(*this).Seek(position); }

void Seeker::DoSeekBy(std::int64_t delta) { fSeeker.Of(*this).SeekBy(delta); }

void Seeker::DoSeekEnd() { fSeeker.Of(*this).SeekEnd(); }

RandomAccess::RandomAccess(RandomAccess* delegate, bool own) { SetRandomAccess(delegate, own); }

// Not by the roles' own setters: each of them would replace the owner that the one before has set.
void RandomAccess::SetRandomAccess(RandomAccess* delegate, bool own) {
  SetChannel(delegate, own);
  fReader.Set(delegate);
  fWriter.Set(delegate);
  fSeeker.Set(delegate);
  fRandomAccess.Set(delegate);
}

void RandomAccess::SetEnd() {
  RequireOpen();
  DoSetEnd();
}

void RandomAccess::DoSetEnd() { fRandomAccess.Of(*this).SetEnd(); }

}  // namespace ztutil
