#include "memorylogger.h"

#include <ztutil/clock.h>
#include <ztutil/debugflag.h>
#include <ztutil/managedthread.h>

#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <sstream>

namespace {

using ztutil::ManagedThread;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ManagedThread, WaitsNoLongerThanToldAndForgetsWhatHasEnded) {
  const std::size_t before = ManagedThread::GetThreadCount();
  ManagedThread thread("name");
  EXPECT_FALSE(thread.TimedJoin(0.0));  // there is none
  std::promise<void> go;
  thread.Start([&, until = go.get_future().share()] {
    until.wait();
    EXPECT_THROW(thread.TimedJoin(0.0), boost::thread_resource_error);  // itself
  });
  EXPECT_EQ(ManagedThread::GetRunningThreadCount(), before + 1);
  const double start = ztutil::Now();
  EXPECT_FALSE(thread.TimedJoin(0.05));
  EXPECT_GE(ztutil::Now() - start, 0.05);
  for (const double little : {0.0, -1.0, -kInfinity, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(thread.TimedJoin(little));
  }
  go.set_value();
  EXPECT_TRUE(thread.TimedJoin(kInfinity));
  EXPECT_EQ(thread.GetThread(), nullptr);
  EXPECT_EQ(ManagedThread::GetThreadCount(), before);
}

TEST(ManagedThread, AbandonedThreadsStayCountedAndAreTold) {
  const std::size_t before = ManagedThread::GetThreadCount();
  MemoryLogger logger;
  ztutil::DebugFlag flag{"ManagedThreadLog"}, appsFlag{"ConsoleAppLog"};
  ztutil::DebugFlagValue(flag) = 1;
  std::promise<void> go;
  std::atomic<bool> ended{false};
  const auto wait = [until = go.get_future().share()] { until.wait(); };
  {
    ManagedThread thread("first");
    thread.Start(wait);
    thread.SetName("second");
    thread.Start(
        [&] { wait(), boost::this_thread::sleep_for(boost::chrono::milliseconds(5)), ended = true; });
    EXPECT_EQ(ManagedThread::GetThreadCount(), before + 2);
    go.set_value();
    thread.Join();
    EXPECT_TRUE(ended);
    EXPECT_EQ(ManagedThread::GetThreadCount(), before + 1);
  }
  EXPECT_EQ(ManagedThread::GetThreadCount(), before + 1);
  std::swap(ztutil::DebugFlagValue(flag), ztutil::DebugFlagValue(appsFlag));
  ManagedThread(nullptr).Start([] {});
  ztutil::DebugFlagValue(appsFlag) = 0;
  EXPECT_EQ(logger.text, "thread second was abandoned\nthread  was abandoned\n");
}

TEST(ThreadName, IsTheIdUntilItIsSetAndTheLastOneSet) {
  std::ostringstream id;
  id << boost::this_thread::get_id();
  boost::thread([] {
    for (const char* const name : {"first", "second"}) {
      ManagedThread::SetCurrentThreadName(name);
      EXPECT_EQ(ManagedThread::GetCurrentThreadName(), name);
    }
  }).join();
  EXPECT_EQ(ManagedThread::GetCurrentThreadName(), id.str());
}

}  // namespace
