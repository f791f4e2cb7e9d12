// Who may write and read what is remembered.
#include "../ownhome.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <remember/memoryfile.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <string>

namespace {

using namespace gpuprowler::platform;
using std::string;

unsigned ModeOf(const string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

bool Write(const string& folder, const string& text) {
  return ChangeMemoryFile(folder, 100, [&](const string& before) { return before + text; });
}

TEST(MemoryFileTest, IsTheUsersAlone) {
  unsetenv("XDG_STATE_HOME");
  EXPECT_EQ(StateFolder(), OwnHome() + "/.local/state");
  setenv("XDG_STATE_HOME", "relative", 1);
  EXPECT_EQ(StateFolder(), OwnHome() + "/.local/state");
  setenv("XDG_STATE_HOME", "/state", 1);
  EXPECT_EQ(StateFolder(), "/state");

  const string folder = OwnHome() + "/own/memory", file = folder + "/memory.json";
  EXPECT_TRUE(Write(folder, "a"));
  EXPECT_TRUE(Write(folder, "b"));
  EXPECT_EQ(ReadMemoryFile(folder, 2), "ab");
  EXPECT_EQ(ReadMemoryFile(folder, 1), "");
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{2, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_FALSE(Write(folder, "c"));
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(ReadMemoryFile(folder, 2), "ab");
  EXPECT_EQ(ModeOf(file + ".new"), 0u);
  EXPECT_EQ(ModeOf(folder), S_IFDIR | 0700u);
  EXPECT_EQ(ModeOf(file), S_IFREG | 0600u);

  // What leads elsewhere isn't followed.
  const string link = OwnHome() + "/link", target = WriteInHome("target", "x");
  symlink(folder.c_str(), link.c_str());
  EXPECT_EQ(ReadMemoryFile(link, 2), "");
  EXPECT_FALSE(Write(link, "c"));
  unlink(file.c_str());
  symlink(target.c_str(), file.c_str());
  symlink(target.c_str(), (file + ".new").c_str());
  EXPECT_EQ(ReadMemoryFile(folder, 2), "");
  EXPECT_TRUE(Write(folder, "c"));
  EXPECT_EQ(ReadMemoryFile(folder, 2), "c");
  EXPECT_EQ(ReadInHome("target"), "x");

  // A process that holds the lock for ever isn't waited for, nor a pipe.
  const int lock = open((folder + "/memory.lock").c_str(), O_RDWR | O_CLOEXEC);
  flock(lock, LOCK_EX);
  EXPECT_FALSE(Write(folder, "d"));

  // It is, while it may yet be given back.
  static int held;
  held = lock;
  std::signal(SIGALRM, [](int) { close(held); });
  ualarm(20000, 0);
  EXPECT_TRUE(Write(folder, "d"));
  unlink(file.c_str());
  mkfifo(file.c_str(), 0600);
  EXPECT_EQ(ReadMemoryFile(folder, 2), "");
  EXPECT_TRUE(Write(folder, "e"));

  // Nothing is made in what is another user's.
  unlink(file.c_str());
  if (chown(folder.c_str(), 65534, 0) != 0) return;  // not by a user
  EXPECT_FALSE(Write(folder, "f") || Write(folder + "/deep/memory", "f"));
  EXPECT_EQ(ModeOf(folder + "/deep") + ModeOf(file), 0u);
}

TEST(MemoryFileTest, FindsTheProgram) {
  const string file = WriteInHome("program", "xx"), path = std::getenv("PATH");
  const timespec times[] = {{1, 1}, {3, 5}};
  utimensat(AT_FDCWD, file.c_str(), times, 0);
  setenv("PATH", ("/:/none:" + OwnHome()).c_str(), 1);
  for (const auto& [program, found] :
       std::map<string, string>{{file, file}, {"program", file}, {"none", ""}, {"dev", ""}}) {
    const FileFacts facts = FactsOfProgram(program);
    EXPECT_EQ(facts.path, found.empty() ? program : found);
    EXPECT_TRUE(facts.bytes == (found.empty() ? 0 : 2) && facts.modified == (found.empty() ? 0 : 3000000005))
        << program;
  }
  setenv("PATH", path.c_str(), 1);
}

}  // namespace
