// Which of a launcher's runs a thread means when it waits or kills, and what is known of the last one.
#ifndef ZTUTIL_LAUNCHERRUNS_H_
#define ZTUTIL_LAUNCHERRUNS_H_

#include <ztutil/winhandle.h>

#include <boost/thread/tss.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

namespace ztutil {

// Thrown inside a launch that the system refuses: the launch's own text, and the system's error.
struct LaunchRefusal {
  const char* text;
  std::uint32_t error;
};

// The runs of one launcher, and how the last one has begun and ended. Run is what a platform knows of one
// child, from before there is one. Any thread may call.
template <class Run>
class LauncherRuns {
 public:
  // Has `start` launch a new run, which is the last one from here on, and the calling thread's own. A refusal
  // becomes the start error, and the exception that callers know.
  template <class Start>
  auto Launch(Start start) {
    const std::shared_ptr<Run> run = Begin();
    try {
      return start(*run);
    } catch (const LaunchRefusal& refusal) {
      SetStartError(run, refusal.error);
      throw std::runtime_error(refusal.text);
    }
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

  std::string GetStartError() const {
    const Lock lock(fMutex);
    return fStartError;
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

  // A run that has no child yet.
  std::shared_ptr<Run> Begin() {
    auto run = std::make_shared<Run>();
    GetOwn().reset(new Own{fNumber, run});
    std::shared_ptr<Run> last = run;  // the former one goes without the lock
    const Lock lock(fMutex);
    fLast.swap(last);
    fStartError.clear();
    return run;
  }

  void SetStartError(const std::shared_ptr<Run>& run, std::uint32_t error) {
    std::string text = WinErrorText(nullptr, error);
    text.erase(text.find_last_not_of(" \r\n") + 1);  // Windows ends it as a line
    if (text.empty()) text = "error " + std::to_string(error);
    const Lock lock(fMutex);
    if (run == fLast) fStartError.swap(text);
  }

  static std::uint64_t NextNumber() {
    static std::atomic<std::uint64_t> count{0};
    return ++count;
  }

  const std::uint64_t fNumber = NextNumber();

  mutable std::mutex fMutex;  // leaf; guards the fields below
  std::shared_ptr<Run> fLast = std::make_shared<Run>();
  std::string fStartError;
  std::optional<std::uint32_t> fRawEnd;
};

}  // namespace ztutil

#endif  // ZTUTIL_LAUNCHERRUNS_H_
