// What a launcher does on Windows alone.
#include "../outcome.h"
#include "../testchild.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <future>
#include <vector>

namespace {

using ztutil::CreateLauncher;

TEST(LauncherWin, EndsAreCodesOf32Bits) {
  const struct {
    const char* action;
    const char* end;
    const char* description;
  } rows[] = {
      {"exit:255", "0 255", "exit status 255"},
      {"exit:256", "1 77", "exit status 256"},
      {"exit:3221225477", "1 77", "exception 0xC0000005 (access violation)"},
      {"crash", "1 77", "exception 0xC0000005 (access violation)"},
      {"exit:0xC0FFEE00", "1 77", "exception 0xC0FFEE00"},
      {"exit:0xFFFFFFFF", "1 77", "exit status 4294967295"},
  };
  const auto launcher = CreateLauncher();
  for (const auto& row : rows) {
    EXPECT_EQ(RunChild(*launcher, {row.action}), row.end) << row.action;
    EXPECT_EQ(ztutil::DescribeRawEnd(launcher->GetRawEnd().value()), row.description);
  }
  const ztutil::LaunchResult child = launcher->Launch(TestChild(), {"hang"});
  launcher->Kill();
  EXPECT_EQ(WaitFor(*launcher), "2 77");
  EXPECT_EQ(launcher->GetRawEnd(), 257u);
}

TEST(LauncherWin, TheChildGetsOneLine) {
  const auto launcher = CreateLauncher();
  std::string arrived;
  RunChild(*launcher, {"arguments", "", "a b", "say \"hi\"", "it's", "a'b\"c", "c:\\", "\xE9"}, &arrived);
  const std::wstring line =
      TestChild() + LR"( "arguments" "" "a b" 'say "hi"' "it's" "a'b\"c" "c:\" ")" + L"\xFFE9\"";
  EXPECT_EQ(arrived, std::string(reinterpret_cast<const char*>(line.data()), line.size() * sizeof line[0]));
}

// All that this process has open. Wine's GetProcessHandleCount says 0.
std::vector<HANDLE> OpenHandles() {
  constexpr std::uintptr_t kMost = 4000;
  std::vector<HANDLE> open;
  for (std::uintptr_t number = 1; number <= kMost; ++number) {
    HANDLE const handle = reinterpret_cast<HANDLE>(4 * number);
    DWORD flags = 0;
    if (GetHandleInformation(handle, &flags)) open.push_back(handle);
  }
  return open;
}

TEST(LauncherWin, EachLaunchKeepsTwoHandles) {
  const auto launch = [] {
    const auto launcher = CreateLauncher();
    RunChild(*launcher, {});
    EXPECT_NE(Outcome([&] { launcher->Launch(L"no-such-program", {}); }), "");
  };
  launch();  // what is made at first use stays
  const std::size_t before = OpenHandles().size();
  for (int i = 0; i < 10; ++i) launch();
  EXPECT_EQ(OpenHandles().size(), before + 2 * 10);
}

// The handle by which this process holds the child that runs.
HANDLE HandleOfRunningChild() {
  for (HANDLE const handle : OpenHandles()) {
    const DWORD id = GetProcessId(handle);
    if (id != 0 && id != GetCurrentProcessId() && WaitForSingleObject(handle, 0) == WAIT_TIMEOUT)
      return handle;
  }
  return nullptr;
}

HANDLE Duplicate(HANDLE handle, DWORD rights) {
  HANDLE const self = GetCurrentProcess();
  HANDLE copy = nullptr;
  DuplicateHandle(self, handle, self, &copy, rights, FALSE, rights == 0 ? DUPLICATE_SAME_ACCESS : 0);
  return copy;
}

// Windows refuses to end a process that has ended. Wine doesn't, so that a handle without the right to end it
// has to take the place of the launcher's own.
TEST(LauncherWin, ADeniedKillIsNoErrorButAnyOtherFailureIs) {
  const auto launcher = CreateLauncher();
  const ztutil::LaunchResult child = launcher->Launch(TestChild(), {"hang"});
  HANDLE const process = HandleOfRunningChild();
  ASSERT_NE(process, nullptr);
  HANDLE const able = Duplicate(process, 0);
  HANDLE const unable = Duplicate(process, SYNCHRONIZE | PROCESS_QUERY_INFORMATION);
  CloseHandle(process);
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "runtime: TerminateProcess failed");
  EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), "runtime: WaitForSingleObject failed");
  for (int tries = 0; GetProcessId(process) == 0 && tries < 100; ++tries) Duplicate(unable, 0);
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  EXPECT_EQ(WaitForSingleObject(able, 0), DWORD{WAIT_TIMEOUT});
  TerminateProcess(able, 300);
  EXPECT_EQ(WaitFor(*launcher), "2 77");
}

// A child that inherits an end of another's pipe holds up the end of that one's data until it ends itself.
TEST(LauncherWin, NoChildHoldsUpAnothersData) {
  std::atomic<bool> done{false};
  std::atomic<int> ended[2]{};
  const auto launchShortOnes = [&done](std::atomic<int>& count) {
    for (const auto launcher = CreateLauncher(); !done; ++count)
      EXPECT_EQ(RunChild(*launcher, {"say:x"}), "0 0");
  };
  auto first = std::async(std::launch::async, launchShortOnes, std::ref(ended[0]));
  auto second = std::async(std::launch::async, launchShortOnes, std::ref(ended[1]));
  const auto launcher = CreateLauncher();
  int kept = 0;
  for (bool inTime = true; inTime && kept + ended[0] + ended[1] < 500; ++kept) {
    ztutil::LaunchResult child = launcher->Launch(TestChild(), {"drain"});
    const int before[] = {ended[0], ended[1]};
    for (const int i : {0, 1})
      for (int tries = 0; tries < 20000 && ended[i] == before[i]; ++tries) Sleep(1);
    inTime = ended[0] > before[0] && ended[1] > before[1];
    EXPECT_TRUE(inTime) << "launch " << kept + before[0] + before[1];
    child.fStdin.reset();
    EXPECT_EQ(WaitFor(*launcher), "0 0");
  }
  done = true;
}

}  // namespace
