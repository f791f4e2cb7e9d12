#include "outlet.h"

#include <boost/make_shared.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>

namespace prowl {

namespace {

constexpr std::size_t kUsualBytes = std::size_t{64} * 1024;
constexpr std::size_t kWideBytes = std::size_t{16} * 1024 * 1024;
constexpr double kJoinSeconds = 0.1;

}  // namespace

// What the thread and its owner share. The thread may outlive the owner, stuck in a write.
class Outlet::Writing {
 public:
  explicit Writing(ztutil::Writer& writer) : fWriter(writer) {}

  void Run() {
    Lock lock(fMutex);
    for (;;) {
      fCond.wait(lock, [this] { return fIsClosed || !fPending.empty(); });
      if (fIsClosed) return;
      const std::string bytes = std::exchange(fPending, {});
      fIsBusy = true;
      lock.unlock();
      const bool failed = !Write(bytes);
      lock.lock();
      fIsBusy = false;
      fHasFailed = fHasFailed || failed;
      fCond.notify_all();
    }
  }

  void Put(const char* bytes, std::size_t count) {
    Lock lock(fMutex);
    fCond.wait(lock, [this] { return HasRoomLocked(); });
    if (!fHasFailed) fPending.append(bytes, count);
    fCond.notify_all();
  }

  void Widen() {
    const Lock lock(fMutex);
    fMaxBytes = kWideBytes;
    fCond.notify_all();
  }

  void Close() {
    const Lock lock(fMutex);
    fIsClosed = true;
    fCond.notify_all();
  }

  bool Drain(double seconds) {
    Lock lock(fMutex);
    return fCond.wait_for(lock, std::chrono::duration<double>(seconds),
                          [this] { return fHasFailed || (!fIsBusy && fPending.empty()); });
  }

  bool HasRoom() const {
    const Lock lock(fMutex);
    return HasRoomLocked();
  }

  bool HasFailed() const {
    const Lock lock(fMutex);
    return fHasFailed;
  }

 private:
  using Lock = std::unique_lock<std::mutex>;

  bool HasRoomLocked() const { return fHasFailed || fPending.size() < fMaxBytes; }

  bool Write(const std::string& bytes) noexcept {
    try {
      fWriter.Write(bytes.data(), bytes.size());
      return true;
    } catch (...) {
      return false;
    }
  }

  ztutil::Writer& fWriter;
  mutable std::mutex fMutex;  // guards what follows
  std::condition_variable fCond;
  std::string fPending;
  std::size_t fMaxBytes = kUsualBytes;
  bool fIsBusy = false;
  bool fIsClosed = false;
  bool fHasFailed = false;
};

Outlet::Outlet(ztutil::Writer& writer) : fWriting(boost::make_shared<Writing>(writer)) {
  fThread.Start([writing = fWriting] { writing->Run(); });
}

Outlet::~Outlet() {
  fWriting->Close();
  if (!fThread.TimedJoin(kJoinSeconds)) fThread.Abandon();
}

void Outlet::Put(const char* bytes, std::size_t count) { fWriting->Put(bytes, count); }

void Outlet::Widen() { fWriting->Widen(); }

bool Outlet::HasRoom() const { return fWriting->HasRoom(); }

bool Outlet::Drain(double seconds) { return fWriting->Drain(seconds); }

bool Outlet::HasFailed() const { return fWriting->HasFailed(); }

}  // namespace prowl
