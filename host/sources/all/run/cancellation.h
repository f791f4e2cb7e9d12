// Who works until it's cancelled.
#ifndef GPUPROWLER_CANCELLATION_H_
#define GPUPROWLER_CANCELLATION_H_

#include <gpuprowler/answer.h>

#include <functional>
#include <list>
#include <memory>

namespace gpuprowler {

// As long as it lives, `wake` is called at the cancellation, on the thread that cancels, and not if that has
// been before. It must not wait for anything that waits for that thread.
class CancellationWatch {
 public:
  // Null is never cancelled.
  CancellationWatch(std::shared_ptr<Cancellation> cancellation, std::function<void()> wake);
  ~CancellationWatch();
  CancellationWatch(const CancellationWatch&) = delete;
  CancellationWatch& operator=(const CancellationWatch&) = delete;

  bool IsCancelled() const { return fCancellation != nullptr && fCancellation->IsCancelled(); }

 private:
  const std::shared_ptr<Cancellation> fCancellation;
  std::list<std::function<void()>>::iterator fPlace;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_CANCELLATION_H_
