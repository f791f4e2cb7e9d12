#include "../ownhome.h"

#include <ztutil/platform.h>

#include <boost/thread/thread.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

// What a driver opens must not become a standard stream, and what is written to a closed one must fail.
void CheckClosedStreams() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) close(descriptor);
  ztutil::platform::PrepareProberProcess();
  char byte = 'x';
  const bool fail = read(0, &byte, 1) == -1 && write(1, &byte, 1) == -1 && write(2, &byte, 1) == -1;
  std::exit(fail && open("/dev/null", O_RDWR) > 2 ? 0 : 1);
}

TEST(ProberProcess, ClosedStandardStreamsFailAndAreNobodyElses) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(CheckClosedStreams(), testing::ExitedWithCode(0), "");
}

TEST(RegularFile, IsNoPipeThatWouldHaveToBeWaitedFor) {
  const std::string fifo = OwnHome() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ztutil::platform::OpenRegularFile(fifo), nullptr);
}

TEST(HomeOfSettings, IsFoundByTheFileOfTheUsersFoldersAndByTheUserDatabase) {
  mkdir((OwnHome() + "/.config").c_str(), 0700);
  const std::string file = WriteInHome(".config/user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/my/Desktop\"\n");
  EXPECT_EQ(ztutil::platform::UserDirectory(), OwnHome() + "/my");
  std::remove(file.c_str());
  unsetenv("HOME");
  EXPECT_EQ(ztutil::platform::UserDirectory(), getpwuid(getuid())->pw_dir);
  setenv("HOME", OwnHome().c_str(), 1);
}

TEST(ThreadName, IsCutToTheSystemsRoom) {
  boost::thread([] {
    for (const auto& [name, expected] : {std::pair("a name longer than the system's", "a name longer t"),
                                         {"1a2c(app.Launcher)", "app.Launcher"}}) {
      ztutil::platform::NameThreadForDebugger(name);
      char shown[16] = "";
      pthread_getname_np(pthread_self(), shown, sizeof shown);
      EXPECT_STREQ(shown, expected);
    }
  }).join();
}

}  // namespace
