#include "outcome.h"
#include "ownhome.h"
#include "testchild.h"
#include "testsystem.h"

#include <ztutil/launchoutputthreadtask.h>
#include <ztutil/outputtask.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace ztutil::consoleapp;
using ztutil::ConsoleApp;
using ztutil::ConsoleAppAccessor;
using ztutil::ConsoleAppLauncher;
using ztutil::LaunchResult;
using ztutil::OutputTask;

using Actions = std::deque<std::string>;

constexpr double kLong = 30.0;

// --- Tools -------------------------------------------------------------------------------------------------

// What an action comes to: the state that it gives, or its exception. "other" is consoleapp::Exception.
template <class Action>
std::string Told(Action action) {
  std::string state;
  const std::string failure = Outcome([&] {
    if constexpr (std::is_void_v<decltype(action())>)
      action();
    else
      state = StateName(action());
  });
  return failure.empty() ? state : failure;
}

// Copies are the same gate.
class Gate {
 public:
  void Open() const { fPromise->set_value(); }
  void Wait() const { fOpened.wait(); }
  bool IsOpenIn(double seconds) const {
    return fOpened.wait_for(std::chrono::duration<double>(seconds)) == std::future_status::ready;
  }

 private:
  std::shared_ptr<std::promise<void>> fPromise = std::make_shared<std::promise<void>>();
  std::shared_future<void> fOpened = fPromise->get_future().share();
};

// Tells its hooks by name, such as "OnFinished 3".
class App : public ConsoleApp {
 public:
  using Hook = std::function<void(const std::string& name)>;

  explicit App(Hook hook = nullptr,
               const boost::shared_ptr<ztutil::Launcher>& launcher = ztutil::CreateLauncher())
      : ConsoleApp(launcher), fHook(std::move(hook)) {}

 private:
  void OnLaunching() override { Tell("OnLaunching"); }
  void OnRunning() override { Tell("OnRunning"); }
  void OnOutputTaskBegin(TaskID channel) override { Tell("OnOutputTaskBegin " + TaskIDName(channel)); }
  void OnOutputTaskEnd(TaskID channel) override { Tell("OnOutputTaskEnd " + TaskIDName(channel)); }
  void OnFinished(std::int32_t exitCode) override { Tell("OnFinished " + std::to_string(exitCode)); }
  void Tell(const std::string& name) const {
    if (fHook) fHook(name);
  }

  const Hook fHook;
};

// Reads all, behind whatever `step` does at "begin", "run" and "end".
class Task : public OutputTask {
 public:
  using Step = std::function<void(const std::string& name)>;

  explicit Task(Step step = [](const std::string&) {}) : fStep(std::move(step)) {}

  bool HasReader() const { return GetReader() != nullptr; }

  std::string text;

 private:
  void DoBegin(Lock&) override { fStep("begin"); }
  void DoRun() override {
    fStep("run");
    text += ReadAll(*GetReader());
  }
  void DoEnd(Lock&) override { fStep("end"); }

  const Step fStep;
};

// A launcher of which each operation can be replaced.
class FakeLauncher : public ztutil::Launcher {
 public:
  LaunchResult Launch(const std::wstring& program, const Actions& arguments) override {
    return launch(program, arguments);
  }
  std::int32_t Wait(std::int32_t* exitCode) override { return wait(exitCode); }
  void Kill() override { kill(); }
  std::optional<std::uint32_t> GetRawEnd() const override { return std::nullopt; }

  std::function<LaunchResult(const std::wstring&, const Actions&)> launch = [](auto&...) {
    return LaunchResult();
  };
  std::function<std::int32_t(std::int32_t*)> wait = [](std::int32_t*) { return 0; };
  std::function<void()> kill = [] {};
};

LaunchParams Params(const Actions& actions, const boost::shared_ptr<OutputTask>& task = nullptr,
                    const boost::shared_ptr<OutputTask>& errorTask = nullptr) {
  LaunchParams params(TestChild(), actions, task, errorTask);
  params.SetKeepStdinOpen(true);
  return params;
}

// A run to its end: the state and the exit code, 77 where none is given.
std::string RunToEnd(const boost::shared_ptr<ConsoleApp>& app, const LaunchParams& params) {
  ConsoleAppLauncher launcher(params, app);
  std::int32_t exitCode = 77;
  const std::string state = Told([&] { return launcher.LaunchAndWait(&exitCode, kLong); });
  return state + " " + std::to_string(exitCode);
}

// Waits for a failure to be kept, and leaves it there.
bool AwaitFailure(ConsoleApp& app) {
  for (const double end = ztutil::Now() + kLong; ztutil::Now() < end;) {
    try {
      app.ThrowIfFailurePending();
    } catch (const Exception& e) {
      app.NotifyFailure(e);
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

// --- Words -------------------------------------------------------------------------------------------------

TEST(ConsoleAppWords, HaveTheirTexts) {
  EXPECT_EQ(TaskIDName(TaskID::Undefined) + TaskIDName(TaskID::Stdout) + TaskIDName(TaskID(7)),
            "UndefinedstdoutTaskID(7)");
  EXPECT_EQ(StateName(State::Finishing) + StateName(State(10)) + StateName(State(-2)),
            "FinishingState(10)State(-2)");
  EXPECT_EQ(FaultName(Fault::LauncherKill) + FaultName(Fault(10)) + FaultName(Fault(-1)),
            "LauncherKillFault(10)Fault(-1)");
  std::string stable;
  for (int state = -2; state < 42; ++state)
    stable += IsStableState(State(state)) ? StateName(State(state)) : "";
  EXPECT_EQ(stable, "IdleRunningFinishedCrashedKilled");
  const Exception exception(TaskID::Launcher, nullptr);
  EXPECT_STREQ(Exception(exception).what(), "Launcher: <nullptr>");
  EXPECT_EQ(exception.GetTaskID(), TaskID::Launcher);
  LaunchParams params;
  for (const TaskID channel : {TaskID::Client, TaskID::Launcher}) {
    EXPECT_EQ(Outcome([&] { params.GetOutputTask(channel); }), "runtime: invalid OutputChannel");
    EXPECT_EQ(Outcome([&] { params.SetOutputTask(channel, nullptr); }), "runtime: invalid OutputChannel");
    EXPECT_EQ(Outcome([&] { OutputChannelIndex(channel); }), "runtime: invalid OutputChannel");
  }
  EXPECT_EQ(GetShortWaitSeconds(), 1.0);
  EXPECT_EQ(GetDefaultWaitSeconds(), 10.0);
  EXPECT_EQ(GetDefaultStateWaitSeconds(), 0.1);
}

// --- The states, driven by hand ----------------------------------------------------------------------------

TEST(ConsoleApp, GoesWhereItsReportsLead) {
  App app;
  const auto look = [&] { return app.GetState(0.0); };
  const auto wait = [&] { return app.Wait(nullptr, 0.0); };
  const auto finish = [&](State state) { app.NotifyFinished(TaskID::Launcher, 0, state); };
  const struct {
    std::function<void()> report;
    std::function<State()> ask;
    const char* told;
  } steps[] = {
      {[&] { app.Reset(); }, look, "Idle"},
      {nullptr, wait, "Idle"},
      {[&] { app.NotifyLaunching(); }, look, "Timeout"},
      // There is no process yet.
      {nullptr, [&] { return app.Kill(), State::Undefined; }, "runtime: TerminateProcess failed"},
      {nullptr, look, "Timeout"},
      {[&] { app.NotifyLaunched(), app.NotifyRunning(nullptr); }, look, "Running"},
      {nullptr, wait, "Timeout"},
      {nullptr, look, "Running"},
      {[&] { finish(State::Finished), app.Kill(); }, look, "Finished"},
      {nullptr, wait, "Timeout"},  // there is no thread to join
      {nullptr, look, "Idle"},
      {[&] { finish(State::Undefined); }, look, "Timeout"},
  };
  for (const auto& step : steps) {
    if (step.report) step.report();
    EXPECT_EQ(Told(step.ask), step.told) << "step " << &step - steps;
  }
  EXPECT_EQ(Outcome([&] { app.WriteAppStdin("x", 1); }), "runtime: ztutil::Channel not open");
  EXPECT_EQ(Outcome([&] { app.WritelnAppStdin(nullptr); }),
            "argument: ConsoleApp::WritelnAppStdin str=nullptr");
  EXPECT_EQ(Outcome([&] { app.NotifyOutputTaskEnd(TaskID::Launcher); }), "runtime: invalid OutputChannel");
}

TEST(ConsoleApp, KeepsFailuresInTheirOrderAndFiresAFaultOnce) {
  App app;
  app.NotifyFailure(Exception(TaskID::Stdout, "older"));
  app.NotifyFailure(Exception(TaskID::Stderr, "younger"));
  const auto look = [&] { return Told([&] { return app.GetState(0.0); }); };
  EXPECT_EQ(look(), "other: stdout: older");
  EXPECT_EQ(Told([&] { app.Kill(); }), "other: stderr: younger");
  EXPECT_EQ(look(), "Idle");
  app.InjectFault(Fault::LauncherKill);
  app.InjectFault(Fault::NotifyRunning);
  app.NotifyLaunched();
  app.Reset();
  EXPECT_EQ(Told([&] { app.NotifyRunning(nullptr); }), "other: Launcher: NotifyRunning");
  EXPECT_EQ(look(), "Idle");
  app.NotifyRunning(nullptr);
  EXPECT_EQ(look(), "Running");
}

TEST(ConsoleApp, SaysWhatItDoesByLevels) {
  class Log : public ztutil::ZTLogger {
   public:
    explicit Log(const Hold& = Hold()) : ZTLogger("log") { SetFormatFlags(0); }
    ~Log() override { Leave(); }
    void Write(const void* bytes, std::size_t count) override {
      text.append(static_cast<const char*>(bytes), count);
    }
    std::string text;
  };
  static ztutil::DebugFlag level{"ConsoleAppLog"};
  const auto lines = [&](int value) {
    const Log log;
    ztutil::DebugFlagValue(level) = value;
    {
      App app(nullptr, boost::make_shared<FakeLauncher>());
      app.NotifyFailure(Exception(TaskID::Stderr, "a"));
      app.NotifyFailure(Exception(TaskID::Stderr, "b"));
      Told([&] { return app.Wait(nullptr, 0.0); });
      app.NotifyRunning(nullptr);
      Told([&] { return app.Wait(nullptr, 0.0); });
      ztutil::DebugFlagValue(level) = 0;
    }
    return log.text;
  };
  EXPECT_EQ(lines(0), "");
  EXPECT_EQ(lines(1),
            "NotifyFailureLocked: fFailures.size()=2\n"
            "ConsoleApp::HandleWaitException exc=stderr: a waitSeconds=0 fState=Idle\n"
            "ConsoleApp::Wait fState=Running fCond.timed_wait waitSeconds=0\n"
            "ConsoleApp::Wait Wait timed out\n");
  EXPECT_NE(lines(2).find("ConsoleApp::Wait() maxWaitSeconds=0\nConsoleApp::GetStateLocked maxWaitSeconds=0\n"
                          "ConsoleApp::GetStateLocked nloops=0 fState=Idle\n"
                          "ConsoleApp::ThrowIfFailurePendingLocked numFailures=2\n"
                          "ConsoleApp::HandleWaitException"),
            std::string::npos);
}

// --- Accessor and launcher ---------------------------------------------------------------------------------

TEST(ConsoleAppAccessor, RefusesWhatIsNotThere) {
  auto app = boost::make_shared<App>();
  const auto record =
      boost::make_shared<ExecutionData>(app, boost::weak_ptr<OutputTask>(), boost::weak_ptr<OutputTask>());
  ConsoleAppAccessor none(TaskID::Undefined, nullptr), output(TaskID::Stdout, record),
      launcher(TaskID::Launcher, record);
  const struct {
    std::function<void()> action;
    const char* outcome;
  } rows[] = {
      {[] { ConsoleAppAccessor(TaskID(4), nullptr); },
       "runtime: ConsoleAppAccessor::CopyIfValid invalid TaskID"},
      {[] { ConsoleAppAccessor(TaskID(-2), nullptr); },
       "runtime: ConsoleAppAccessor::CopyIfValid invalid TaskID"},
      {[&] { none.Kill(); }, "other: Undefined: no ExecutionData"},
      {[&] { output.NotifyRunning(nullptr); }, "runtime: ConsoleAppAccessor::GetConsoleAppFor wrong TaskID"},
      {[&] { launcher.NotifyOutputTaskBegin(); },
       "runtime: ConsoleAppAccessor::GetConsoleAppIf condition not ok"},
      {[&] { output.GetOutputTask(TaskID::Client); }, "runtime: invalid OutputChannel"},
      {[&] { output.GetOutputTask(TaskID::Stderr); }, "other: stdout: no output task"},
      {[&] { ztutil::LaunchOutputThreadTask(TaskID::Stdout, record)(), app->ThrowIfFailurePending(); },
       "other: stdout: no output task"},
      {[&] { app->Reset(), app.reset(), output.Kill(); }, "other: stdout: no console app"},
      {[&] { output.NotifyFailure(Exception(TaskID::Stdout, "lost")); }, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(Outcome(row.action), row.outcome);
  EXPECT_EQ(output.GetTasksRunning(), 0);
  EXPECT_TRUE(output.HasExecutionData());
  EXPECT_EQ(output.GetState(), State::Idle);
  EXPECT_FALSE(output.HasExecutionData());
}

TEST(ConsoleAppLauncher, HoldsOneRunAtATime) {
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher launcher(Params({"drain", "exit:3"}), nullptr);
  std::int32_t exitCode = 77;
  EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Idle);
  EXPECT_EQ(Outcome([&] { launcher.Launch(); }), "runtime: ConsoleAppLauncher: no ConsoleApp");
  EXPECT_EQ(Outcome([&] { launcher.Kill(); }), "other: Client: no ExecutionData");
  launcher.SetConsoleApp(app);
  ConsoleAppLauncher other(launcher);
  launcher.Launch();
  for (int i = 0; i < 2; ++i) {  // while it runs, and after a Wait in vain
    EXPECT_EQ(Outcome([&] { launcher.Launch(); }), "runtime: ConsoleAppLauncher::Launch: already launched");
    EXPECT_EQ(Outcome([&] { launcher.SetConsoleApp(app); }),
              "runtime: ConsoleAppLauncher::SetConsoleApp: already launched");
    EXPECT_EQ(Outcome([&] { ConsoleAppLauncher{launcher}; }),
              "runtime: ConsoleAppLauncher::SetLaunchParams: already launched");
    EXPECT_EQ(Outcome([&] { launcher = other; }), "runtime: ConsoleAppLauncher: can't assign while running");
    EXPECT_EQ(launcher.GetState(), State::Running);
    EXPECT_EQ(launcher.Wait(&exitCode, 0.01), State::Timeout);
  }
  EXPECT_EQ(exitCode, 77);
  launcher.Kill();
  EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Killed);
  launcher = other;
  launcher.Launch();
  // The app itself takes a second launch for the end of the first.
  EXPECT_EQ(Outcome([&] { other.Launch(); }), "runtime: ConsoleApp: must be idle");
  EXPECT_EQ(app->GetState(0.0), State::Idle);
  EXPECT_EQ(Told([&] { return launcher.Wait(nullptr, 0.0); }), "other: Client: no console app");
  EXPECT_EQ(launcher.GetState(), State::Idle);
}

// --- Whole runs --------------------------------------------------------------------------------------------

TEST(ConsoleAppRun, TellsHowTheChildEnded) {
  const auto app = boost::make_shared<App>();
  const struct {
    Actions actions;
    const char* end;
    const char* output;
  } rows[] = {{{"exit:0"}, "Finished 0", ""},
              {{"exit:255"}, "Finished 255", ""},
              {{"crash"}, "Crashed 0", ""},
              {{"say:a", "warn:b", "half:c", "close:1", "exit:3"}, "Finished 3", "a\ncb\n"}};
  for (const auto& row : rows) {
    const auto out = boost::make_shared<Task>(), err = boost::make_shared<Task>();
    EXPECT_EQ(RunToEnd(app, Params(row.actions, out, err)), row.end);
    EXPECT_EQ(out->text + err->text, row.output);
    EXPECT_EQ(app->GetState(0.0), State::Idle);
    EXPECT_TRUE(app->GetRawEnd().has_value());
  }
  EXPECT_EQ(RunToEnd(app, LaunchParams(L"/no/such/program", {}, nullptr, nullptr)),
            "other: Launcher: CreateProcessW failed 77");
}

TEST(ConsoleAppRun, HandsStandardInputOver) {
  for (const bool keep : {false, true}) {
    const auto app = boost::make_shared<App>();
    const auto out = boost::make_shared<Task>(), err = boost::make_shared<Task>();
    LaunchParams params = Params({"echo", "exit:4"}, out, err);
    params.SetKeepStdinOpen(keep);
    ConsoleAppLauncher launcher(params, app);
    launcher.Launch();
    if (keep) {
      EXPECT_EQ(launcher.GetTasksRunning(), 14);
      launcher.WritelnAppStdin("abc");
      for (int i = 0; i < 2; ++i) launcher.CloseAppStdin();
    }
    std::int32_t exitCode = 0;
    EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Finished);
    EXPECT_EQ(exitCode, 4);
    EXPECT_EQ(out->text, keep ? "abc\n" : "");
    EXPECT_EQ(app->GetTasksRunning(), 0);
  }
}

TEST(ConsoleAppRun, TheChildsEndFreesABlockedWrite) {
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher launcher(Params({"sleep:300", "exit:1"}), app);
  launcher.Launch();
  const std::string much(1 << 20, 'x');
  EXPECT_NE(Outcome([&] { launcher.WritelnAppStdin(much); }), "");
  EXPECT_EQ(launcher.Wait(nullptr, kLong), State::Finished);
}

TEST(ConsoleAppRun, JudgesWhatTheLauncherAnswers) {
  const auto fail = [](const char* text) -> std::int32_t { throw std::runtime_error(text); };
  const auto fake = boost::make_shared<FakeLauncher>();
  const auto app = boost::make_shared<App>(nullptr, fake);
  int kills = 0;
  fake->kill = [&] { ++kills; };
  const struct {
    std::function<std::int32_t(std::int32_t*)> wait;
    const char* end;
  } rows[] = {
      {[](std::int32_t* exitCode) { return *exitCode = 256, 0; }, "Finished 256"},
      {[](std::int32_t*) { return 1; }, "Crashed 0"},
      {[](std::int32_t*) { return 2; }, "Killed 0"},
      {[=](std::int32_t*) { return fail("x"); }, "other: Launcher: x 77"},
      {[](std::int32_t*) -> std::int32_t { throw 1; }, "other: Launcher: LaunchThreadTask failed 77"},
  };
  for (const auto& row : rows) {
    fake->wait = row.wait;
    EXPECT_EQ(RunToEnd(app, LaunchParams()), row.end);
  }
  EXPECT_EQ(kills, 2);
  fake->launch = [=](auto&...) { return fail("CreatePipe failed"), LaunchResult(); };
  EXPECT_EQ(RunToEnd(app, LaunchParams()), "other: Launcher: CreatePipe failed 77");
  EXPECT_EQ(kills, 2);
}

TEST(ConsoleAppRun, AFailingStepOrHookEndsInAFailureOfItsThread) {
  const struct {
    const char* place;
    TaskID party;
  } rows[] = {{"begin", TaskID::Stdout},
              {"run", TaskID::Stdout},
              {"end", TaskID::Stdout},
              {"OnLaunching", TaskID::Launcher},
              {"OnRunning", TaskID::Launcher},
              {"OnOutputTaskBegin stdout", TaskID::Stdout},
              {"OnOutputTaskEnd stderr", TaskID::Stderr},
              {"OnFinished 3", TaskID::Launcher}};
  for (const auto& row : rows) {
    const auto step = [&](const std::string& name) {
      if (name != row.place) return;
      std::this_thread::sleep_for(
          std::chrono::milliseconds(20));  // the host may see the end before the failure
      throw std::runtime_error("x");
    };
    const auto task = boost::make_shared<Task>(step);
    const auto app = boost::make_shared<App>(step);
    ConsoleAppLauncher launcher(Params({"exit:3"}, task, boost::make_shared<Task>()), app);
    EXPECT_EQ(Told([&] { return launcher.LaunchAndWait(nullptr, kLong); }),
              "other: " + TaskIDName(row.party) + ": x")
        << row.place;
    EXPECT_EQ(app->GetState(0.0), State::Idle);
    EXPECT_FALSE(task->IsRunning(0.0));
    // One that never ran has it up to its next run.
    EXPECT_EQ(task->HasReader(), std::string(row.place) == "OnOutputTaskBegin stdout");
  }
}

TEST(ConsoleAppRun, ATaskThatDoesNotBeginInTimeFailsTheLaunch) {
  const auto app = boost::make_shared<App>([](const std::string& name) {
    if (name == "OnOutputTaskBegin stderr") std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  });
  EXPECT_EQ(RunToEnd(app, Params({"drain"}, nullptr, boost::make_shared<Task>())),
            "other: Launcher: LauncherTask: output task stderr never started 77");
}

// Mostly before the launch thread looks.
TEST(ConsoleAppRun, ATaskThatEndsAtOnceHasStarted) {
  class Blind : public OutputTask {};
  for (int i = 0; i < 20; ++i)
    ASSERT_EQ(RunToEnd(boost::make_shared<App>(), Params({}, boost::make_shared<Blind>())), "Finished 0");
}

TEST(ConsoleAppRun, ATaskAtWorkIsNeitherCopiedNorUsedAgain) {
  const Gate begun, go;
  const auto task = boost::make_shared<Task>([=](const std::string& name) {
    if (name == "run") begun.Open(), go.Wait();
  });
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher launcher(Params({"drain"}, task), app);
  launcher.Launch();
  begun.Wait();
  EXPECT_EQ(Outcome([&] { Task{*task}; }), "runtime: OutputTask::AssignLocked: task is running");
  launcher.Reset();
  EXPECT_EQ(RunToEnd(app, Params({}, task)), "other: Launcher: OutputTask::Configure: task is running 77");
  EXPECT_EQ(RunToEnd(app, Params({"exit:3"})), "Finished 3");
  go.Open();
}

TEST(ConsoleAppRun, AGrandchildThatHoldsThePipeDelaysNobodyForLong) {
  const Gate finished;
  const auto app = boost::make_shared<App>([=](const std::string& name) {
    if (name == "OnFinished 3") finished.Open();
  });
  ConsoleAppLauncher launcher(Params({"grandchild:sleep:3000", "exit:3"}, boost::make_shared<Task>()), app);
  launcher.Launch();
  EXPECT_TRUE(finished.IsOpenIn(0.9));
  const std::string told = Told([&] { return launcher.Wait(nullptr, kLong); });
  EXPECT_TRUE(told == "Timeout" || told == "other: Launcher: output task thread abandoned") << told;
  EXPECT_EQ(app->GetState(0.0), State::Idle);
}

// A child that was made for a run that is cut off goes, and the next run's stays.
TEST(ConsoleAppRun, ALateLaunchCleansUpBehindItself) {
  const auto launcher = boost::make_shared<FakeLauncher>();
  const auto platform = ztutil::CreateLauncher();
  const Gate go, killed;
  launcher->launch = [=, launches = std::make_shared<std::atomic<int>>(0)](auto&... arguments) {
    LaunchResult result = platform->Launch(arguments...);
    if (++*launches == 1) go.Wait();
    return result;
  };
  launcher->wait = [=](std::int32_t* exitCode) { return platform->Wait(exitCode); };
  launcher->kill = [=] { platform->Kill(), killed.Open(); };
  ConsoleAppLauncher host(Params({"drain", "exit:3"}), boost::make_shared<App>(nullptr, launcher));
  host.Launch();
  EXPECT_EQ(host.GetState(), State::Timeout);
  host.Reset();
  host.Launch();
  go.Open();
  EXPECT_TRUE(killed.IsOpenIn(kLong));
  EXPECT_EQ(host.Wait(nullptr, 0.1), State::Timeout);
  host.CloseAppStdin();
  EXPECT_EQ(host.Wait(nullptr, kLong), State::Finished);
}

TEST(ConsoleAppRun, AResetRunDoesNotDisturbTheNext) {
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher host(Params({"sleep:1300", "crash"}, boost::make_shared<Task>()), app);
  host.Launch();
  host.Reset();  // lasts a second
  host.SetLaunchParams(Params({"drain", "exit:3"}, boost::make_shared<Task>()));
  host.Launch();
  EXPECT_EQ(host.Wait(nullptr, 0.5), State::Timeout);  // the former child has come to its end
  host.CloseAppStdin();
  EXPECT_EQ(host.Wait(nullptr, kLong), State::Finished);
}

TEST(ConsoleAppRun, TheLastOwnerMayBeAThreadOfTheRun) {
  for (const char* const place : {"OnRunning", "OnOutputTaskBegin stdout", "OnFinished 0"}) {
    const Gate there, go;
    auto app = boost::make_shared<App>([=](const std::string& name) {
      if (name == place) there.Open(), go.Wait();
    });
    const boost::weak_ptr<ConsoleApp> watch = app;
    const auto task = boost::make_shared<Task>();
    const auto record = boost::make_shared<ExecutionData>(app, task, task);
    // Where the task is held up, this may be "never started".
    Told([&] { app->Launch(record, Params({"sleep:10"}, task)); });
    there.Wait();
    app.reset();
    EXPECT_FALSE(watch.expired());
    go.Open();
    for (const double end = ztutil::Now() + kLong; !watch.expired() && ztutil::Now() < end;)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(watch.expired()) << place;
  }
}

// --- Each fault in each phase, met by each operation -------------------------------------------------------

enum Phase { kIdle, kOutputPending, kHung, kDead };
constexpr std::size_t kOperations = 5;  // Wait, GetState, Kill, Reset, destruction

// What something comes to: nothing, a state, or the fault as a failure of that party, by the first letter.
std::string Decode(char letter, Fault fault) {
  for (const State state : {State::Idle, State::Running, State::Finished, State::Killed, State::Timeout})
    if (StateName(state)[0] == letter) return StateName(state);
  for (const TaskID party : {TaskID::Client, TaskID::Stdout, TaskID::Launcher})
    if (TaskIDName(party)[0] == letter) return "other: " + TaskIDName(party) + ": " + FaultName(fault);
  return "";
}

struct FaultRow {
  std::vector<Fault> faults;
  std::vector<Phase> phases;
  char launch;        // what it tells
  const char* told;   // what each operation tells
  const char* after;  // what a look tells afterwards
};

bool IsFailure(const std::string& told) { return told.compare(0, 5, "other") == 0; }

// A launch fails when its process isn't there within a second.
std::string InTurn(const std::function<std::string()>& launch) {
  static std::vector<std::mutex> mutexes(kStartsAtOnce);
  static std::atomic<unsigned> turn{0};
  const std::lock_guard<std::mutex> lock(mutexes[turn++ % kStartsAtOnce]);
  return launch();
}

// Empty, or what went otherwise than the row says.
std::string CheckFault(const FaultRow& row, Fault fault, Phase phase, std::size_t operation) {
  std::string odd;
  const auto expect = [&](const char* what, const std::string& is, const std::string& should) {
    if (is != should)
      odd += FaultName(fault) + ", phase " + std::to_string(phase) + ", operation " +
             std::to_string(operation) + ", " + what + ": " + is + " instead of " + should + '\n';
  };
  const Gate running, finished, reading;
  const auto task = boost::make_shared<Task>([=](const std::string& name) {
    if (name == "run" && phase == kOutputPending) reading.Wait();
  });
  auto app = boost::make_shared<App>([=](const std::string& name) {
    if (name == "OnRunning") running.Wait();
    if (name == "OnFinished 3" && !finished.IsOpenIn(0.0)) finished.Open();
  });
  app->InjectFault(fault);
  const std::string launch = Decode(row.launch, fault);
  if (phase != kIdle) {
    const Actions actions =
        phase == kOutputPending ? Actions{"flood:200000", "drain"} : Actions{"drain", "exit:3"};
    const auto record = boost::make_shared<ExecutionData>(app, task, boost::weak_ptr<OutputTask>());
    const auto start = [&] { app->Launch(record, Params(actions, task)); };
    expect("launch", InTurn([&] { return Told(start); }), launch);
  }
  if (phase == kDead && launch.empty()) app->CloseAppStdin();
  running.Open();
  // A failure is there before the operation, but for that of Kill itself.
  if (launch.empty() && IsFailure(Decode(row.told[1], fault))) AwaitFailure(*app);
  if (row.after[1] == 'F') finished.Wait();

  const std::string told = Decode(row.told[operation], fault), after = Decode(row.after[operation], fault);
  const auto look = [&] { return Told([&] { return app->GetState(0.2); }); };
  const std::function<std::string()> operations[kOperations] = {
      [&] { return Told([&] { return app->Wait(nullptr, told == "Timeout" ? 0.02 : kLong); }); },
      look,
      [&] { return Told([&] { app->Kill(); }); },
      [&] { return Told([&] { app->Reset(); }); },
      [&] { return Told([&] { app.reset(), app = boost::make_shared<App>(); }); },
  };
  expect("tells", operations[operation](), told);
  if (IsFailure(after)) AwaitFailure(*app);
  expect("leaves", after == "Killed" ? Told([&] { return app->GetState(kLong); }) : look(), after);

  reading.Open();
  app->Reset();
  app->InjectFault(Fault::NoFault);
  const auto next = [&] { return RunToEnd(app, Params({"exit:3"}, boost::make_shared<Task>())); };
  expect("next", InTurn(next), "Finished 3");
  return odd;
}

TEST(ConsoleAppFaults, EachInEachPhaseMetByEachOperation) {
  const std::vector<Fault> all = {
      Fault::NotifyLaunching,     Fault::NotifyLaunched, Fault::NotifyRunning,
      Fault::LauncherLaunch,      Fault::NotifyFinished, Fault::NotifyOutputTaskBegin,
      Fault::NotifyOutputTaskEnd, Fault::LauncherWait,   Fault::LauncherKill};
  const std::vector<Fault> early(all.begin(), all.begin() + 4);
  const std::vector<Phase> live = {kOutputPending, kHung}, launched = {kOutputPending, kHung, kDead};
  const FaultRow rows[] = {
      {all, {kIdle}, '-', "II---", "IIIII"},
      {early, launched, 'L', "II---", "IIIII"},
      {{Fault::NotifyOutputTaskBegin}, launched, 's', "II---", "IIIII"},
      {{Fault::NotifyFinished}, live, '-', "TR---", "RRLII"},
      {{Fault::NotifyFinished}, {kDead}, '-', "LLL--", "IRRII"},
      {{Fault::NotifyOutputTaskEnd}, {kOutputPending}, '-', "TR---", "RRKII"},
      {{Fault::NotifyOutputTaskEnd}, {kHung}, '-', "TR---", "RRsII"},
      {{Fault::NotifyOutputTaskEnd}, {kDead}, '-', "sss--", "IFFII"},
      {{Fault::LauncherWait}, launched, '-', "LLL--", "IRRII"},
      {{Fault::LauncherKill}, live, '-', "TRC--", "RRTII"},
      {{Fault::LauncherKill}, {kDead}, '-', "FF---", "IFFII"},
  };
  std::vector<std::function<std::string()>> cases;
  for (const FaultRow& row : rows)
    for (const Fault fault : row.faults)
      for (const Phase phase : row.phases)
        for (std::size_t operation = 0; operation < kOperations; ++operation)
          cases.emplace_back(
              [&row, fault, phase, operation] { return CheckFault(row, fault, phase, operation); });
  EXPECT_EQ(cases.size(), 9u * 4 * kOperations);
  // Side by side, since most of them wait for the short wait to go by.
  std::atomic<std::size_t> next{0};
  std::vector<std::future<std::string>> workers(16);
  for (auto& worker : workers)
    worker = std::async(std::launch::async, [&] {
      std::string odd;
      for (std::size_t i = next++; i < cases.size(); i = next++) odd += cases[i]();
      return odd;
    });
  for (auto& worker : workers) EXPECT_EQ(worker.get(), "");
}

}  // namespace
