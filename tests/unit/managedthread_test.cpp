#include <ztutil/managedthread.h>
#include <ztutil/ztlogging.h>

#include <boost/thread/barrier.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>

namespace {

using ztutil::ManagedThread;

// A thread that runs until it is let go.
class Waiting {
 public:
  boost::thread* Start() {
    return new boost::thread([go = fGo] {
      while (!*go) boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
    });
  }
  void LetGo() { *fGo = true; }

 private:
  boost::shared_ptr<std::atomic<bool>> fGo{new std::atomic<bool>(false)};
};

TEST(ManagedThread, WaitsNoLongerThanToldAndForgetsWhatHasEnded) {
  const std::size_t before = ManagedThread::GetThreadCount();
  ManagedThread thread("name");
  EXPECT_FALSE(thread.TimedJoin(0.0));  // there is none
  Waiting waiting;
  thread.SetThread(waiting.Start());
  EXPECT_EQ(ManagedThread::GetRunningThreadCount(), before + 1);
  const double start = ztutil::Now();
  EXPECT_FALSE(thread.TimedJoin(0.05));
  EXPECT_GE(ztutil::Now() - start, 0.05);
  for (const double little :
       {0.0, -1.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(thread.TimedJoin(little));
  }
  waiting.LetGo();
  EXPECT_TRUE(thread.TimedJoin(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(thread.GetThread(), nullptr);
  EXPECT_EQ(ManagedThread::GetThreadCount(), before);
}

TEST(ManagedThread, AbandonedThreadsStayCounted) {
  const std::size_t before = ManagedThread::GetThreadCount();
  Waiting waiting;
  {
    ManagedThread thread(nullptr);
    EXPECT_EQ(thread.GetName(), "");
    thread.SetThread(waiting.Start());
    thread.SetThread(waiting.Start());  // gives the first one up
    EXPECT_EQ(ManagedThread::GetThreadCount(), before + 2);
    waiting.LetGo();
    thread.Join();
    EXPECT_EQ(ManagedThread::GetThreadCount(), before + 1);
    thread.Abandon();  // nothing left to abandon
  }
  EXPECT_EQ(ManagedThread::GetThreadCount(), before + 1);
}

TEST(ManagedThread, JoiningItselfThrows) {
  ManagedThread thread("self");
  boost::barrier barrier(2);
  bool threw = false;
  thread.SetThread(new boost::thread([&] {
    barrier.wait();
    try {
      thread.Join();
    } catch (const boost::thread_resource_error&) {
      threw = true;
    }
    barrier.wait();
  }));
  barrier.wait();
  barrier.wait();
  thread.Join();
  EXPECT_TRUE(threw);
}

TEST(ThreadName, IsTheIdUntilItIsSetAndTheLastOneSet) {
  boost::thread([] {
    std::ostringstream id;
    id << boost::this_thread::get_id();
    ManagedThread::SetCurrentThreadName(id.str());  // whatever a dead thread with this id has left
    EXPECT_EQ(ManagedThread::GetCurrentThreadName(), id.str());
    ManagedThread::SetCurrentThreadName("a name longer than the system's");
    ManagedThread::SetCurrentThreadName("1a2c(app.Launcher)");
    EXPECT_EQ(ManagedThread::GetCurrentThreadName(), "1a2c(app.Launcher)");
  }).join();
  EXPECT_NE(ManagedThread::GetCurrentThreadName(), "1a2c(app.Launcher)");
}

}  // namespace
