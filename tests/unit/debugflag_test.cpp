#include "ownhome.h"

#include <ztutil/debugflag.h>
#include <ztutil/settingsfile.h>
#include <ztutil/xdguserdirs.h>

#include <boost/filesystem.hpp>
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

// Flags are read once in a process, so these cases have one each.
void InAProcess(const char* settings, int (*check)()) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        WriteInHome("ztlogSettings.txt", settings);
        std::exit(check());
      },
      testing::ExitedWithCode(0), "");
}

std::int32_t Value(const std::string& name) {
  ztutil::DebugFlag flag{name.c_str()};
  return ztutil::DebugFlagValue(flag);
}

TEST(Settings, LinesAreTakenToTheLetter) {
  const struct {
    const char* line;
    const char* name;  // null: no setting
    std::int32_t value;
  } rows[] = {
      {"A=1", "A", 1},
      {"A = 1", "A ", 1},
      {" #A=1", " #A", 1},
      {"A=1=2", "A", 1},
      {"A=0x10", "A", 16},
      {"A=010", "A", 8},
      {"A=abc", "A", 0},
      {"A=12abc", "A", 12},
      {"A=  -5 # trailing", "A", -5},
      {"A=99999999999", "A", 2147483647},
      {"A=-99999999999999999999", "A", -2147483647 - 1},
      {"A=2147483648", "A", 2147483647},
      {"#A=1", nullptr, 0},
      {"B", nullptr, 0},
      {"=3", nullptr, 0},
      {"C=", nullptr, 0},
      {"", nullptr, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    std::string name;
    std::int32_t value = 0;
    EXPECT_EQ(ztutil::ParseSetting(row.line, name, value), row.name != nullptr);
    if (row.name != nullptr) {
      EXPECT_EQ(name, row.name);
      EXPECT_EQ(value, row.value);
    }
  }
  EXPECT_EQ(Read(WriteInHome("s", std::string("A\0B=7\nD=3", 9))), (Settings{{"A", 7}, {"D", 3}}));
  EXPECT_EQ(Read(WriteInHome("s", "A=1\r\n\r\nC=\r\n#\r\nA=2\r\nlast=5")),
            (Settings{{"A", 1}, {"A", 2}, {"last", 5}}));
}

TEST(Settings, WhatIsNoFileHasNone) {
  EXPECT_EQ(Read(OwnHome() + "/missing"), Settings{});
  EXPECT_EQ(Read(OwnHome()), Settings{});
}

TEST(Settings, LongLinesAndFilesAreRead) {
  const std::string longName(5000000, 'n');
  EXPECT_EQ(Read(WriteInHome("s", longName + "=1\n" + std::string(5000000, 'x') + "\nA=2\n")),
            (Settings{{longName, 1}, {"A", 2}}));
}

TEST(Flags, ComeFromTheFileWhoseFirstLineWins) {
  InAProcess("A=1\nA=2\nGPUProwler=0x11\n#B=3\n", [] {
    return Value("A") == 1 && Value("GPUProwler") == 17 && Value("B") == 0 && Value("a") == 0 ? 0 : 1;
  });
}

TEST(Flags, WithoutASlotShareAWord) {
  static std::string settings;
  for (int i = 0; i < 1100; ++i) settings += "K" + std::to_string(i) + "=" + std::to_string(i + 1) + "\n";
  InAProcess(settings.c_str(), [] {
    static ztutil::DebugFlag verbose{"GPUProwler"};
    const bool values =
        Value("K0") == 1 && Value("K1023") == 1024 && Value("K1024") == 0 && Value("new") == 0;
    ztutil::DebugFlagValue(verbose) = 5;
    return values && ztutil::DebugFlagValue(verbose) == 5 && Value("K1099") == 5 && Value("K1023") == 1024
               ? 0
               : 1;
  });
}

TEST(Flags, OfADirectoryInTheFilesPlaceAreZero) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        boost::filesystem::create_directory(OwnHome() + "/ztlogSettings.txt");
        std::exit(Value("A"));
      },
      testing::ExitedWithCode(0), "");
}

TEST(UserDirectory, IsTheParentOfTheDesktop) {
  const struct {
    const char* text;
    const char* directory;
  } rows[] = {
      {"", "/home/u"},
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
  for (const auto& row : rows)
    EXPECT_EQ(ztutil::ParentOfDesktop(row.text, "/home/u"), row.directory) << row.text;
  EXPECT_EQ(ztutil::ParentOfDesktop("", ""), "");
}

}  // namespace
