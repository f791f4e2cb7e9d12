#include "expected.h"
#include "memorylogger.h"
#include "outcome.h"
#include "testchild.h"
#include "testsystem.h"

#include <ztutil/clock.h>
#include <ztutil/debugflag.h>
#include <ztutil/launchoutputthreadtask.h>
#include <ztutil/managedthread.h>
#include <ztutil/outputtask.h>

#include <boost/make_shared.hpp>
#include <boost/thread/latch.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>
#include <tuple>
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

// Threads that were given up on hold it, too.
using Gate = std::shared_ptr<boost::latch>;

Gate NewGate() { return std::make_shared<boost::latch>(1); }

using Hook = std::function<void(const std::string& name)>;

void Ignore(const std::string&) {}

// Tells its hooks by name, such as "OnFinished 3".
class App : public ConsoleApp {
 public:
  explicit App(Hook hook = Ignore,
               const boost::shared_ptr<ztutil::Launcher>& launcher = ztutil::CreateLauncher())
      : ConsoleApp(launcher), fHook(std::move(hook)) {}

 private:
  void OnLaunching() override { fHook("OnLaunching"); }
  void OnRunning() override { fHook("OnRunning"); }
  void OnOutputTaskBegin(TaskID channel) override { fHook("OnOutputTaskBegin " + TaskIDName(channel)); }
  void OnOutputTaskEnd(TaskID channel) override { fHook("OnOutputTaskEnd " + TaskIDName(channel)); }
  void OnFinished(std::int32_t exitCode) override { fHook("OnFinished " + std::to_string(exitCode)); }

  const Hook fHook;
};

// Reads all, behind whatever `step` does at "begin", "run" and "end".
class Task : public OutputTask {
 public:
  explicit Task(Hook step = Ignore) : fStep(std::move(step)) {}

  bool HasReader() const { return GetReader() != nullptr; }

  std::string text;

 private:
  void DoBegin(Lock&) override { fStep("begin"); }
  void DoRun() override {
    fStep("run");
    if (HasReader()) text += ReadAll(*GetReader());
  }
  void DoEnd(Lock&) override { fStep("end"); }

  const Hook fStep;
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
  LaunchResult LaunchToEndWithHost(const std::wstring& program, const Actions& arguments) override {
    return launch(program, arguments);
  }
  void GiveUp() override { giveUp(); }
  std::uint32_t GetProcessID() const override { return 0; }
  std::string GetStartError() const override { return {}; }

  std::function<LaunchResult(const std::wstring&, const Actions&)> launch = [](auto&...) {
    return LaunchResult();
  };
  std::function<std::int32_t(std::int32_t*)> wait = [](std::int32_t*) { return 0; };
  std::function<void()> kill = [] {}, giveUp = [] {};
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

// While it is there an app waits long for its threads, so that a slow machine breaks no run. For runs that
// wait for nothing in vain.
struct Patience {
  Patience() { ztutil::DebugFlagValue(shortWait) = 29; }
  ~Patience() { ztutil::DebugFlagValue(shortWait) = 0; }
  ztutil::DebugFlag shortWait{"ConsoleAppShortWaitSecondsMinusOne"};
};

// Waits for a failure to be kept, and leaves it there.
void AwaitFailure(ConsoleApp& app) {
  for (const double end = ztutil::Now() + kLong; ztutil::Now() < end;) {
    try {
      app.ThrowIfFailurePending();
    } catch (const Exception& e) {
      return app.NotifyFailure(e);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// --- The states, driven by hand ----------------------------------------------------------------------------

TEST(ConsoleApp, WaitsAsLongAsItsFlagsSay) {
  const auto waits = [] {
    return std::tuple(GetShortWaitSeconds(), GetDefaultWaitSeconds(), GetDefaultStateWaitSeconds());
  };
  EXPECT_EQ(waits(), std::tuple(1.0, 10.0, 0.1));
  for (const auto& [name, changed] :
       {std::pair("ConsoleAppShortWaitSecondsMinusOne", std::tuple(5.0, 10.0, 0.1)),
        {"ConsoleAppDefaultWaitSecondsMinus10", {1.0, 14.0, 0.1}},
        {"ConsoleAppDefaultStateWaitSecondsTimesTenMinus1", {1.0, 10.0, 0.5}}}) {
    ztutil::DebugFlag flag{name};
    ztutil::DebugFlagValue(flag) = 4;
    EXPECT_EQ(waits(), changed) << name;
    ztutil::DebugFlagValue(flag) = 0;
  }
}

// Of so many values from that one on.
template <class Enum>
std::string Names(std::string (*nameOf)(Enum), int first, int count) {
  std::string names;
  for (int value = first; value < first + count; ++value) names += nameOf(static_cast<Enum>(value)) + " ";
  return names;
}

TEST(ConsoleApp, HasNamesForItsValues) {
  EXPECT_EQ(Names(TaskIDName, -2, 7), "TaskID(-2) Undefined Client stdout stderr Launcher TaskID(4) ");
  EXPECT_EQ(
      Names(StateName, -2, 13),
      "State(-2) Undefined Idle Launching Launched Running Finishing Finished Crashed Killing Killed Timeout "
      "State(10) ");
  EXPECT_EQ(
      Names(FaultName, -1, 12),
      "Fault(-1) NoFault NotifyLaunching NotifyLaunched NotifyRunning NotifyFinished NotifyOutputTaskBegin "
      "NotifyOutputTaskEnd LauncherLaunch LauncherWait LauncherKill Fault(10) ");
  const auto stable = [](State state) { return std::string(IsStableState(state) ? StateName(state) : "-"); };
  EXPECT_EQ(Names<State>(stable, -1, 11), "- Idle - - Running - Finished Crashed - Killed - ");
  EXPECT_EQ(OutputChannelIndex(TaskID::Stdout) + 10 * OutputChannelIndex(TaskID::Stderr), 10u);
  for (const TaskID none : {TaskID::Client, TaskID::Launcher})
    EXPECT_EQ(Outcome([&] { OutputChannelIndex(none); }), "runtime: invalid OutputChannel");
}

// --- What the log says -------------------------------------------------------------------------------------

// A log of each thread, less the indentation, which they have in common, and with the lengths of waits left
// out.
class ThreadLog : public MemoryLogger {
 public:
  ThreadLog(int level, int shortWait, const Hold& = Hold()) {
    ztutil::DebugFlagValue(fLevel) = level;
    ztutil::DebugFlagValue(fShortWait) = shortWait - 1;
  }
  ~ThreadLog() override {
    Leave();
    ztutil::DebugFlagValue(fLevel) = ztutil::DebugFlagValue(fShortWait) = 0;
  }

  void Write(const void* bytes, std::size_t count) override {
    const std::lock_guard<std::mutex> lock(fMutex);
    MemoryLogger::Write(bytes, count);
    const auto self = boost::this_thread::get_id();
    auto own = std::find_if(fThreads.begin(), fThreads.end(), [&](auto& one) { return one.id == self; });
    if (own == fThreads.end()) own = fThreads.insert(own, {self, "", ""});
    own->name = ztutil::ManagedThread::GetCurrentThreadName();
    own->text.append(static_cast<const char*>(bytes), count);
  }

  void Flush() override {
    const std::lock_guard<std::mutex> lock(fMutex);
    MemoryLogger::Flush();
  }

  // What isn't the app's.
  void Say(const std::string& what) {
    const std::string line = "=> " + what + '\n';
    Write(line.data(), line.size());
    Flush();
  }

  // Waits until a text was said so many times.
  void Await(const std::string& said, int times) {
    const auto count = [&] {
      const std::lock_guard<std::mutex> lock(fMutex);
      int found = 0;
      for (std::size_t at = 0; (at = text.find(said, at)) != std::string::npos; ++at) ++found;
      return found;
    };
    for (const double end = ztutil::Now() + kLong; count() < times && ztutil::Now() < end;)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  // The threads stand in the order in which they began to speak, those of the app with what follows their
  // ids.
  std::string Table() const {
    std::string all;
    for (const Thread& one : fThreads)
      all += (all.empty() ? "" : one.name.substr(one.name.find('(')) + '\n') + one.text;
    all = std::regex_replace(all, std::regex("\n +"), "\n");
    all = std::regex_replace(all, std::regex("=2\\d\\.\\d+"), "=30");  // what is left of it
    return std::regex_replace(all, std::regex("(wait for |waitSeconds=|Join\\(|duration=)\\d[\\d.e-]*"),
                              "$1SECONDS");
  }

 private:
  ztutil::DebugFlag fLevel{"ConsoleAppLog"};
  ztutil::DebugFlag fShortWait{"ConsoleAppShortWaitSecondsMinusOne"};
  struct Thread {
    boost::thread::id id;
    std::string name, text;
  };
  std::mutex fMutex;
  std::vector<Thread> fThreads;
};

// An app whose run waits for its child up to that gate.
boost::shared_ptr<App> HungApp(const Gate& end) {
  const Patience patience;
  const Gate waiting = NewGate();
  const auto fake = boost::make_shared<FakeLauncher>();
  fake->wait = [=](std::int32_t*) { return waiting->count_down(), end->wait(), 0; };
  const auto app = boost::make_shared<App>(Ignore, fake);
  ConsoleAppLauncher(LaunchParams(), app).Launch();
  waiting->wait();
  return app;
}

// What calls by hand come to, and what an app says of them. The threads that it gives up wait for that gate.
std::string LogByHand(int level, const Gate& end) {
  const boost::shared_ptr<App> hung[] = {HungApp(end), HungApp(end), HungApp(end), HungApp(end)};
  ThreadLog log(level, 0);
  auto app = boost::make_shared<App>([&](const std::string& name) { log.Say(name); },
                                     boost::make_shared<FakeLauncher>());
  const auto tell = [&](auto action) {
    const std::string told = Told(action);
    log.Say(told.empty() ? "done" : told);
  };
  const auto look = [&] { tell([&] { return app->GetState(0.0); }); };
  const auto wait = [&] { tell([&] { return app->Wait(nullptr, 0.0); }); };
  const auto kill = [&] { tell([&] { app->Kill(); }); };
  const auto fail = [&](TaskID party, const char* text) { app->NotifyFailure(Exception(party, text)); };
  const auto launching = [&] { tell([&] { app->NotifyLaunching(); }); };
  const auto launched = [&] { tell([&] { app->NotifyLaunched(); }); };
  const auto run = [&] { tell([&] { app->NotifyRunning(nullptr); }); };
  const auto finish = [&](State state) { tell([&] { app->NotifyFinished(TaskID::Launcher, 7, state); }); };

  // Failures are told in their order, and a fault fires once.
  fail(TaskID::Stdout, "older"), fail(TaskID::Stderr, nullptr), look(), kill(), fail(TaskID::Stderr, "x"),
      wait();
  app->InjectFault(Fault::NotifyRunning), app->Reset(), run(), run(), app->Reset(), wait();
  // The states of a run. At first there is no process to be killed, and at the end no thread to be joined.
  app->InjectFault(Fault::NotifyLaunching), launching(), launching(), look(), kill();
  app->InjectFault(Fault::NotifyLaunched), launched(), kill(), launched(), wait(), run(), look(), wait(),
      kill();
  app->InjectFault(Fault::NotifyFinished), finish(State::Finished), finish(State::Finished), kill(), wait();
  finish(State::Undefined), look();
  for (const char* const text : {"text", static_cast<const char*>(nullptr)})
    tell([&] { app->WritelnAppStdin(text); });
  app->CloseAppStdin(), app->NotifyOutputTaskBegin(TaskID::Stdout), app->GetTasksRunning();
  tell([&] { app->NotifyOutputTaskBegin(TaskID::Client); });
  tell([&] { app->NotifyOutputTaskEnd(TaskID::Launcher); });
  // A run's thread that doesn't end is given up, where the app is reset, the child has ended, a run has
  // failed, and one that was waited for in vain.
  app = hung[0], app->Reset();
  app = hung[1], finish(State::Finished), wait();
  app = hung[2], fail(TaskID::Client, "x"), wait();
  app = hung[3], launched(), look(), fail(TaskID::Client, "x"), wait();
  return log.Table();
}

// The last log's lines, each with the first level that has it.
std::string WithLevels(const std::function<std::string(int level)>& logOf) {
  std::istringstream one(logOf(1)), two(logOf(2)), three(logOf(3));
  std::string all, lineOfOne, lineOfTwo, line;
  std::getline(one, lineOfOne);
  std::getline(two, lineOfTwo);
  while (std::getline(three, line)) {
    const bool isOne = line == lineOfOne, isTwo = line == lineOfTwo;
    all += (isOne ? "1 " : isTwo ? "2 " : "3 ") + line + "\n";
    if (isOne && !std::getline(one, lineOfOne)) lineOfOne.clear();
    if (isTwo && !std::getline(two, lineOfTwo)) lineOfTwo.clear();
  }
  return all;
}

// A whole run in which nothing depends on who is faster: each thread goes on when the others wait for it, and
// it is waited for behind what it says last.
std::string LogOfRun(int level, FakeLauncher fake, bool readsErrors, const std::string& last) {
  ThreadLog log(level, 30);
  const Gate running = NewGate(), launched = NewGate();
  const auto step = [&](const std::string& name) {
    log.Say("task's " + name);
    if (name == "run") running->wait();
  };
  const auto hook = [&](const std::string& name) {
    const std::string& thread = ztutil::ManagedThread::GetCurrentThreadName();
    log.Say(name + " in " + thread.substr(thread.find('(')));
    if (level > 1 && name == "OnLaunching") log.Await("timed_wait for", 2);
    if (level > 1 && name == "OnOutputTaskBegin stdout") log.Await("timed_wait for", 3);
    if (level > 2 && name == "OnOutputTaskBegin stdout") log.Await("IsRunningLocked stdout waitSeconds", 1);
    if (level > 2 && name == "OnOutputTaskBegin stderr") log.Await("IsRunningLocked stderr waitSeconds", 1);
    if (name == "OnRunning") running->count_down();
  };
  fake.wait = [=, wait = fake.wait](std::int32_t* exitCode) { return launched->wait(), wait(exitCode); };
  const auto out = boost::make_shared<Task>(step), errors = boost::make_shared<Task>(step);
  log.Say("Launch");
  ConsoleAppLauncher host(LaunchParams(L"", {}, out, readsErrors ? errors : nullptr),
                          boost::make_shared<App>(hook, boost::make_shared<FakeLauncher>(fake)));
  Outcome([&] {
    host.Launch();
    log.Await("=> OnOutputTaskEnd", readsErrors ? 2 : 1);
    launched->count_down();
    log.Await(last, 1);
    host.Wait(nullptr, kLong);
  });
  return log.Table();
}

TEST(ConsoleApp, TableOfItsLog) {
  FakeLauncher crash, noLaunch, ownFailure, noWait;
  crash.wait = [](std::int32_t* exitCode) { return *exitCode = 256, 1; };
  noLaunch.launch = [](auto&...) -> LaunchResult { throw std::runtime_error("CreatePipe failed"); };
  ownFailure.launch = [](auto&...) -> LaunchResult { throw Exception(TaskID::Stderr, "x"); };
  noWait.wait = [](std::int32_t*) -> std::int32_t { throw 1; };
  noWait.kill = [] { throw 2; };  // and what it says is read all the same
  const Gate end = NewGate();
  const auto byHand = [&](int level) { return LogByHand(level, end); };
  const auto logOf = [](const FakeLauncher& fake, bool readsErrors, const std::string& last) {
    return WithLevels([&](int level) { return LogOfRun(level, fake, readsErrors, last); });
  };
  EXPECT_TRUE(AsExpected(
      "hostlog.txt", "Each line of the log has its level. By hand:\n" + WithLevels(byHand) + "\nA crash:\n" +
                         logOf(crash, true, "=> OnFinished") +  //
                         "\nA launch that fails:\n" + logOf(noLaunch, false, "") +
                         "\nA launch that fails as an app does:\n" + logOf(ownFailure, false, "") +
                         "\nA wait that fails:\n" + logOf(noWait, false, "calling fLauncher->Kill()")));
  ThreadLog log(2, 1);
  end->count_down();
  log.Await("CleanupLaunchThreadTask mustKill", 12);  // so that they speak in nobody else's log
}

// --- Accessor and launcher ---------------------------------------------------------------------------------

TEST(ConsoleAppAccessor, RefusesWhatIsNotThere) {
  auto app = boost::make_shared<App>();
  const boost::weak_ptr<OutputTask> noTask;
  const auto task = boost::make_shared<OutputTask>();
  const auto record = boost::make_shared<ExecutionData>(app, noTask, task);
  ConsoleAppAccessor none(TaskID::Undefined, nullptr), output(TaskID::Stdout, record),
      launcher(TaskID::Launcher, record);
  const struct {
    std::function<void()> action;
    const char* outcome;
  } rows[] = {
      {[] { ConsoleAppAccessor(TaskID(4), nullptr); },
       "runtime: ConsoleAppAccessor::CopyIfValid invalid TaskID"},
      {[&] { none.Kill(); }, "other: Undefined: no ExecutionData"},
      {[&] { output.NotifyRunning(nullptr); }, "runtime: ConsoleAppAccessor::GetConsoleAppFor wrong TaskID"},
      {[&] { launcher.NotifyOutputTaskBegin(); },
       "runtime: ConsoleAppAccessor::GetConsoleAppIf condition not ok"},
      {[&] { ztutil::LaunchOutputThreadTask(TaskID::Stdout, record)(), app->ThrowIfFailurePending(); },
       "other: stdout: no output task"},
      {[&] { EXPECT_EQ(record->GetOutputTask(TaskID::Stderr), task); }, ""},
      {[&] { record->Clear(), app->NotifyRunning(nullptr, record.get()); },
       "other: Launcher: no console app"},
      {[&] { app->NotifyFailure(Exception(TaskID::Stdout, "late"), record.get()); },
       "other: stdout: no console app"},
      {[&] { app.reset(), output.Kill(); }, "other: stdout: no console app"},
      {[&] { output.NotifyFailure(Exception(TaskID::Stderr, "lost")); }, ""},
  };
  const ThreadLog log(1, 1);
  for (const auto& row : rows) EXPECT_EQ(Outcome(row.action), row.outcome);
  EXPECT_EQ(
      log.text,
      "ConsoleAppAccessor::NotifyFailure exc=stderr: lost could not notify app because stdout: no console "
      "app\n");
  EXPECT_EQ(record->GetOutputTask(TaskID::Stderr), nullptr);
  EXPECT_EQ(output.GetTasksRunning(), 0);
  EXPECT_EQ(output.GetState(), State::Idle);
  EXPECT_FALSE(output.HasExecutionData());
}

TEST(ConsoleAppLauncher, HoldsOneRunAtATime) {
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher launcher(Params({"drain", "exit:3"}), nullptr);
  std::int32_t exitCode = 77;
  EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Idle);
  for (const auto& act : {std::function<void()>([&] { launcher.Launch(); }),
                          {[&] { launcher.LaunchAndWait(nullptr, kLong); }},
                          {[&] { launcher.InjectFault(Fault::NoFault); }}})
    EXPECT_EQ(Outcome(act), "runtime: ConsoleAppLauncher: no ConsoleApp");
  launcher.SetConsoleApp(app);
  ConsoleAppLauncher other(launcher);
  launcher.Launch();
  ConsoleAppAccessor former(launcher);
  EXPECT_EQ(launcher.Wait(&exitCode, 0.01), State::Timeout);
  EXPECT_EQ(Outcome([&] { launcher.Launch(); }), "runtime: ConsoleAppLauncher::Launch: already launched");
  EXPECT_EQ(Outcome([&] { launcher.SetConsoleApp(app); }),
            "runtime: ConsoleAppLauncher::SetConsoleApp: already launched");
  EXPECT_EQ(Outcome([&] { ConsoleAppLauncher{launcher}; }),
            "runtime: ConsoleAppLauncher::SetLaunchParams: already launched");
  EXPECT_EQ(Outcome([&] { launcher = other; }), "runtime: ConsoleAppLauncher: can't assign while running");
  EXPECT_EQ(launcher.GetState(), State::Running);
  EXPECT_EQ(exitCode, 77);
  launcher.Kill();
  EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Killed);
  launcher = other;
  launcher.Launch();
  EXPECT_EQ(former.GetState(), State::Idle);
  // The app itself takes a second launch for the end of the first.
  EXPECT_EQ(Outcome([&] { other.Launch(); }), "runtime: ConsoleApp: must be idle");
  EXPECT_EQ(Outcome([&] { other.Reset(); }), "other: Client: no console app");
  EXPECT_TRUE(other.HasExecutionData() && other.GetState() == State::Idle && !other.HasExecutionData());
  EXPECT_EQ(Told([&] { return launcher.Wait(nullptr, 0.0); }), "other: Client: no console app");
  EXPECT_FALSE(launcher.HasExecutionData());
  EXPECT_EQ(launcher.GetState(), State::Idle);
}

// --- Whole runs --------------------------------------------------------------------------------------------

TEST(ConsoleAppRun, TellsHowTheChildEnded) {
  const Patience patience;
  const auto app = boost::make_shared<App>();
  const struct {
    Actions actions;
    const char* end;
    const char* output;
  } rows[] = {{{"crash"}, "Crashed 0", ""},
              {{"say:a", "warn:b", "half:c", "close:1", "exit:3"}, "Finished 3", "a\ncb\n"},
              {{"echo"}, "Finished 0", ""}};
  for (const auto& row : rows) {
    const auto out = boost::make_shared<Task>(), err = boost::make_shared<Task>();
    EXPECT_EQ(RunToEnd(app, LaunchParams(TestChild(), row.actions, out, err)), row.end);
    EXPECT_EQ(out->text + err->text, row.output);
    EXPECT_TRUE(app->GetRawEnd().has_value());
  }
  EXPECT_EQ(RunToEnd(app, LaunchParams(L"/no/such/program", {}, nullptr, nullptr)),
            "other: Launcher: CreateProcessW failed 77");
}

TEST(ConsoleAppRun, HandsStandardInputOver) {
  const Patience patience;
  boost::shared_ptr<App> app;
  app = boost::make_shared<App>([&app](const std::string& name) {  // a former run's is gone
    if (name != "OnLaunching") return;
    EXPECT_EQ(Outcome([&] { app->WritelnAppStdin("x"); }), "runtime: ztutil::Channel not open");
  });
  EXPECT_EQ(RunToEnd(app, Params({})), "Finished 0");
  const auto out = boost::make_shared<Task>(), err = boost::make_shared<Task>();
  ConsoleAppLauncher launcher(Params({"echo", "exit:4"}, out, err), app);
  launcher.Launch();
  EXPECT_EQ(launcher.GetTasksRunning(), 14);
  launcher.WritelnAppStdin("abc");
  for (int i = 0; i < 2; ++i) launcher.CloseAppStdin();
  std::int32_t exitCode = 0;
  EXPECT_EQ(launcher.Wait(&exitCode, kLong), State::Finished);
  EXPECT_EQ(exitCode, 4);
  EXPECT_EQ(out->text, "abc\n");
  EXPECT_EQ(app->GetTasksRunning(), 0);
}

// Whoever else may have them.
TEST(ConsoleAppRun, ClosesAndLetsGoOfTheChildsStreams) {
  struct Stream : ztutil::RandomAccess {
    bool DoIsOpen() const override { return said += '?', true; }
    bool DoClose() override { return said += 'c', true; }
    std::size_t DoReadSome(void*, std::size_t) override { return said += 'r', 0; }
    std::size_t DoWriteSome(const void*, std::size_t n) override { return said += 'w', n; }
    void Flush() override { said += 'f'; }
    mutable std::string said;
  };
  const auto input = boost::make_shared<Stream>(), output = boost::make_shared<Stream>();
  const auto fake = boost::make_shared<FakeLauncher>();
  fake->launch = [=](auto&...) { return LaunchResult{input, {nullptr, output, nullptr}}; };
  const auto app = boost::make_shared<App>(Ignore, fake);
  for (const auto& leave : {&ConsoleApp::CloseAppStdin, &ConsoleApp::Reset}) {
    EXPECT_EQ(RunToEnd(app, Params({}, boost::make_shared<Task>())), "Finished 0");
    app->WritelnAppStdin("x");
    (*app.*leave)();
    EXPECT_EQ(input.use_count(), 2);  // here and in the launcher
  }
  EXPECT_EQ(input->said + '|' + output->said, "?w?f?c?w?f|?r?c?r?c");
}

TEST(ConsoleAppRun, AFailingStepOrHookEndsInAFailureOfItsThread) {
  const std::pair<std::string, const char*> rows[] = {{"begin", "stdout: x"},
                                                      {"run", "stdout: LaunchOutputThreadTask failed"},
                                                      {"end", "stdout: x"},
                                                      {"OnRunning", "Launcher: x"},
                                                      {"OnOutputTaskBegin stdout", "stdout: x"},
                                                      {"OnOutputTaskEnd stderr", "Client: x"},
                                                      {"OnFinished 3", "Launcher: x"}};
  for (const auto& [place, failure] : rows) {
    const auto step = [&failing = place](const std::string& name) {
      if (name != failing) return;
      // The host may see the end before the failure.
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      if (name == "run") throw 1;
      if (name == "OnOutputTaskEnd stderr") throw Exception(TaskID::Client, "x");
      throw std::runtime_error("x");
    };
    const auto task = boost::make_shared<Task>(step);
    const auto app = boost::make_shared<App>(step);
    ConsoleAppLauncher launcher(Params({"exit:3"}, task, boost::make_shared<Task>()), app);
    EXPECT_EQ(Told([&] { return launcher.LaunchAndWait(nullptr, kLong); }), std::string("other: ") + failure);
    EXPECT_EQ(app->GetState(0.0), State::Idle);
    EXPECT_FALSE(task->IsRunning(0.0));
    // One that never ran has it up to its next run.
    EXPECT_EQ(task->HasReader(), place == "OnOutputTaskBegin stdout");
  }
}

// What its thread is interrupted with is no std::exception.
TEST(ConsoleAppRun, AWaitMayBeInterrupted) {
  ThreadLog log(2, 1);
  App app;
  app.NotifyLaunching();
  boost::thread host([&] { EXPECT_THROW(app.Wait(nullptr, kLong), boost::thread_interrupted); });
  host.interrupt();
  host.join();
  EXPECT_EQ(app.GetState(0.0), State::Idle);
  EXPECT_NE(log.text.find("exc=?"), std::string::npos) << log.text;
}

TEST(ConsoleAppRun, ATaskThatDoesNotBeginInTimeFailsTheLaunch) {
  const Gate go = NewGate();
  const auto app = boost::make_shared<App>([=](const std::string& name) {
    if (name == "OnOutputTaskBegin stderr") go->wait();
  });
  EXPECT_EQ(RunToEnd(app, Params({"drain"}, nullptr, boost::make_shared<Task>())),
            "other: Launcher: LauncherTask: output task stderr never started 77");
  go->count_down();
}

// The machine was suspended while the task began.
TEST(ConsoleAppRun, ATaskHasItsTimeBesidesASuspend) {
  ThreadLog log(3, 1);
  const auto hook = [&](const std::string& name) {
    if (name != "OnOutputTaskBegin stdout") return;
    log.Await("IsRunningLocked stdout waitSeconds", 1);
    ztutil::SetClockBias(2);
    log.Await("IsRunningLocked stdout maxWaitSeconds", 2);
  };
  EXPECT_EQ(RunToEnd(boost::make_shared<App>(hook), Params({"exit:3"}, boost::make_shared<Task>())),
            "Finished 3");
  ztutil::SetClockBias(0);
}

// Mostly before the launch thread looks.
TEST(ConsoleAppRun, ATaskThatEndsAtOnceHasStarted) {
  const Patience patience;
  class Blind : public OutputTask {};
  for (int i = 0; i < 20; ++i)
    ASSERT_EQ(RunToEnd(boost::make_shared<App>(), Params({}, boost::make_shared<Blind>())), "Finished 0");
}

TEST(ConsoleAppRun, ATaskAtWorkIsNeitherCopiedNorUsedAgain) {
  const Gate begun = NewGate(), go = NewGate();
  const auto task = boost::make_shared<Task>([=](const std::string& name) {
    if (name == "run") begun->count_down(), go->wait();
  });
  const auto app = boost::make_shared<App>();
  ConsoleAppLauncher launcher(Params({"drain"}, task), app);
  launcher.Launch();
  begun->wait();
  for (const auto& use :
       {std::function<void()>([&] { Task{*task}; }), {[&] { task->OutputTask::operator=(OutputTask()); }}})
    EXPECT_EQ(Outcome(use), "runtime: OutputTask::AssignLocked: task is running");
  const auto configure = [&] { task->Configure(TaskID::Stdout, nullptr, nullptr); };
  EXPECT_EQ(Outcome(configure), "runtime: OutputTask::Configure: task is running");
  launcher.Reset();
  EXPECT_EQ(RunToEnd(app, Params({}, task)), "other: Launcher: OutputTask::Configure: task is running 77");
  const auto both = boost::make_shared<Task>();
  EXPECT_EQ(RunToEnd(app, Params({"drain"}, both, both)),
            "other: Launcher: OutputTask::Configure: task is running 77");
  EXPECT_EQ(RunToEnd(app, Params({"exit:3"})), "Finished 3");
  go->count_down();
  for (const double end = ztutil::Now() + kLong; !Outcome(configure).empty() && ztutil::Now() < end;)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(Outcome(configure), "");
}

// It does so until standard input is closed, and that is behind all of this.
TEST(ConsoleAppRun, AGrandchildThatHoldsThePipeDelaysNobodyForLong) {
  const Gate finished = NewGate();
  const auto app = boost::make_shared<App>([=](const std::string& name) {
    if (name == "OnFinished 3") finished->count_down();
  });
  ConsoleAppLauncher launcher(Params({"grandchild:drain", "exit:3"}, boost::make_shared<Task>()), app);
  launcher.Launch();
  EXPECT_EQ(finished->wait_for(boost::chrono::seconds(30)), boost::cv_status::no_timeout);
  const std::string told = Told([&] { return launcher.Wait(nullptr, kLong); });
  EXPECT_TRUE(told == "Timeout" || told == "other: Launcher: output task thread abandoned") << told;
  EXPECT_EQ(app->GetState(0.0), State::Idle);
}

// A child that was made for a run that is cut off goes, and the next run's stays.
TEST(ConsoleAppRun, ALateLaunchCleansUpBehindItself) {
  const auto launcher = boost::make_shared<FakeLauncher>();
  const auto platform = ztutil::CreateLauncher();
  const Gate launched = NewGate(), go = NewGate(), killed = NewGate();
  launcher->launch = [=, launches = std::make_shared<std::atomic<int>>(0)](auto&... arguments) {
    LaunchResult result = platform->Launch(arguments...);
    if (++*launches == 1) launched->count_down(), go->wait();
    return result;
  };
  launcher->wait = [=](std::int32_t* exitCode) { return platform->Wait(exitCode); };
  const auto isKilled = std::make_shared<bool>(false);
  launcher->kill = [=] { platform->Kill(), *isKilled = true; };
  launcher->giveUp = [=] { *isKilled ? killed->count_down() : static_cast<void>(ADD_FAILURE()); };
  ConsoleAppLauncher host(Params({"drain", "exit:3"}), boost::make_shared<App>(Ignore, launcher));
  host.Launch();
  EXPECT_EQ(host.GetState(), State::Timeout);
  launched->wait();
  host.Reset();
  host.Launch();
  go->count_down();
  EXPECT_EQ(killed->wait_for(boost::chrono::seconds(30)), boost::cv_status::no_timeout);
  EXPECT_EQ(host.Wait(nullptr, 0.1), State::Timeout);
  host.CloseAppStdin();
  EXPECT_EQ(host.Wait(nullptr, kLong), State::Finished);
}

// It has come to Running, is left alone from then on, and is the last that the launcher knows.
TEST(ConsoleAppRun, NoKillMeansTheChildOfAnEarlierRun) {
  const auto launcher = boost::make_shared<FakeLauncher>();
  const Gate waiting = NewGate(), end = NewGate(), launching = NewGate(), reset = NewGate();
  launcher->wait = [=](std::int32_t*) {
    if (!waiting->try_wait()) waiting->count_down();
    return end->wait(), 0;
  };
  launcher->kill = [] { ADD_FAILURE(); };
  const auto app = boost::make_shared<App>(
      [=, launches = std::make_shared<int>(0)](const std::string& name) {
        if (name == "OnLaunching" && ++*launches == 2) launching->wait();
        if (name == "OnRunning") reset->wait();
      },
      launcher);
  ConsoleAppLauncher host(LaunchParams(), app);
  host.Launch();
  EXPECT_EQ(host.GetState(), State::Running);
  host.Reset();
  EXPECT_EQ(app->GetTasksRunning(), 0);
  reset->count_down();
  EXPECT_EQ(waiting->wait_for(boost::chrono::seconds(30)), boost::cv_status::no_timeout);
  host.Launch();
  EXPECT_EQ(Outcome([&] { host.Kill(); }), "runtime: TerminateProcess failed");
  launching->count_down();
  end->count_down();
  EXPECT_EQ(host.Wait(nullptr, kLong), State::Finished);
}

TEST(ConsoleAppRun, TheLastOwnerMayBeAThreadOfTheRun) {
  for (const char* const place : {"OnRunning", "OnOutputTaskBegin stdout", "OnFinished 0"}) {
    const Gate there = NewGate(), go = NewGate();
    auto app = boost::make_shared<App>([=](const std::string& name) {
      if (name == place) there->count_down(), go->wait();
    });
    const boost::weak_ptr<ConsoleApp> watch = app;
    const auto task = boost::make_shared<Task>();
    const auto record = boost::make_shared<ExecutionData>(app, task, task);
    // Where the task is held up, this may be "never started".
    Told([&] { app->Launch(record, Params({"sleep:10"}, task)); });
    there->wait();
    app.reset();
    EXPECT_FALSE(watch.expired());
    go->count_down();
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

// Empty, or what went otherwise than the row says. Leaves an app that should be as good as new.
std::string CheckFault(const FaultRow& row, Fault fault, Phase phase, std::size_t operation,
                       boost::shared_ptr<App>& app) {
  const std::string launch = phase == kIdle ? "" : Decode(row.launch, fault),
                    told = Decode(row.told[operation], fault), after = Decode(row.after[operation], fault);
  const Gate running = NewGate(), finished = NewGate(), reading = NewGate();
  const auto task = boost::make_shared<Task>([=](const std::string& name) {
    if (name == "run" && phase == kOutputPending) reading->wait();
  });
  app = boost::make_shared<App>([=](const std::string& name) {
    if (name == "OnRunning") running->wait();
    if (name == "OnFinished 3" && !finished->try_wait()) finished->count_down();
  });
  app->InjectFault(fault);
  std::string is;
  if (phase != kIdle) {
    const Actions actions =
        phase == kOutputPending ? Actions{"flood:200000", "drain"} : Actions{"drain", "exit:3"};
    const auto record = boost::make_shared<ExecutionData>(app, task, boost::weak_ptr<OutputTask>());
    is = InTurn([&] { return Told([&] { app->Launch(record, Params(actions, task)); }); });
  }
  if (phase == kDead && launch.empty()) app->CloseAppStdin();
  running->count_down();
  // A failure is there before the operation, but for that of Kill itself.
  if (launch.empty() && IsFailure(Decode(row.told[1], fault))) AwaitFailure(*app);
  if (row.after[1] == 'F') finished->wait();

  const auto look = [&](double seconds) { return Told([&] { return app->GetState(seconds); }); };
  const std::function<std::string()> operations[kOperations] = {
      [&] { return Told([&] { return app->Wait(nullptr, told == "Timeout" ? 0.02 : kLong); }); },
      [&] { return look(0.2); },
      [&] { return Told([&] { app->Kill(); }); },
      [&] { return Told([&] { app->Reset(); }); },
      [&] { return Told([&] { app.reset(), app = boost::make_shared<App>(); }); },
  };
  is += "; " + operations[operation]();
  if (IsFailure(after)) AwaitFailure(*app);
  is += "; " + look(after == "Killed" ? kLong : 0.2);

  reading->count_down();
  app->Reset();
  app->InjectFault(Fault::NoFault);
  const std::string should = launch + "; " + told + "; " + after;
  if (is == should) return "";
  return FaultName(fault) + ", phase " + std::to_string(phase) + ", operation " + std::to_string(operation) +
         ": " + is + " instead of " + should + '\n';
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
  std::vector<std::function<std::string(boost::shared_ptr<App>&)>> cases;
  for (const FaultRow& row : rows)
    for (const Fault fault : row.faults)
      for (const Phase phase : row.phases)
        for (std::size_t operation = 0; operation < kOperations; ++operation)
          cases.emplace_back([&row, fault, phase, operation](boost::shared_ptr<App>& app) {
            return CheckFault(row, fault, phase, operation, app);
          });
  std::vector<boost::shared_ptr<App>> apps(cases.size());
  // Side by side, since most of them wait for the short wait to go by.
  std::atomic<std::size_t> next{0};
  std::vector<std::future<std::string>> workers(16);
  for (auto& worker : workers)
    worker = std::async(std::launch::async, [&] {
      std::string odd;
      for (std::size_t i = next++; i < cases.size(); i = next++) odd += cases[i](apps[i]);
      return odd;
    });
  for (auto& worker : workers) EXPECT_EQ(worker.get(), "");
  for (const auto& app : apps)
    EXPECT_EQ(RunToEnd(app, Params({"exit:3"}, boost::make_shared<Task>())), "Finished 3");
}

}  // namespace
