// Calls of the system that signals interrupt.
#ifndef ZTUTIL_LINUX_RETRY_H_
#define ZTUTIL_LINUX_RETRY_H_

#include <cerrno>

namespace ztutil {

// Repeats a call that gives -1 and EINTR while signals interrupt it.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace ztutil

#endif  // ZTUTIL_LINUX_RETRY_H_
