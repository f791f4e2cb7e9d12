#include "system/threadname.h"

#include "system/platform.h"

#include <ztutil/classicstream.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <unordered_map>

namespace ztutil {

namespace {

using Lock = boost::lock_guard<boost::mutex>;

// Neither is ever freed, since abandoned threads outlive everything. The lock is a leaf, and a log line takes
// it: nothing logs under it.

// Guards ThreadNameTable.
boost::mutex& ThreadNameMutex() {
  static auto* const mutex = new boost::mutex;
  return *mutex;
}

// The names by thread id. It only grows.
std::unordered_map<std::string, std::string>& ThreadNameTable() {
  static auto* const table = new std::unordered_map<std::string, std::string>;
  return *table;
}

// The current thread's entry in the table, its id where nobody has set a name. It stays where it is, and only
// threads with this id change it, so that each looks it up once.
std::string& CurrentThreadEntry() {
  thread_local std::string* entry = nullptr;
  if (entry == nullptr) {
    ClassicStream id;
    id << boost::this_thread::get_id();
    const Lock lock(ThreadNameMutex());
    entry = &ThreadNameTable().try_emplace(id.str(), id.str()).first->second;
  }
  return *entry;
}

}  // namespace

void NameCurrentThread(const std::string& name) {
  std::string& entry = CurrentThreadEntry();
  const Lock lock(ThreadNameMutex());
  entry = name;
  platform::NameThreadForDebugger(name);
}

const std::string& CurrentThreadName() { return CurrentThreadEntry(); }

}  // namespace ztutil
