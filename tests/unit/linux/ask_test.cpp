// How Ask follows a child that passes for a prober: bounds, cancellation, callbacks.
#include "../fullreport.h"
#include "../ownhome.h"
#include "../testchild.h"
#include "refusecalls.h"

#include <ztutil/clock.h>
#include <ztutil/widetext.h>

#include <gpuprowler/answer.h>
#include <gtest/gtest.h>
#include <run/cancellation.h>
#include <run/runplatform.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <stdexcept>
#include <thread>

namespace {

using gpuprowler::Answer;
using gpuprowler::Event;
using gpuprowler::Request;
using gpuprowler::Verdict;
using std::string;

using Actions = std::deque<string>;
using Notes = std::vector<string>;

const string kHostHasThrown = "the host's own function has thrown an exception";
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
    request.passOn = [&](bool, const char*, std::size_t) { Sleep(isSlow ? 1.5 : 0); };
    request.event = [&](const Event& event) {
      if (isSlow && event.line != nullptr) Sleep(1.5);
    };
    const Answer answer = Ask(request);
    EXPECT_EQ(answer.text, isSlow ? "The prober ended early: status 0, and its report has no end"
                                  : "The prober hung, and was killed");
    EXPECT_EQ(answer.runs[0].end, isSlow ? "exit status 0" : "signal 9 (SIGKILL)");
    EXPECT_LT(answer.seconds, kAtOnce);
  }
  // Only lines of the report count.
  Request request;
  request.prober = "sh";
  request.arguments = {"-c", "while sleep 0.1; do printf x; echo y >&2; done"};
  request.questionSeconds = 1;
  request.isolate = request.remember = false;
  EXPECT_LT(Ask(request).seconds, kAtOnce);
  // A measurement has only the bound of the whole.
  request = MakeRequest(SayUpTo("CUDASupported", "hang"));
  request.questionSeconds = 0.5;
  request.seconds = 2;
  EXPECT_GE(Ask(request).seconds, 2);
}

// What happens to this process while it's stopped costs the prober nothing, nor does that the prober itself
// is, for a while.
TEST(AskTest, CountsNoTimeInWhichItIsStopped) {
  Request request = MakeRequest({"-c", "sleep 1; kill -STOP $PPID; sleep 5; kill -CONT $PPID; sleep 0.4"});
  request.prober = "sh";
  request.seconds = request.questionSeconds = 4;
  EXPECT_EQ(Ask(request).text, "The prober ended early: status 0, and its report has no end");
  request.arguments = {"-c", "kill -STOP $$"};
  request.seconds = request.questionSeconds = 0.2;
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.verdict, Verdict::kHung);
  EXPECT_GE(answer.seconds, 2);
  EXPECT_LT(answer.seconds, kAtOnce);
}

// While the prober runs, and when it has ended.
TEST(AskTest, NotesWhatFailsBesideTheProber) {
  for (const double delay : {0.0, 1.0}) {
    Request request = MakeRequest({"say:x", "sleep:500", "say:y", "sleep:500"});
    request.passOn = [&](bool, const char* bytes, std::size_t) {
      if (*bytes == 'x') return;
      Sleep(delay);
      throw std::runtime_error("y");
    };
    request.passedOn = [] { throw std::runtime_error("z"); };
    const Answer answer = Ask(request);
    EXPECT_EQ(answer.verdict, Verdict::kEndedEarly);
    EXPECT_EQ(answer.runs[0].notes,
              delay > 0 ? Notes({kHostHasThrown, "stdout: y"}) : Notes({"stdout: y", kHostHasThrown}));
  }
  // And when it is to be killed.
  Request request = MakeRequest({"say:x", "sleep:300", "say:y", "hang"});
  request.cancellation = std::make_shared<gpuprowler::Cancellation>();
  std::atomic<bool> hasThrown{false};
  request.passOn = [&](bool, const char* bytes, std::size_t) {
    hasThrown = *bytes == 'y';
    if (hasThrown) throw std::runtime_error("y");
  };
  request.event = [&](const Event& event) {
    if (event.line == nullptr) return;
    while (!hasThrown) Sleep(0.01);
    Sleep(0.3);  // for the failure to be told of
    request.cancellation->Cancel();
  };
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.text, "The prober was interrupted, and was killed");
  EXPECT_EQ(answer.runs[0].notes, Notes{"stdout: y"});
}

TEST(AskTest, SaysWhyNobodyLooksWhereItStands) {
  std::thread([] {
    ASSERT_TRUE(RefuseCalls(SYS_clone3, EAGAIN));
    const string text = gpuprowler::platform::WhereItStands(static_cast<std::uint32_t>(getpid()));
    EXPECT_TRUE(text.rfind("not known: ", 0) == 0 && text.find("stop") == string::npos) << text;
  }).join();
}

TEST(AskTest, EndsInFrontOfMeasurements) {
  for (const char* const end : {"hang", "crash", "exit:2"}) {
    Request request = MakeRequest(SayUpTo("CUDASupported", end));
    request.measure = false;
    const Answer answer = Ask(request);
    EXPECT_EQ(answer.text, "The prober finished without measuring");
    utsname system;
    uname(&system);
    EXPECT_TRUE(std::regex_match(system.release, std::regex(answer.system->version + "([^0-9.].*)?")));
    EXPECT_TRUE(answer.verdict == Verdict::kFinished && answer.runs[0].complete &&
                answer.gpus.at(0).complete);
    EXPECT_LT(answer.seconds, kAtOnce);
  }
  Request request = MakeRequest(SayUpTo("CLMemoryMB", "crash"));
  request.measure = false;
  EXPECT_EQ(Ask(request).verdict, Verdict::kCrashed);
}

TEST(AskTest, TellsWhatHappens) {
  string told, asked;
  Request request = MakeRequest({"say:Tester=\"x\"", "sleep:300", "warn:noise", "sleep:300", "say:end"});
  request.event = [&](const Event& event) {
    if (event.kind == Event::Kind::kRunBegins) told += "begin;";
    if (event.kind == Event::Kind::kLine) told += event.line->text + (event.isOutput ? ";" : "!");
    if (event.kind == Event::Kind::kQuestion) asked += event.question + "?";
    if (event.kind == Event::Kind::kRunEnds) told += "end";
    if (event.line != nullptr && event.line->seconds < 0.2) Sleep(1.5);  // what comes meanwhile has its order
  };
  Ask(request);
  EXPECT_EQ(told, "begin;Tester=\"x\";noise!end;end");
  if (asked.find("Tester?") == 0) asked.erase(0, 7);  // unless it was too quick for that
  EXPECT_EQ(asked, "prowlerStart?");

  request.event = [](const Event&) { throw std::runtime_error("x"); };
  request.arguments = {"hang"};
  const Answer answer = Ask(request);
  EXPECT_EQ(answer.text, "The prober was interrupted before it was started");
  EXPECT_EQ(answer.runs[0].notes, Notes{kHostHasThrown});
}

// Before it begins, from a callback, from another thread, and by what ends the prober too, as a terminal
// does; and each time at once.
TEST(AskTest, IsCancelledFromAnywhere) {
  const string file = OwnHome() + "/ends", text = "The prober was interrupted";
  for (int when = 0; when < 4; ++when) {
    Request request = MakeRequest({"say:x", "hang"});
    request.cancellation = std::make_shared<gpuprowler::Cancellation>();
    double cancelled = 0;
    const auto cancel = [&] {
      cancelled = ztutil::Now();
      request.cancellation->Cancel();
    };
    gpuprowler::CancellationWatch(request.cancellation,
                                  [] { ADD_FAILURE() << "who doesn't watch any more"; });
    if (when == 0) cancel();
    if (when == 1)
      request.event = [&](const Event& event) {
        if (event.line != nullptr) cancel();
      };
    if (when == 3) {
      request.prober = "env";  // whoever runs the tests may ignore the signal
      request.arguments = {"--default-signal=INT", "sh", "-c", "sleep 0.3; : >" + file + "; kill -INT $$"};
      request.event = [&](const Event& event) {
        if (event.kind == Event::Kind::kTick && access(file.c_str(), F_OK) == 0) cancel();
      };
    }
    std::thread other([&] {
      if (when != 2) return;
      Sleep(0.3);
      cancel();
    });
    EXPECT_EQ(Ask(request).text, text + (when > 0 ? ", and was killed" : " before it was started"));
    other.join();
    EXPECT_LT(ztutil::Now() - cancelled, kAtOnce);
  }
}

}  // namespace
