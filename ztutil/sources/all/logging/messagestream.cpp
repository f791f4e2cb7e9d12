#include <ztutil/messagestream.h>

#include <charconv>
#include <cstddef>
#include <locale>
#include <utility>
#include <vector>

namespace ztutil {

namespace {

// A text of more bytes takes its stream along.
constexpr std::size_t kKept = 4096;

constexpr int kPrecision = 6;  // of a new stream

// Neither is ever freed: threads may still log while the process ends.

std::vector<std::unique_ptr<MessageStream>>& Spare() {
  static auto* const spare = new std::vector<std::unique_ptr<MessageStream>>;
  return *spare;
}

// All of a stream that isn't its state, as it is in a new one.
const std::ios& NewFormat() {
  static const auto* const format = [] {
    auto* const made = new std::ios(nullptr);
    made->imbue(std::locale::classic());
    return made;
  }();
  return *format;
}

}  // namespace

std::streamsize MessageStream::TextBuffer::xsputn(const char* bytes, std::streamsize count) {
  fText.append(bytes, static_cast<std::size_t>(count));
  return count;
}

MessageStream::TextBuffer::int_type MessageStream::TextBuffer::overflow(int_type byte) {
  if (!traits_type::eq_int_type(byte, traits_type::eof())) fText += traits_type::to_char_type(byte);
  return traits_type::not_eof(byte);
}

MessageStream::MessageStream() : std::ostream(nullptr) { Renew(); }

void MessageStream::Renew() {
  fBuffer.fText.clear();
  if (fIsAsNew && good() && IsPlain() && fill() == ' ' && exceptions() == goodbit) return;
  rdbuf(&fBuffer);  // and the state is good again
  copyfmt(NewFormat());
}

MessageStream::Borrowed MessageStream::Borrow() {
  if (Spare().empty()) return Borrowed(new MessageStream);
  Borrowed stream(Spare().back().release());
  Spare().pop_back();
  return stream;
}

void MessageStream::GiveBack::operator()(MessageStream* stream) const noexcept {
  std::unique_ptr<MessageStream> owned(stream);
  try {
    if (owned->Text().size() > kKept) return;
    owned->Renew();
    Spare().push_back(std::move(owned));
  } catch (...) {
  }
}

// Whether a value looks as it does in a new stream. What a stranger's operator set, that one had first.
bool MessageStream::IsPlain() const {
  return flags() == (dec | skipws) && width() == 0 && precision() == kPrecision;
}

template <class Value, class Append>
void MessageStream::PutPlain(const Value& value, Append append) {
  if (!IsPlain())
    static_cast<std::ostream&>(*this) << value;
  else if (good())
    append(fBuffer.fText);
}

template <class Value, class... Format>
void MessageStream::PutNumber(Value value, Format... format) {
  PutPlain(value, [&](std::string& all) {
    char digits[32];
    const auto last = std::to_chars(digits, digits + sizeof digits, value, format...).ptr;
    all.append(digits, static_cast<std::size_t>(last - digits));
  });
}

void MessageStream::Put(const char* text) {
  if (text == nullptr) return setstate(badbit);
  PutPlain(text, [&](std::string& all) { all += text; });
}

void MessageStream::Put(const std::string& text) {
  PutPlain(text, [&](std::string& all) { all += text; });
}

void MessageStream::Put(int value) { PutNumber(value); }

void MessageStream::Put(double value) { PutNumber(value, std::chars_format::general, kPrecision); }

}  // namespace ztutil
