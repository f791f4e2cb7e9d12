#include "../ownhome.h"

#include <ztutil/managedthread.h>
#include <ztutil/platform.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <thread>
#include <vector>

namespace {

TEST(UserDirectory, IsTheCurrentOneWithoutADesktop) {
  _putenv_s("TEST_PROFILE", (OwnHome() + "\\nowhere").c_str());
  EXPECT_EQ(ztutil::platform::UserDirectory(), "");
  _putenv_s("TEST_PROFILE", OwnHome().c_str());
  EXPECT_EQ(ztutil::platform::UserDirectory(), OwnHome());
}

// Unguarded, the exception would end the process. Wine lets one pass, so that it can't tell a missing guard.
TEST(ThreadName, GoesToDebuggersFromManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      for (int turn = 0; turn < 100; ++turn) ztutil::ManagedThread::SetCurrentThreadName("name");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ProberProcess, CrashesWithoutADialogAndKeepsTheModeBesides) {
  const UINT former = SetErrorMode(SEM_FAILCRITICALERRORS);
  ztutil::platform::PrepareProberProcess();
  EXPECT_EQ(SetErrorMode(former), UINT{SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX});
}

}  // namespace
