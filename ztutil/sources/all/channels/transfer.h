// What readers and writers have in common: a transfer in as many pieces as it takes.
#ifndef ZTUTIL_TRANSFER_H_
#define ZTUTIL_TRANSFER_H_

#include <ztutil/channelbase.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace ztutil {

// The count that an implementation gave. Throws std::logic_error with "read returned more than asked" if it
// is more, where `operation` is "read".
inline std::size_t RequireAtMost(std::size_t count, std::size_t asked, const char* operation) {
  if (count > asked) throw std::logic_error(std::string(operation) + " returned more than asked");
  return count;
}

// Calls move(cursor, rest), which gives how many bytes it moved, until there is no rest or it gives 0; gives
// how many were moved. What it throws goes on as it is before the first byte, and as an XUnderrun behind it.
template <class Byte, class Move>
std::size_t Transfer(Byte* begin, std::size_t n, const Move& move) {
  std::size_t moved = 0;
  try {
    while (moved != n) {
      const std::size_t count = move(begin + moved, n - moved);
      if (count == 0) break;
      moved += count;
    }
  } catch (...) {
    if (moved == 0) throw;
    throw XUnderrun(moved, begin);
  }
  return moved;
}

}  // namespace ztutil

#endif  // ZTUTIL_TRANSFER_H_
