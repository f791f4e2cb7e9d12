#include "cancellation.h"

#include <utility>

namespace gpuprowler {

namespace {

using Lock = std::lock_guard<std::mutex>;

}  // namespace

void Cancellation::Cancel() {
  const Lock lock(fMutex);
  fCancelled = true;
  for (const std::function<void()>& wake : fWatchers) wake();
}

CancellationWatch::CancellationWatch(std::shared_ptr<Cancellation> cancellation, std::function<void()> wake)
    : fCancellation(std::move(cancellation)) {
  if (fCancellation == nullptr) return;
  const Lock lock(fCancellation->fMutex);
  fPlace = fCancellation->fWatchers.insert(fCancellation->fWatchers.end(), std::move(wake));
}

CancellationWatch::~CancellationWatch() {
  if (fCancellation == nullptr) return;
  const Lock lock(fCancellation->fMutex);
  fCancellation->fWatchers.erase(fPlace);
}

}  // namespace gpuprowler
