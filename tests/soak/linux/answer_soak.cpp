// Hosts that ask from many threads, are slow, and change their mind at any moment.
#include "../../unit/testchild.h"
#include "../soak.h"

#include <ztutil/widetext.h>

#include <gpuprowler/answer.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

namespace {

using gpuprowler::Answer;
using gpuprowler::Request;
using gpuprowler::Verdict;

void SleepUpTo(unsigned microseconds, std::mt19937& random) {
  std::this_thread::sleep_for(std::chrono::microseconds(random() % microseconds));
}

void AskOnce(std::mt19937& random) {
  Request request;
  request.prober = ztutil::UTF8FromWide(TestChild());
  request.remember = false;
  request.isolate = false;
  request.arguments = {"say:Tester=\"x\"", "flood:100000", "sleep:2", "exit:3"};
  if (random() % 2 == 0) request.event = [&](const gpuprowler::Event&) { SleepUpTo(500, random); };
  if (random() % 2 == 0)
    request.passOn = [](bool, const char*, std::size_t) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    };
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.verdict, Verdict::kEndedEarly) << answer.text;
  EXPECT_EQ(answer.runs[0].lastLine, "Tester=\"x\"");
}

void CancelOnce(std::mt19937& random) {
  Request request;
  request.prober = ztutil::UTF8FromWide(TestChild());
  request.remember = false;
  request.arguments = {"say:x", "sleep:3", "say:y", "hang"};
  request.cancellation = std::make_shared<gpuprowler::Cancellation>();
  if (random() % 2 == 0) request.event = [](const gpuprowler::Event&) {};
  std::thread other([cancellation = request.cancellation, wait = random() % 8000] {
    std::this_thread::sleep_for(std::chrono::microseconds(wait));
    cancellation->Cancel();
  });
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.verdict, Verdict::kInterrupted) << answer.text;
  EXPECT_LT(answer.seconds, 20);
  other.join();
}

TEST(AnswerSoak, ManyThreadsAskAndCancel) {
  const std::string before = TakeStock();
  {
    Effort effort(200, 4000);
    const auto ask = [&](unsigned seed) {
      std::mt19937 random(seed);
      while (effort.More()) random() % 2 == 0 ? AskOnce(random) : CancelOnce(random);
    };
    std::thread more([&] { InThreads([&](unsigned thread) { ask(4 + thread); }); });
    InThreads(ask);
    more.join();
  }
  ExpectStock(before);
}

}  // namespace
