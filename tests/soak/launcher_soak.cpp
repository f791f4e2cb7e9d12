// Launchers at work for long, and several at once.
#include "../unit/outcome.h"
#include "../unit/testchild.h"
#include "soak.h"

#include <gtest/gtest.h>

#include <future>
#include <random>
#include <set>
#include <thread>

namespace {

using ztutil::CreateLauncher;
using ztutil::LaunchResult;

unsigned Random(std::mt19937& random, unsigned below) { return static_cast<unsigned>(random() % below); }

// Children of all kinds, also such as nobody waits for.
void LaunchAllKinds(unsigned seed, Effort& effort) {
  const struct {
    std::deque<std::string> actions;
    const char* end;
  } rows[] = {
      {{"exit:3"}, "0 3"},          {{"crash"}, "1 77"}, {{"flood:200000"}, "0 0"},
      {{"floodwarn:65536"}, "0 0"}, {{"echo"}, "0 0"},
  };
  std::mt19937 random(seed);
  const auto launcher = CreateLauncher();
  while (effort.More()) {
    switch (const unsigned kind = Random(random, 8)) {
      case 5:
        EXPECT_EQ(Outcome([&] { launcher->Launch(L"/no/such/program", {}); }),
                  "runtime: CreateProcessW failed");
        break;
      case 6:
      case 7: {
        const LaunchResult child = launcher->Launch(TestChild(), {"hang"});
        launcher->Kill();
        EXPECT_EQ(kind == 6 ? WaitFor(*launcher) : "2 77", "2 77");
        break;
      }
      default:
        EXPECT_EQ(RunChild(*launcher, rows[kind].actions), rows[kind].end);
    }
  }
}

TEST(LauncherSoak, LeavesNothingBehind) {
  {
    Effort warmUp(100, 500);
    InThreads([&](unsigned seed) { LaunchAllKinds(seed, warmUp); });
  }
  AwaitOrphans();
  const Holdings before = TakeStock();
  const std::size_t residentBefore = ResidentKiB();
  {
    Effort effort(400, 10000);
    InThreads([&](unsigned seed) { LaunchAllKinds(100 + seed, effort); });
  }
  EXPECT_LT(ResidentKiB(), residentBefore + 1024);
  AwaitOrphans();
  EXPECT_EQ(TakeStock(), before);
}

TEST(LauncherSoak, AKillAtAnyTimeIsAKillOrTooLate) {
  const struct {
    std::deque<std::string> actions;
    std::set<std::string> ends;
  } rows[] = {
      {{"exit:3"}, {"0 3", "2 77"}},
      {{"sleep:1", "exit:4"}, {"0 4", "2 77"}},
      {{"sleep:1", "crash"}, {"1 77", "2 77"}},
  };
  std::mt19937 random(1);
  std::set<std::string> seen;
  const auto launcher = CreateLauncher();
  Effort effort(200, 2000);
  while (effort.More()) {
    const auto& row = rows[Random(random, 3)];
    const std::chrono::microseconds delay(Random(random, 3000));
    const auto kill = [&] {
      std::this_thread::sleep_for(delay);
      return Outcome([&] { launcher->Kill(); });
    };
    auto killer = std::async(Random(random, 2) == 0 ? std::launch::async : std::launch::deferred, kill);
    const LaunchResult child = launcher->Launch(TestChild(), row.actions);
    auto end = std::async(std::launch::async, [&] { return WaitFor(*launcher); });
    const std::string killed = killer.get();
    const std::string how = end.get();
    // The other thread may have come before there was a child, and then its kill is lost.
    if (!killed.empty()) {
      EXPECT_EQ(killed, "runtime: TerminateProcess failed");
      EXPECT_NE(how, "2 77");
    }
    EXPECT_EQ(row.ends.count(how), 1u) << how;
    EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
    seen.insert(how);
  }
  EXPECT_GE(seen.size(), 2u);
}

// Children that live long are started all the while.
TEST(LauncherSoak, NoChildHoldsAnothersPipe) {
  ExpectPromptEnds([] { CreateLauncher()->Launch(TestChild(), {"sleep:2000"}); });
  AwaitOrphans();
}

}  // namespace
