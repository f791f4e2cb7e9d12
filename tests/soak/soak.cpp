#include "soak.h"

#include "../unit/testchild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <thread>
#include <vector>

namespace {

using ztutil::CreateLauncher;

double SoakSeconds() {
  const char* const seconds = std::getenv("SOAK_SECONDS");
  return seconds != nullptr ? std::atof(seconds) : 0;
}

}  // namespace

Effort::Effort(int brief, int full) : fSeconds(SoakSeconds()), fMost(fSeconds > 0 ? full : brief) {}

Effort::~Effort() {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - fStart;
  std::printf("%d of %d times in %.1f s\n", std::min(fBegun.load(), fMost), fMost, elapsed.count());
}

bool Effort::More() {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - fStart;
  return (fSeconds == 0 || elapsed.count() < fSeconds) && fBegun++ < fMost;
}

bool Holdings::operator==(const Holdings& other) const {
  return fDescriptors == other.fDescriptors && fThreads == other.fThreads &&
         fHasChildren == other.fHasChildren;
}

std::ostream& operator<<(std::ostream& out, const Holdings& holdings) {
  return out << holdings.fDescriptors << " descriptors, " << holdings.fThreads << " threads, "
             << (holdings.fHasChildren ? "children" : "no children");
}

void InThreads(const std::function<void(unsigned)>& body) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < 4; ++i) threads.emplace_back(body, i);
  for (std::thread& thread : threads) thread.join();
}

void AwaitOrphans() {
  const auto launcher = CreateLauncher();
  for (int tries = 0; TakeStock().fHasChildren && tries < 5000; ++tries) RunChild(*launcher, {"sleep:1"});
}

void ExpectPromptEnds(const std::function<void()>& startAnother) {
  std::atomic<bool> done{false};
  std::thread starter([&] {
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(5))) startAnother();
  });
  std::atomic<int> late{0};
  Effort effort(1500, 20000);
  InThreads([&](unsigned) {
    const auto launcher = CreateLauncher();
    while (effort.More()) {
      const ztutil::LaunchResult child = launcher->Launch(TestChild(), {"exit:1"});
      EXPECT_EQ(WaitFor(*launcher), "0 1");
      const auto ended = std::chrono::steady_clock::now();
      EXPECT_EQ(ReadAll(*child.fAppOutput[1]) + ReadAll(*child.fAppOutput[2]), "");
      if (std::chrono::steady_clock::now() - ended > std::chrono::seconds(1)) ++late;
    }
  });
  EXPECT_EQ(late, 0);
  done = true;
  starter.join();
}
