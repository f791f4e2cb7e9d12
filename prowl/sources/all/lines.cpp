#include "lines.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace prowl {

namespace {

std::size_t Footprint(const Line& line) { return sizeof line + line.text.size(); }

}  // namespace

void Lines::Take(const char* bytes, std::size_t count, double seconds, const Reader& reader) {
  const char* const end = bytes + count;
  while (bytes != end) {
    const auto* const feed =
        static_cast<const char*>(std::memchr(bytes, '\n', static_cast<std::size_t>(end - bytes)));
    Append(bytes, static_cast<std::size_t>((feed != nullptr ? feed : end) - bytes));
    if (feed == nullptr) return;
    Complete(seconds, reader);
    bytes = feed + 1;
  }
}

void Lines::Append(const char* bytes, std::size_t count) {
  const std::size_t taken = std::min(count, kMaxLineBytes - fUnfinished.text.size());
  fUnfinished.text.append(bytes, taken);
  fUnfinished.bytesCut += count - taken;
}

void Lines::Complete(double seconds, const Reader& reader) {
  Line line = std::exchange(fUnfinished, {});
  line.seconds = seconds;
  if (line.bytesCut == 0 && !line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  line.kind = reader(line.text);
  fKeptBytes += Footprint(line);
  fKept.push_back(std::move(line));
  for (; fKeptBytes > kMaxKeptBytes; ++fDropped) {
    fKeptBytes -= Footprint(fKept.front());
    fKept.pop_front();
  }
}

}  // namespace prowl
