// How Ask follows a child that passes for a prober: bounds, cancellation, callbacks.
#include "../fullreport.h"
#include "../testchild.h"

#include <ztutil/clock.h>
#include <ztutil/widetext.h>

#include <gpuprowler/answer.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using gpuprowler::Answer;
using gpuprowler::Event;
using gpuprowler::Request;
using gpuprowler::Verdict;
using std::string;

using Actions = std::deque<string>;

constexpr double kLong = 30;   // no test takes that long
constexpr double kAtOnce = 8;  // on a busy machine

Request MakeRequest(const Actions& actions) {
  Request request;
  request.prober = ztutil::UTF8FromWide(TestChild());
  request.arguments = actions;
  request.seconds = kLong;
  request.isolate = false;
  request.remember = false;
  return request;
}

void Sleep(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// A machine with one GPU, of OpenCL, up to the line of that question, and then that.
Actions SayUpTo(const string& key, const char* end) {
  return {"half:" + Until("clgpu[0]." + key, FullReport(0, 1)), end};
}

TEST(AskTest, BoundsAQuestion) {
  for (const bool isSlow : {false, true}) {
    Request request = MakeRequest({"say:x", isSlow ? "say:y" : "hang"});
    request.questionSeconds = 1;
    // The host's own slowness is nobody's.
    if (isSlow) request.passOn = [](bool, const char*, std::size_t) { Sleep(1.5); };
    request.event = [&](const Event& event) {
      if (isSlow && event.line != nullptr) Sleep(1.5);
    };
    const Answer answer = Ask(request);
    EXPECT_EQ(answer.verdict, isSlow ? Verdict::kEndedEarly : Verdict::kHung);
    EXPECT_LT(answer.seconds, kAtOnce);
  }
  // A measurement has only the bound of the whole.
  Request request = MakeRequest(SayUpTo("CUDASupported", "hang"));
  request.questionSeconds = 0.5;
  request.seconds = 2;
  EXPECT_GE(Ask(request).seconds, 2);
}

TEST(AskTest, EndsInFrontOfMeasurements) {
  for (const char* const end : {"hang", "crash", "exit:2"}) {
    Request request = MakeRequest(SayUpTo("CUDASupported", end));
    request.measure = false;
    const Answer answer = Ask(request);
    EXPECT_EQ(answer.text, "The prober finished without measuring");
    EXPECT_TRUE(answer.verdict == Verdict::kFinished && answer.runs[0].complete &&
                answer.gpus.at(0).complete);
    EXPECT_LT(answer.seconds, kAtOnce);
  }
  Request request = MakeRequest(SayUpTo("CLMemoryMB", "crash"));
  request.measure = false;
  EXPECT_EQ(Ask(request).verdict, Verdict::kCrashed);
}

TEST(AskTest, TellsWhatHappens) {
  string told;
  Request request = MakeRequest({"say:Tester=\"x\"", "warn:noise", "half:end"});
  request.event = [&](const Event& event) {
    if (event.kind == Event::Kind::kRunBegins) told += "begin;";
    if (event.kind == Event::Kind::kLine && event.isOutput) told += event.line->text + ";";
    if (event.kind == Event::Kind::kQuestion) told += event.question + "?";
    if (event.kind == Event::Kind::kRunEnds) told += "end";
  };
  Ask(request);
  const std::size_t first = told.find("Tester?");  // unless it was too quick for that
  if (first != std::string::npos) told.erase(first, 7);
  EXPECT_EQ(told, "begin;Tester=\"x\";prowlerStart?end");

  request.event = [](const Event&) { throw std::runtime_error("x"); };
  request.arguments = {"hang"};
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.verdict, Verdict::kInterrupted);
  EXPECT_EQ(answer.runs[0].notes.size(), 1u);
}

// Before it begins, from a callback, from another thread; and each time at once.
TEST(AskTest, IsCancelledFromAnywhere) {
  for (int when = 0; when < 3; ++when) {
    Request request = MakeRequest({"say:x", "hang"});
    request.cancellation = std::make_shared<gpuprowler::Cancellation>();
    double cancelled = 0;
    const auto cancel = [&] {
      cancelled = ztutil::Now();
      request.cancellation->Cancel();
    };
    if (when == 0) cancel();
    if (when == 1)
      request.event = [&](const Event& event) {
        if (event.line != nullptr) cancel();
      };
    std::thread other([&] {
      if (when != 2) return;
      Sleep(0.3);
      cancel();
    });
    EXPECT_EQ(Ask(request).verdict, Verdict::kInterrupted);
    other.join();
    EXPECT_LT(ztutil::Now() - cancelled, kAtOnce);
  }
}

}  // namespace
