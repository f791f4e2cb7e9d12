// Calls of the system that signals interrupt, and those that would have to wait.
#ifndef ZTUTIL_LINUX_RETRY_H_
#define ZTUTIL_LINUX_RETRY_H_

#include <poll.h>

#include <cerrno>

namespace ztutil {

// Repeats a call that gives -1 and EINTR while signals interrupt it.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// The same for a transfer, which then also waits where the descriptor doesn't block, until there is the
// event: POLLIN or POLLOUT.
template <class Call>
auto RetryWaiting(int descriptor, short event, Call call) {
  for (;;) {
    const auto result = Retry(call);
    if (result != -1 || errno != EAGAIN) return result;
    pollfd wanted{descriptor, event, 0};
    if (Retry([&] { return poll(&wanted, 1, -1); }) == -1) return result;
  }
}

}  // namespace ztutil

#endif  // ZTUTIL_LINUX_RETRY_H_
