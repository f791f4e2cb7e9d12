#include "outcome.h"
#include "testchild.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <thread>

namespace {

using ztutil::CreateLauncher;
using ztutil::LaunchResult;

constexpr char kNoProcess[] = "runtime: TerminateProcess failed";

TEST(Launcher, TellsHowAChildEnded) {
  const struct {
    std::deque<std::string> actions;
    const char* end;
  } rows[] = {
      {{"exit:255"}, "0 255"},
      {{"crash"}, "1 77"},
      {{"flood:300000", "exit:3"}, "0 3"},
  };
  const auto launcher = CreateLauncher();
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.actions));
    EXPECT_EQ(RunChild(*launcher, row.actions), row.end);
    EXPECT_EQ(WaitFor(*launcher), row.end);
    EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  }
}

TEST(Launcher, ConnectsThreeStreams) {
  const auto launcher = CreateLauncher();
  LaunchResult child = launcher->Launch(TestChild(), {"say:out", "warn:err", "close:2", "echo", "half:end"});
  EXPECT_EQ(ReadAll(*child.fAppOutput[2]), "err\n");
  const std::string text = std::string("a\0\r\n\xFF", 5);
  child.fStdin->Write(text.data(), text.size());
  child.fStdin.reset();
  EXPECT_EQ(ReadAll(*child.fAppOutput[1]), "out\n" + text + "end");
  EXPECT_EQ(WaitFor(*launcher), "0 0");

  std::string inherited;
  RunChild(*launcher, {"folder", "variable:PATH"}, &inherited);
  EXPECT_EQ(inherited, std::filesystem::current_path().string() + "\n" + std::getenv("PATH"));
}

// The child ends with 97 at a variable that it doesn't have.
TEST(Launcher, AChildsEnvironmentChangesAlone) {
  const char* const path = std::getenv("PATH");
  const std::string name = "ZTUTIL_TEST", none = "0 97";
  const struct {
    ztutil::EnvironmentChanges changes;
    const char* variable;
    std::string end;
  } rows[] = {
      {{{name, "a=b c"}}, "ZTUTIL_TEST", "a=b c 0 0"},
      {{{name, ""}, {"PATH", std::nullopt}}, "PATH", none},
      {{{"PATH", "other"}}, "PATH", "other 0 0"},
      {{{name, std::nullopt}}, "PATH", path + std::string(" 0 0")},
  };
  const auto launcher = CreateLauncher();
  for (const auto& row : rows) {
    const std::string action = std::string("variable:") + row.variable;
    LaunchResult child = launcher->LaunchWithEnvironment(TestChild(), {action}, row.changes, true);
    const std::string value = ReadAll(*child.fAppOutput[1]);
    EXPECT_EQ(value + (value.empty() ? "" : " ") + WaitFor(*launcher), row.end);
    EXPECT_EQ(std::getenv("PATH"), path);
  }
  const std::string nul("a\0b", 3);
  const ztutil::EnvironmentChanges refused[] = {
      {{"", ""}}, {{"a=b", ""}}, {{nul, ""}}, {{nul, std::nullopt}}, {{"a", nul}}};
  for (const auto& changes : refused)
    EXPECT_EQ(Outcome([&] { launcher->LaunchWithEnvironment(TestChild(), {}, changes, false); }),
              "runtime: CreateProcessW failed");
}

TEST(Launcher, KillsWhatRuns) {
  const auto launcher = CreateLauncher();
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), kNoProcess);
  const LaunchResult child = launcher->Launch(TestChild(), {"say:up", "hang"});
  EXPECT_EQ(child.fAppOutput[1]->ReadByte(), 'u');
  auto end = std::async(std::launch::async, [&] { return WaitFor(*launcher); });
  launcher->Kill();
  EXPECT_EQ(Outcome([&] { launcher->Kill(); }), "");
  EXPECT_EQ(end.get(), "2 77");
  EXPECT_EQ(Outcome([&] { child.fStdin->Write("x", 1); }), "runtime: WriteFile failed");
  EXPECT_EQ(RunChild(*launcher, {"crash"}), "1 77");  // the kill was the other run's
}

TEST(Launcher, AFailedLaunchHasNoChild) {
  const auto launcher = CreateLauncher();
  for (const wchar_t* const program : {L"/no/such/program", L"no-such-program", L""}) {
    EXPECT_EQ(RunChild(*launcher, {"exit:5"}), "0 5");
    EXPECT_EQ(launcher->GetStartError(), "");
    EXPECT_EQ(Outcome([&] { launcher->Launch(program, {}); }), "runtime: CreateProcessW failed");
    EXPECT_NE(launcher->GetStartError(), "");
    EXPECT_EQ(launcher->GetProcessID(), 0u);
    EXPECT_EQ(ztutil::DescribeRawEnd(launcher->GetRawEnd().value()), "exit status 5");  // of the one before
    EXPECT_EQ(Outcome([&] { launcher->Kill(); }), kNoProcess);
    EXPECT_EQ(Outcome([&] { WaitFor(*launcher); }), "runtime: WaitForSingleObject failed");
  }
}

// A thread that was given up on goes on with its own run, whatever its launcher does meanwhile.
TEST(Launcher, KeepsARunApartFromTheNext) {
  const auto launcher = CreateLauncher();
  std::promise<LaunchResult> launched;
  std::promise<void> next;
  auto former = std::async(std::launch::async, [&] {
    LaunchResult child = launcher->Launch(TestChild(), {"hang"});
    const std::uint32_t own = launcher->GetProcessID();
    launched.set_value(std::move(child));
    next.get_future().wait();
    EXPECT_NE(launcher->GetProcessID(), own);  // it is the last one's
    launcher->Kill();
    return WaitFor(*launcher);
  });
  const LaunchResult formerChild = launched.get_future().get();
  LaunchResult child = launcher->Launch(TestChild(), {"drain", "exit:4"});
  next.set_value();
  EXPECT_EQ(former.get(), "2 77");
  EXPECT_EQ(launcher->GetRawEnd(), std::nullopt);
  child.fStdin.reset();
  EXPECT_EQ(WaitFor(*launcher), "0 4");
  EXPECT_EQ(ztutil::DescribeRawEnd(launcher->GetRawEnd().value()), "exit status 4");
  // Any other thread's kill is for the last one.
  const LaunchResult last = launcher->Launch(TestChild(), {"hang"});
  std::thread([&] { launcher->Kill(); }).join();
  EXPECT_EQ(WaitFor(*launcher), "2 77");
}

}  // namespace
