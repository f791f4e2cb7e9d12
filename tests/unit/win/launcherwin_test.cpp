// What a launcher does on Windows alone.
#include "../outcome.h"
#include "../testchild.h"

#include <boost/dll/runtime_symbol_info.hpp>
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <future>

namespace {

using ztutil::CreateLauncher;

TEST(LauncherWin, EndsAreCodesOf32Bits) {
  const struct {
    const char* action;
    const char* end;
    const char* description;
  } rows[] = {
      {"exit:256", "1 77", "exit status 256"},
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
  RunChild(*launcher, {"arguments", "", "a b", "say \"hi\"", "c:\\", "\xE9"}, &arrived);
  const std::wstring line = TestChild() + LR"( "arguments" "" "a b" 'say "hi"' "c:\" ")" + L"\xFFE9\"";
  EXPECT_EQ(arrived, std::string(reinterpret_cast<const char*>(line.data()), line.size() * sizeof line[0]));
}

TEST(LauncherWin, TheCaseOfAVariableDoesNotCount) {
  const auto launcher = CreateLauncher();
  const ztutil::LaunchResult child =
      launcher->LaunchWithEnvironment(TestChild(), {"variable:PATH"}, {{"pAtH", "other"}}, false);
  EXPECT_EQ(ReadAll(*child.fAppOutput[1]) + WaitFor(*launcher), "other0 0");
}

TEST(LauncherWin, AChildEndsWithItsHostIfItIsTo) {
  constexpr char kIsHost[] = "TEST_IS_HOST";
  const auto launcher = CreateLauncher();
  if (std::getenv(kIsHost) != nullptr) {
    launcher->LaunchToEndWithHost(TestChild(), {"sleep:20000"});
    TerminateProcess(GetCurrentProcess(), 7);
  }
  const ULONGLONG begin = GetTickCount64();
  SetEnvironmentVariableA(kIsHost, "1");
  const ztutil::LaunchResult host = launcher->Launch(
      boost::dll::program_location().wstring(), {"--gtest_filter=LauncherWin.AChildEndsWithItsHostIfItIsTo"});
  SetEnvironmentVariableA(kIsHost, nullptr);
  ReadAll(*host.fAppOutput[1]);  // the host's child has inherited it
  EXPECT_LT(GetTickCount64() - begin, 10000u);
  EXPECT_EQ(WaitFor(*launcher), "0 7");
}

// Wine's GetProcessHandleCount says 0.
std::size_t CountHandles() {
  constexpr std::uintptr_t kMost = 4000;
  std::size_t count = 0;
  DWORD flags = 0;
  for (std::uintptr_t number = 1; number <= kMost; ++number)
    if (GetHandleInformation(reinterpret_cast<HANDLE>(4 * number), &flags)) ++count;
  return count;
}

TEST(LauncherWin, EachLaunchKeepsTwoHandles) {
  const auto launch = [] {
    const auto launcher = CreateLauncher();
    RunChild(*launcher, {});
    EXPECT_NE(Outcome([&] { launcher->Launch(L"no-such-program", {}); }), "");
  };
  launch();  // what is made at first use stays
  const std::size_t before = CountHandles();
  for (int i = 0; i < 10; ++i) launch();
  EXPECT_EQ(CountHandles(), before + 20);
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
  const struct Stop {
    ~Stop() { done = true; }  // where a launch fails, too
    std::atomic<bool>& done;
  } stop{done};
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
}

}  // namespace
