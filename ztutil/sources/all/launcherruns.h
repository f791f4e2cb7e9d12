// Which of a launcher's runs a thread means when it waits or kills.
#ifndef ZTUTIL_LAUNCHERRUNS_H_
#define ZTUTIL_LAUNCHERRUNS_H_

#include <boost/thread/tss.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

namespace ztutil {

// The runs of one launcher and how the last one has ended. Run is what a platform knows of one child, from
// before there is one. Any thread may call.
template <class Run>
class LauncherRuns {
 public:
  // A run that has no child yet. It is the last one from here on, and the calling thread's own.
  std::shared_ptr<Run> Begin() {
    auto run = std::make_shared<Run>();
    GetOwn().reset(new Own{fNumber, run});
    std::shared_ptr<Run> last = run;  // the former one goes without the lock
    const Lock lock(fMutex);
    fLast.swap(last);
    return run;
  }

  // Never null: before the first run there is one without a child.
  std::shared_ptr<Run> GetLast() const {
    const Lock lock(fMutex);
    return fLast;
  }

  // The calling thread's own run, else the last one.
  std::shared_ptr<Run> Get() const {
    const Own* const own = GetOwn().get();
    return own != nullptr && own->launcher == fNumber ? own->run : GetLast();
  }

  // Ignored if another run has begun since.
  void SetRawEnd(const std::shared_ptr<Run>& run, std::uint32_t rawEnd) {
    const Lock lock(fMutex);
    if (run == fLast) fRawEnd = rawEnd;
  }

  std::optional<std::uint32_t> GetRawEnd() const {
    const Lock lock(fMutex);
    return fRawEnd;
  }

 private:
  using Lock = std::lock_guard<std::mutex>;

  // The last run that a thread has begun, and whose it is: by number, since another launcher may come to lie
  // at the same address.
  struct Own {
    std::uint64_t launcher;
    std::shared_ptr<Run> run;
  };

  // Not thread_local: mingw-w64 frees a Boost thread's thread-locals before it calls their destructors. Never
  // destroyed, since an abandoned thread may outlive the statics.
  static boost::thread_specific_ptr<Own>& GetOwn() {
    static auto* const own = new boost::thread_specific_ptr<Own>;
    return *own;
  }

  static std::uint64_t NextNumber() {
    static std::atomic<std::uint64_t> count{0};
    return ++count;
  }

  const std::uint64_t fNumber = NextNumber();

  mutable std::mutex fMutex;  // leaf; guards the fields below
  std::shared_ptr<Run> fLast = std::make_shared<Run>();
  std::optional<std::uint32_t> fRawEnd;
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHERRUNS_H_
