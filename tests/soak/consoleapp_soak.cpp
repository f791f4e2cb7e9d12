// Whole runs of the console-app host: four hosts in one process, ended, killed, failed and destroyed at any
// time.
#include "../unit/outcome.h"
#include "../unit/testchild.h"
#include "soak.h"

#include <ztutil/clock.h>
#include <ztutil/outputtask.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <future>
#include <random>
#include <set>
#include <thread>

namespace {

using namespace ztutil::consoleapp;
using ztutil::ConsoleApp;
using ztutil::ConsoleAppLauncher;

constexpr double kLong = 60.0;

class Task : public ztutil::OutputTask {
 public:
  std::string text;

 private:
  void DoRun() override { text += ReadAll(*GetReader()); }
};

// Calls `finished` when the child has ended.
class App : public ConsoleApp {
 public:
  explicit App(std::function<void()> finished) : fFinished(std::move(finished)) {}

 private:
  void OnFinished(std::int32_t) override { fFinished(); }

  const std::function<void()> fFinished;
};

unsigned Random(std::mt19937& random, unsigned below) { return static_cast<unsigned>(random() % below); }

void SleepUpTo(std::mt19937& random, unsigned microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(Random(random, microseconds)));
}

LaunchParams Params(const std::deque<std::string>& actions) {
  return {TestChild(), actions, boost::make_shared<Task>(), boost::make_shared<Task>()};
}

// Threads that were given up on end when their child does.
void ExpectStock(const Holdings& before) {
  AwaitOrphans();
  for (const double end = ztutil::Now() + kLong; !(TakeStock() == before) && ztutil::Now() < end;)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(TakeStock(), before);
}

// The state, or the failure.
std::string RunToEnd(ConsoleAppLauncher& launcher) {
  std::string state;
  const std::string failure = Outcome([&] { state = StateName(launcher.LaunchAndWait(nullptr, kLong)); });
  EXPECT_EQ(launcher.GetState(), State::Idle);
  return state + failure;
}

void RunAllKinds(unsigned seed, Effort& effort) {
  std::mt19937 random(seed);
  ConsoleAppLauncher launcher(Params({}), boost::make_shared<ConsoleApp>());
  const auto run = [&](const std::deque<std::string>& actions) {
    launcher.SetLaunchParams(Params(actions));
    return RunToEnd(launcher);
  };
  while (effort.More()) {
    switch (Random(random, 5)) {
      case 0:
        EXPECT_EQ(run({"flood:100000", "floodwarn:70000", "exit:3"}), "Finished");
        break;
      case 1:
        EXPECT_EQ(run({"crash"}), "Crashed");
        break;
      case 2: {
        // Another thread looks on, and kills.
        auto killer = std::async(std::launch::async, [&, delay = Random(random, 3000)] {
          std::this_thread::sleep_for(std::chrono::microseconds(delay));
          launcher.GetTasksRunning();
          launcher.GetState();
          return Outcome([&] { launcher.Kill(); });
        });
        const std::string told = run({"sleep:2", "exit:4"});
        EXPECT_TRUE(told == "Finished" || told == "Killed") << told;
        const std::string killed = killer.get();
        EXPECT_TRUE(killed.empty() || killed == "other: Client: no ExecutionData") << killed;
        break;
      }
      case 3:
        launcher.SetLaunchParams(LaunchParams(L"/no/such/program", {}, nullptr, nullptr));
        EXPECT_EQ(RunToEnd(launcher), "other: Launcher: CreateProcessW failed");
        break;
      default: {
        // Not the beginning of a task, which takes a second to be missed.
        const Fault faults[] = {Fault::NotifyLaunching, Fault::NotifyLaunched,      Fault::NotifyRunning,
                                Fault::NotifyFinished,  Fault::NotifyOutputTaskEnd, Fault::LauncherLaunch,
                                Fault::LauncherWait};
        const Fault fault = faults[Random(random, 7)];
        launcher.InjectFault(fault);
        const std::string told = run({"sleep:1"});
        EXPECT_EQ(told.substr(0, 7), "other: ") << told;
        EXPECT_NE(told.find(FaultName(fault)), std::string::npos) << told;
      }
    }
  }
}

TEST(ConsoleAppSoak, LeavesNothingBehind) {
  {
    Effort warmUp(100, 500);
    InThreads([&](unsigned seed) { RunAllKinds(seed, warmUp); });
  }
  AwaitOrphans();
  const Holdings before = TakeStock();
  const std::size_t residentBefore = ResidentKiB();
  {
    Effort effort(300, 10000);
    InThreads([&](unsigned seed) { RunAllKinds(100 + seed, effort); });
  }
  EXPECT_LT(ResidentKiB(), residentBefore + 1024);
  ExpectStock(before);
}

TEST(ConsoleAppSoak, MayGoAtAnyTime) {
  const Holdings before = TakeStock();
  Effort effort(200, 5000);
  InThreads([&](unsigned seed) {
    std::mt19937 random(seed);
    while (effort.More()) {
      std::promise<void> released;
      // In a fourth of the cases a thread of the run keeps the last hold.
      const std::shared_future<void> gone = released.get_future().share();
      boost::shared_ptr<ConsoleApp> app = boost::make_shared<ConsoleApp>();
      if (Random(random, 4) == 0) app = boost::make_shared<App>([gone] { gone.wait(); });
      const LaunchParams params = Params({"say:x", "sleep:1"});
      app->Launch(boost::make_shared<ExecutionData>(app, params.GetOutputTask(TaskID::Stdout),
                                                    params.GetOutputTask(TaskID::Stderr)),
                  params);
      SleepUpTo(random, 3000);
      app.reset();
      released.set_value();
    }
  });
  ExpectStock(before);
}

TEST(ConsoleAppSoak, ANewRunBesideTheFormerChild) {
  const Holdings before = TakeStock();
  Effort effort(4, 80);
  InThreads([&](unsigned) {
    ConsoleAppLauncher launcher(Params({}), boost::make_shared<ConsoleApp>());
    while (effort.More()) {
      launcher.SetLaunchParams(Params({"sleep:1100", "crash"}));
      launcher.Launch();
      launcher.Reset();
      for (int i = 0; i < 100; ++i) {
        launcher.SetLaunchParams(Params({"exit:3"}));
        EXPECT_EQ(RunToEnd(launcher), "Finished");
      }
    }
  });
  ExpectStock(before);
}

TEST(ConsoleAppSoak, AGrandchildHoldsThePipes) {
  const Holdings before = TakeStock();
  Effort effort(4, 40);
  InThreads([&](unsigned) {
    while (effort.More()) {
      std::promise<void> finished;
      const auto app = boost::make_shared<App>([&] { finished.set_value(); });
      ConsoleAppLauncher launcher(Params({"grandchild:sleep:2500", "exit:3"}), app);
      launcher.Launch();
      const double start = ztutil::Now();
      EXPECT_EQ(finished.get_future().wait_for(std::chrono::seconds(1)), std::future_status::ready);
      std::string told;
      const std::string failure = Outcome([&] { told = StateName(launcher.Wait(nullptr, kLong)); });
      told += failure;
      EXPECT_TRUE(told == "Timeout" || told == "other: Launcher: output task thread abandoned") << told;
      EXPECT_LT(ztutil::Now() - start, 2.4);
      EXPECT_EQ(launcher.GetState(), State::Idle);
    }
  });
  ExpectStock(before);
}

}  // namespace
