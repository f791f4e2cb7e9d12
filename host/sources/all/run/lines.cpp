#include "lines.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace gpuprowler {

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

void Lines::Mark(std::uint64_t first, std::uint64_t last, LineKind kind) {
  for (std::uint64_t line = std::max(first, fDropped); line <= last; ++line)
    fKept[static_cast<std::size_t>(line - fDropped)].kind = kind;
}

void Lines::Append(const char* bytes, std::size_t count) {
  const std::size_t taken = std::min(count, kMaxLineBytes - fUnfinished.text.size());
  fUnfinished.text.append(bytes, taken);
  fUnfinished.bytesCut += count - taken;
  const std::size_t tail = std::min(count - taken, kMaxTailBytes);
  if (fTail.size() + tail > kMaxTailBytes) fTail.erase(0, fTail.size() + tail - kMaxTailBytes);
  fTail.append(bytes + count - tail, tail);
}

void Lines::Complete(double seconds, const Reader& reader) {
  Line line = std::exchange(fUnfinished, {});
  line.seconds = seconds;
  if (line.bytesCut == 0 && !line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  std::string tail = std::exchange(fTail, {});
  if (!tail.empty() && tail.back() == '\r') tail.pop_back();
  line.kind = reader(line.bytesCut == 0 ? line.text : line.text + tail);
  fKeptBytes += Footprint(line);
  fKept.push_back(std::move(line));
  for (; fKeptBytes > kMaxKeptBytes && !fKept.empty(); ++fDropped) {
    fKeptBytes -= Footprint(fKept.front());
    fKept.pop_front();
  }
}

}  // namespace gpuprowler
