// Threads that can be joined with a limit and given up on, and the names of threads.
#ifndef ZTUTIL_MANAGEDTHREAD_H_
#define ZTUTIL_MANAGEDTHREAD_H_

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/thread.hpp>

#include <cstddef>
#include <string>
#include <utility>

namespace ztutil {

// Owner of one thread, which may not end when it should: then it is abandoned. An abandoned thread runs on,
// is never joined, and stays counted. Objects have one owner at a time: calls on one object must not overlap,
// but for GetThread, which any thread may call; on several they may.
class ManagedThread {
 public:
  // The name is for the log; null gives an empty one.
  explicit ManagedThread(const char* name);
  // Abandons the thread, if there still is one.
  ~ManagedThread();
  ManagedThread(const ManagedThread&) = delete;
  ManagedThread& operator=(const ManagedThread&) = delete;

  // Takes the thread over, which comes from `new`. One that is held already is abandoned; null only does
  // that.
  void SetThread(boost::thread* thread);

  // Takes over a new thread that runs the task, and destroys it at its end: what a thread is made of stays as
  // long as the thread object, and that of an abandoned one stays for ever. Throws
  // boost::thread_resource_error when the system has no thread to give.
  template <class Task>
  void Start(const Task& task) {
    SetThread(new boost::thread([owned = boost::make_shared<Task>(task)]() mutable {
      const boost::shared_ptr<Task> running = std::move(owned);
      (*running)();
    }));
  }

  void SetName(const char* name);
  std::string GetName() const { return fName; }

  // The thread, or null; Thread asserts that there is one. It stays this object's.
  boost::thread* GetThread() const;
  boost::thread* Thread() const;

  // Waits for the thread to end, and forgets it. This and TimedJoin throw boost::thread_resource_error when a
  // thread joins itself.
  void Join();

  // Waits at most `seconds`; 0 and less only look, infinity waits for ever. True once the thread has ended,
  // and then it is forgotten; false if there is none or time ran out, and then the caller may wait again or
  // call Abandon.
  bool TimedJoin(double seconds);

  // Gives up on the thread, and says so in the log. Without a thread it does nothing.
  void Abandon();

  // How many threads are running or abandoned, in the whole process. Any thread.
  static std::size_t GetThreadCount();
  static std::size_t GetRunningThreadCount();

  // The name of the calling thread in the log and, cut to what the system has room for, in debuggers. Any
  // thread. A thread without a name goes by its id, and one that gets the id of a dead thread by that one's
  // name. What Get gives is there until the thread ends or gets another name.
  static void SetCurrentThreadName(const std::string& name);
  static const std::string& GetCurrentThreadName();

 private:
  void Remove();

  boost::shared_ptr<boost::thread> fThread;  // changed under the lock of the list
  std::string fName;
};

}  // namespace ztutil

#endif  // ZTUTIL_MANAGEDTHREAD_H_
