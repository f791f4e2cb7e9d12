#include "channels/transfer.h"

#include <ztutil/buffer.h>
#include <ztutil/reader.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace ztutil {

namespace {

constexpr char kPreviewActive[] = "direct read while preview active";
constexpr char kRead[] = "read";

}  // namespace

Reader::Reader() = default;

Reader::Reader(Reader* delegate, bool own) { SetReader(delegate, own); }

Reader::~Reader() = default;

void Reader::SetReader(Reader* delegate, bool own) {
  SetChannel(delegate, own);
  fReader.Set(delegate);
}

std::size_t Reader::ReadSome(void* buf, std::size_t n) {
  RequireNoPreviewer();
  RequireOpen();
  return n != 0 ? RequireAtMost(ReadSomeImpl(buf, n), n, kRead) : 0;
}

bool Reader::Read(void* buf, std::size_t n) {
  if (fPreviewer != nullptr) throw std::logic_error(kPreviewActive);
  RequireOpen();
  return ReadLoop(buf, n, [this](void* cursor, std::size_t rest) { return ReadSomeImpl(cursor, rest); });
}

void Reader::Unread(const void* buf, std::size_t n) {
  auto pushback = std::make_unique<Buffer>(n);
  pushback->CopyIn(buf, n);
  pushback->SetOffset(0);
  fPushback = std::move(pushback);
  OnPushback(n);
}

void Reader::SetPreviewer(void* previewer) {
  if (fPreviewer != nullptr) throw std::runtime_error("Reader: Previewer already active");
  fPreviewer = previewer;
}

void Reader::ClearPreviewer() { fPreviewer = nullptr; }

std::size_t Reader::PreviewRead(void* buf, std::size_t n) {
  struct Suspended {
    explicit Suspended(void*& field) : place(field), previewer(std::exchange(field, nullptr)) {}
    ~Suspended() { place = previewer; }
    void*& place;
    void* const previewer;
  };
  const Suspended suspended(fPreviewer);
  return ReadSome(buf, n);
}

void Reader::TakeBack(Buffer*& buffer) {
  if (fPushback != nullptr) {
    fPushback->SeekBy(-static_cast<std::int64_t>(buffer->GetEndOfData()));
  } else {
    buffer->SetOffset(0);
    fPushback.reset(std::exchange(buffer, nullptr));
    OnPushback(fPushback->GetEndOfData());
  }
  fPreviewer = nullptr;
  delete std::exchange(buffer, nullptr);
}

bool Reader::ReadLoop(void* buf, std::size_t n, const ReadFunc& readFunction) {
  auto* const begin = static_cast<std::uint8_t*>(buf);
  const std::size_t got = Transfer(begin, n, [&](std::uint8_t* cursor, std::size_t rest) {
    return RequireAtMost(readFunction(cursor, rest), rest, kRead);
  });
  if (got == n) return true;
  if (got != 0) Unread(begin, got);
  return false;
}

std::size_t Reader::ReadSomeImpl(void* buf, std::size_t n) {
  if (fPushback == nullptr) return DoReadSome(buf, n);
  const std::size_t count = std::min(n, fPushback->GetRemaining());
  fPushback->CopyOut(buf, count);
  if (fPushback->GetRemaining() == 0) fPushback.reset();
  return count != 0 ? count : DoReadSome(buf, n);
}

std::size_t Reader::DoReadSome(void* buf, std::size_t n) { return fReader.Of(*this).ReadSome(buf, n); }

void Reader::OnPushback(std::size_t) {}

std::int32_t Reader::ReadByte() {
  RequireNoPreviewer();
  RequireOpen();
  std::uint8_t byte = 0;
  return RequireAtMost(ReadSomeImpl(&byte, 1), 1, kRead) != 0 ? byte : -1;
}

void Reader::RequireNoPreviewer() const {
  if (fPreviewer != nullptr) throw std::runtime_error(kPreviewActive);
}

}  // namespace ztutil
