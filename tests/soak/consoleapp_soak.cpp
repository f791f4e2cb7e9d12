// Whole runs of the console-app host: four hosts in one process, ended, killed, failed and destroyed at any
// time.
#include "../unit/outcome.h"
#include "../unit/testchild.h"
#include "soak.h"

#include <ztutil/outputtask.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <future>
#include <random>
#include <thread>

namespace {

using namespace ztutil::consoleapp;
using ztutil::ConsoleApp;
using ztutil::ConsoleAppLauncher;

using Actions = std::deque<std::string>;

class Task : public ztutil::OutputTask {
 private:
  void DoRun() override { ReadAll(*GetReader()); }
};

LaunchParams Params(const Actions& actions, const std::wstring& program = TestChild()) {
  return {program, actions, boost::make_shared<Task>(), boost::make_shared<Task>()};
}

void SleepUpTo(unsigned microseconds, std::mt19937& random) {
  std::this_thread::sleep_for(std::chrono::microseconds(random() % microseconds));
}

// The state, or the failure.
std::string RunToEnd(ConsoleAppLauncher& launcher, const LaunchParams& params) {
  launcher.SetLaunchParams(params);
  std::string state;
  const std::string failure = Outcome([&] { state = StateName(launcher.LaunchAndWait(nullptr, 60)); });
  EXPECT_EQ(launcher.GetState(), State::Idle);
  return state + failure;
}

// Another thread looks on, and kills.
void RunKilled(ConsoleAppLauncher& launcher, std::mt19937& random) {
  auto killer = std::async(std::launch::async, [&] {
    SleepUpTo(3000, random);
    launcher.GetTasksRunning();
    launcher.GetState();
    return Outcome([&] { launcher.Kill(); });
  });
  const std::string told = RunToEnd(launcher, Params({"sleep:2", "exit:4"}));
  EXPECT_TRUE(told == "Finished" || told == "Killed") << told;
  const std::string killed = killer.get();
  EXPECT_TRUE(killed.empty() || killed == "other: Client: no ExecutionData" ||
              killed == "runtime: TerminateProcess failed")
      << killed;
}

void RunWithFault(ConsoleAppLauncher& launcher, std::mt19937& random) {
  // Not the beginning of a task, which takes a second to be missed.
  const Fault faults[] = {Fault::NotifyLaunching, Fault::NotifyLaunched,      Fault::NotifyRunning,
                          Fault::NotifyFinished,  Fault::NotifyOutputTaskEnd, Fault::LauncherLaunch,
                          Fault::LauncherWait};
  const Fault fault = faults[random() % std::size(faults)];
  launcher.InjectFault(fault);
  const std::string told = RunToEnd(launcher, Params({"sleep:1"}));
  EXPECT_NE(told.find(": " + FaultName(fault)), std::string::npos) << told;
}

// The host goes, and with it all that it holds, while the run is under way.
void LeaveBehind(std::mt19937& random) {
  ConsoleAppLauncher launcher(Params({"say:x", "sleep:1"}), boost::make_shared<ConsoleApp>());
  launcher.Launch();
  SleepUpTo(3000, random);
}

void RunAllKinds(unsigned seed, Effort& effort) {
  const struct {
    Actions actions;
    std::wstring program;
    const char* told;
  } rows[] = {{{"flood:100000", "floodwarn:70000", "exit:3"}, TestChild(), "Finished"},
              {{"crash"}, TestChild(), "Crashed"},
              {{}, L"/no/such/program", "other: Launcher: CreateProcessW failed"}};
  std::mt19937 random(seed);
  ConsoleAppLauncher launcher(LaunchParams(), boost::make_shared<ConsoleApp>());
  while (effort.More()) {
    const std::size_t kind = random() % 6;
    if (kind == 5)
      LeaveBehind(random);
    else if (kind == 4)
      RunKilled(launcher, random);
    else if (kind == 3)
      RunWithFault(launcher, random);
    else
      EXPECT_EQ(RunToEnd(launcher, Params(rows[kind].actions, rows[kind].program)), rows[kind].told);
  }
}

TEST(ConsoleAppSoak, LeavesNothingBehind) {
  const std::string before = TakeStock();
  std::size_t residentBefore = 0;
  for (const int full : {500, 10000}) {
    residentBefore = ResidentKiB();  // what the first of them need stays
    Effort effort(500, full);
    InThreads([&](unsigned thread) { RunAllKinds(static_cast<unsigned>(full) + thread, effort); });
  }
  EXPECT_LT(ResidentKiB(), residentBefore + 1024);
  ExpectStock(before);
}

TEST(ConsoleAppSoak, ANewRunBesideTheFormerChild) {
  const std::string before = TakeStock();
  Effort effort(4, 80);
  InThreads([&](unsigned) {
    ConsoleAppLauncher launcher(LaunchParams(), boost::make_shared<ConsoleApp>());
    while (effort.More()) {
      launcher.SetLaunchParams(Params({"sleep:1100", "crash"}));
      launcher.Launch();
      launcher.Reset();
      for (int i = 0; i < 100; ++i) EXPECT_EQ(RunToEnd(launcher, Params({"exit:3"})), "Finished");
    }
  });
  ExpectStock(before);
}

}  // namespace
