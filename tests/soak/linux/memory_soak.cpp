// Hosts that write one memory at once, and are killed at any moment.
#include "../soak.h"

#include <gtest/gtest.h>
#include <remember/memory.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>

namespace {

constexpr int kHosts = 4;

std::string TextFor(int host) { return std::string(10000, static_cast<char>('a' + host)); }

// Gives its process id.
pid_t StartHost(const std::string& folder, int host) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  gpuprowler::Answer answer;
  answer.verdict = gpuprowler::Verdict::kFinished;
  answer.text = TextFor(host);
  for (gpuprowler::Memory memory(folder);;) memory.Keep(std::to_string(host), answer);
}

void EndHost(pid_t pid) {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

TEST(MemorySoak, SurvivesItsHosts) {
  const std::string folder =
      (std::filesystem::temp_directory_path() / ("memory-soak-" + std::to_string(getpid()))).string();
  std::filesystem::remove_all(folder);
  gpuprowler::Memory memory(folder);
  std::array<pid_t, kHosts> hosts{};
  for (int host = 0; host < kHosts; ++host) hosts[static_cast<std::size_t>(host)] = StartHost(folder, host);
  std::minstd_rand random;
  int found = 0;
  for (Effort effort(100, 10000); !testing::Test::HasFailure() && effort.More();) {
    usleep(static_cast<useconds_t>(random() % 20000));
    const auto victim = static_cast<int>(random() % kHosts);
    EndHost(hosts[static_cast<std::size_t>(victim)]);
    for (int host = 0; host < kHosts; ++host) {
      const auto answer = memory.Recall(std::to_string(host));
      if (!answer) continue;
      ++found;
      EXPECT_EQ(answer->text, TextFor(host));
    }
    hosts[static_cast<std::size_t>(victim)] = StartHost(folder, victim);
  }
  for (const pid_t host : hosts) EndHost(host);
  EXPECT_GT(found, 0);
  // None of them holds anything any more.
  memory.Put(gpuprowler::SetAside());
  EXPECT_EQ(memory.GetSetAside().size(), 1u);
  std::filesystem::remove_all(folder);
}

}  // namespace
