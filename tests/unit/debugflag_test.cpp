#include "logging/settingsfile.h"
#include "ownhome.h"
#include "system/xdguserdirs.h"

#include <ztutil/debugflag.h>
#include <ztutil/logger.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

using Settings = std::vector<std::pair<std::string, std::int32_t>>;

Settings Read(const std::string& path) {
  Settings settings;
  ztutil::ReadSettings(
      path, [&](const std::string& name, std::int32_t value) { settings.emplace_back(name, value); });
  return settings;
}

std::int32_t Value(const std::string& name) {
  ztutil::DebugFlag flag{name.c_str()};
  return ztutil::DebugFlagValue(flag);
}

TEST(Settings, LinesAreTakenToTheLetter) {
  const std::string longName(5000000, 'n'), tooLong = "A=1\nB=" + std::string(16777216 - 5, '2');
  const std::pair<std::string, Settings> rows[] = {
      {"A = 1", {{"A ", 1}}},
      {" #A=1", {{" #A", 1}}},
      {"A=1=2", {{"A", 1}}},
      {"A=0x10", {{"A", 16}}},
      {"A=010", {{"A", 8}}},
      {"A=abc", {{"A", 0}}},
      {"A=  -5 # trailing", {{"A", -5}}},
      {"A=99999999999", {{"A", 2147483647}}},
      {"A=-99999999999999999999", {{"A", -2147483647 - 1}}},
      {"#A=1\nB\n=3\nC=\n\nD=4\n", {{"D", 4}}},
      {"A=1\r\n\r\nC=\r\n#\r\nA=2\r\nlast=\r", {{"A", 1}, {"A", 2}, {"last", 0}}},
      {std::string("A\0B=7\nD=3", 9), {{"A", 7}, {"D", 3}}},
      {longName + "=1\n" + longName + "\nA=2\n", {{longName, 1}, {"A", 2}}},
      {tooLong, {}},
      {tooLong.substr(1), {{"B", 2147483647}}},
  };
  for (const auto& [text, settings] : rows)
    EXPECT_TRUE(Read(WriteInHome("s", text)) == settings) << text.substr(0, 40);
  EXPECT_EQ(Read(OwnHome()), Settings{});
}

// In a process of its own, which reads the file once.
void CheckFlags() {
  std::string settings = "A=1\nA=2\n";
  for (int i = 1; i < 1100; ++i) settings += "K" + std::to_string(i) + "=" + std::to_string(i) + "\n";
  WriteInHome("ztlogSettings.txt", settings);
  EXPECT_NE(ztutil::CurrentLogger().get(), nullptr);  // has the flags read, too
  EXPECT_EQ(Value("A"), 1);
  ztutil::DebugFlag flag{"A"};
  ztutil::DebugFlagValue(flag) = 3;
  EXPECT_EQ(Value("A"), 3);
  EXPECT_EQ(Value("K1023"), 1023);
  EXPECT_EQ(Value("K1024"), 0);
  EXPECT_EQ(flag.fIndex, 1);
  ztutil::DebugFlag verbose{"GPUProwler"};
  ztutil::DebugFlagValue(verbose) = 5;
  EXPECT_EQ(Value("K1024"), 5);
  std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(Flags, OfOneNameAreOneTheFirstLineWinsAndThoseWithoutASlotShareAWord) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(CheckFlags(), testing::ExitedWithCode(0), "");
}

TEST(UserDirectory, IsTheParentOfTheDesktop) {
  const std::pair<const char*, const char*> rows[] = {
      {"XDG_DESKTOP_DIR=\"$HOME/Desktop\"", "/home/u"},
      {"# remark\nXDG_DESKTOP_DIR=\"$HOME/a b/Desk\\\"top/\"\nXDG_MUSIC_DIR=\"$HOME/m\"\n", "/home/u/a b"},
      {"XDG_DESKTOP_DIR=\"$HOME\"", "/home/u"},
      {"XDG_DESKTOP_DIR=\"$HOME/\"", "/home/u"},
      {"XDG_DESKTOP_DIR=\"/data/desk\"", "/data"},
      {"XDG_DESKTOP_DIR=\"/desk\"", "/"},
      {"XDG_DESKTOP_DIR=\"relative/desk\"", "/home/u"},
      {"XDG_DESKTOP_DIR=\"$HOMEdesk\"", "/home/u"},
      {"XDG_DESKTOP_DIR=\"/one/a\"\nXDG_DESKTOP_DIR=\"/two/b", "/two"},
  };
  for (const auto& [text, directory] : rows)
    EXPECT_EQ(ztutil::ParentOfDesktop(text, "/home/u"), directory) << text;
}

}  // namespace
