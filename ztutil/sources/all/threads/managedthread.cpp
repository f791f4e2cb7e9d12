#include "system/deadline.h"
#include "system/threadname.h"

#include <ztutil/managedthread.h>
#include <ztutil/ztlogging.h>

#include <boost/assert.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>

#include <algorithm>
#include <utility>
#include <vector>

namespace ztutil {

namespace {

using Lock = boost::lock_guard<boost::mutex>;

// A join that could be interrupted takes the calling thread's lock under that of the other one, and two
// threads that join each other, each with a bound, would wait for ever.
using WithoutInterruption = boost::this_thread::disable_interruption;

DebugFlag gManagedThreadLog{"ManagedThreadLog"};
DebugFlag gConsoleAppLog{"ConsoleAppLog"};

// Neither is ever freed, since abandoned threads outlive everything. The lock is a leaf: nothing logs under
// it.

// Guards ManagedThreadList.
boost::mutex& ManagedThreadMutex() {
  static auto* const mutex = new boost::mutex;
  return *mutex;
}

// All threads that are running or abandoned.
std::vector<boost::shared_ptr<boost::thread>>& ManagedThreadList() {
  static auto* const list = new std::vector<boost::shared_ptr<boost::thread>>;
  return *list;
}

}  // namespace

ManagedThread::ManagedThread(const char* name) { SetName(name); }

ManagedThread::~ManagedThread() { Abandon(); }

void ManagedThread::SetThread(boost::thread* thread) {
  BOOST_ASSERT(thread == nullptr || thread != fThread.get());
  Abandon();
  if (thread == nullptr) return;
  boost::shared_ptr<boost::thread> owned(thread);
  const Lock lock(ManagedThreadMutex());
  ManagedThreadList().push_back(owned);
  fThread = std::move(owned);
}

void ManagedThread::SetName(const char* name) { fName = name != nullptr ? name : ""; }

boost::thread* ManagedThread::GetThread() const {
  const Lock lock(ManagedThreadMutex());
  return fThread.get();
}

boost::thread* ManagedThread::Thread() const {
  BOOST_ASSERT(fThread != nullptr);
  return fThread.get();
}

void ManagedThread::Join() {
  if (fThread == nullptr) return;
  const WithoutInterruption scope;
  fThread->join();
  Remove();
}

bool ManagedThread::TimedJoin(double seconds) {
  if (fThread == nullptr) return false;
  // One more, so that the wait is never short of what was asked for.
  const auto wait = ToMilliseconds(seconds) + boost::chrono::milliseconds(seconds > 0.0 ? 1 : 0);
  const WithoutInterruption scope;
  if (!fThread->try_join_for(wait)) return false;
  Remove();
  return true;
}

void ManagedThread::Abandon() {
  if (fThread == nullptr) return;
  if (DebugFlagValue(gManagedThreadLog) != 0 || DebugFlagValue(gConsoleAppLog) != 0) {
    LogText(__FILE__, __LINE__, [this](std::ostream& out) { out << "thread " << fName << " was abandoned"; });
  }
  const Lock lock(ManagedThreadMutex());
  fThread.reset();
}

// Takes the thread off the list, unless somebody else holds on to it.
void ManagedThread::Remove() {
  const Lock lock(ManagedThreadMutex());
  constexpr long kOursAndTheList = 2;
  if (fThread.use_count() == kOursAndTheList) {
    auto& list = ManagedThreadList();
    list.erase(std::remove(list.begin(), list.end(), fThread), list.end());
  }
  fThread.reset();
}

std::size_t ManagedThread::GetThreadCount() {
  const Lock lock(ManagedThreadMutex());
  return ManagedThreadList().size();
}

std::size_t ManagedThread::GetRunningThreadCount() { return GetThreadCount(); }

void ManagedThread::SetCurrentThreadName(const std::string& name) { NameCurrentThread(name); }

const std::string& ManagedThread::GetCurrentThreadName() { return CurrentThreadName(); }

}  // namespace ztutil
