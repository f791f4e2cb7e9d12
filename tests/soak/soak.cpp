#include "soak.h"

#include "../unit/testchild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

double SoakSeconds() {
  const char* const seconds = std::getenv("SOAK_SECONDS");
  return seconds != nullptr ? std::atof(seconds) : 0;
}

}  // namespace

Effort::Effort(int brief, int full) : fSeconds(SoakSeconds()), fMost(fSeconds > 0 ? full : brief) {}

Effort::~Effort() {
  std::printf("%d of %d times in %.1f s\n", std::min(fBegun.load(), fMost), fMost, Elapsed());
}

bool Effort::More() { return (fSeconds == 0 || Elapsed() < fSeconds) && fBegun++ < fMost; }

double Effort::Elapsed() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - fStart).count();
}

void ExpectStock(const std::string& before) {
  const auto launcher = ztutil::CreateLauncher();
  for (int tries = 0; TakeStock() != before && tries < 2000; ++tries) RunChild(*launcher, {"sleep:10"});
  EXPECT_EQ(TakeStock(), before);
}

void InThreads(const std::function<void(unsigned)>& body) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < 4; ++i) threads.emplace_back(body, i);
  for (std::thread& thread : threads) thread.join();
}
