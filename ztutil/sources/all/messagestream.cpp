#include "messagestream.h"

#include <locale>
#include <utility>
#include <vector>

namespace ztutil {

namespace {

using Stream = std::unique_ptr<ClassicStream>;

// A text of more bytes takes its stream along.
constexpr std::streamoff kKept = 4096;

// Never freed: threads may still log while the process ends.
std::vector<Stream>& Spare() {
  static auto* const spare = new std::vector<Stream>;
  return *spare;
}

// What a message may have changed.
void Renew(ClassicStream& stream) {
  stream.exceptions(std::ios_base::goodbit);
  stream.clear();
  stream.str({});
  stream.flags(std::ios_base::skipws | std::ios_base::dec);
  stream.precision(6);
  stream.width(0);
  stream.fill(' ');
  if (stream.getloc() != std::locale::classic()) stream.imbue(std::locale::classic());
}

}  // namespace

MessageStream::MessageStream() {
  if (Spare().empty()) {
    fStream = std::make_unique<ClassicStream>();
    return;
  }
  fStream = std::move(Spare().back());
  Spare().pop_back();
}

MessageStream::~MessageStream() {
  try {
    if (fStream->tellp() > kKept) return;
    Renew(*fStream);
    Spare().push_back(std::move(fStream));
  } catch (...) {
  }
}

}  // namespace ztutil
