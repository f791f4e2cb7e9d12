// The README's host, as it is printed there, with probers that aren't.
#include "../ownhome.h"
#include "../testchild.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

namespace {

namespace fs = boost::filesystem;

TEST(ReadmeHost, TellsWhatBecameOfTheProber) {
  const struct {
    const char* prober;
    const char* begin;
    const char* end;
  } rows[] = {
      {"", "Launcher: CreateProcessW failed; Permission denied\n", "no end was seen\n"},
      {"#!/bin/sh\necho x; kill -SEGV $$", "x\n", "signal 11 (SIGSEGV)\n"},
      {"#!/bin/sh\necho x; sleep 4 & exit 3", "", "x\nexit status 3\n"},
  };
  const fs::path former = fs::current_path();
  const auto launcher = ztutil::CreateLauncher();
  for (const auto& row : rows) {
    const fs::path prober = WriteInHome("gpuprowler", row.prober);
    if (*row.prober != '\0') fs::permissions(prober, fs::owner_all);
    fs::current_path(prober.parent_path());
    const auto host =
        launcher->Launch((boost::dll::program_location().parent_path() / "readmehost").wstring(), {});
    fs::current_path(former);
    const std::string said = ReadAll(*host.fAppOutput[1]);
    EXPECT_EQ(WaitFor(*launcher), "0 0");
    EXPECT_TRUE(boost::starts_with(said, row.begin)) << said;
    EXPECT_TRUE(boost::ends_with(said, row.end)) << said;
  }
}

}  // namespace
