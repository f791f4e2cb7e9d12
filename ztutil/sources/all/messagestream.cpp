#include "messagestream.h"

#include <cstddef>
#include <locale>
#include <utility>

namespace ztutil {

namespace {

// A text of more bytes takes its stream along.
constexpr std::size_t kKept = 4096;

}  // namespace

std::streamsize MessageStream::TextBuffer::xsputn(const char* bytes, std::streamsize count) {
  fText.append(bytes, static_cast<std::size_t>(count));
  return count;
}

MessageStream::TextBuffer::int_type MessageStream::TextBuffer::overflow(int_type byte) {
  if (!traits_type::eq_int_type(byte, traits_type::eof())) fText += traits_type::to_char_type(byte);
  return traits_type::not_eof(byte);
}

MessageStream::Stream::Stream() { stream.imbue(std::locale::classic()); }

void MessageStream::Stream::Renew() {
  buffer.fText.clear();
  stream.clear();
  stream.flags(std::ios_base::skipws | std::ios_base::dec);
  stream.precision(6);
  stream.width(0);
  stream.fill(' ');
}

// Never freed: threads may still log while the process ends.
std::vector<std::unique_ptr<MessageStream::Stream>>& MessageStream::Spare() {
  static auto* const spare = new std::vector<std::unique_ptr<Stream>>;
  return *spare;
}

MessageStream::MessageStream() {
  if (Spare().empty()) {
    fStream = std::make_unique<Stream>();
    return;
  }
  fStream = std::move(Spare().back());
  Spare().pop_back();
}

MessageStream::~MessageStream() {
  try {
    if (Text().size() > kKept) return;
    fStream->Renew();
    Spare().push_back(std::move(fStream));
  } catch (...) {
  }
}

}  // namespace ztutil
