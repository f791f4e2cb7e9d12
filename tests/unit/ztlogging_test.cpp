#include "memorylogger.h"
#include "outcome.h"
#include "ownhome.h"
#include "testsystem.h"

#include <ztutil/calendar.h>
#include <ztutil/managedthread.h>
#include <ztutil/ztlogging.h>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <memory>
#include <regex>
#include <stdexcept>
#include <utility>

namespace {

using ztutil::ZTLogger;

ztutil::DebugFlag gFlag{"ZTLoggingTest", 1};

const std::string kPrefix = R"(\d{5,}_\d{4}/\d\d/\d\d_\d\d:\d\d:\d\d\.\d{3}\([+-]\d{2,}\.\d{3}\)\[[^\]]+\] )";

testing::AssertionResult Matches(const std::string& text, const std::string& expression) {
  if (std::regex_match(text, std::regex(expression))) return testing::AssertionSuccess();
  return testing::AssertionFailure() << text;
}

TEST(Logging, TextsAreBuiltOnlyForAFlagThatIsOnAndALoggerThatListens) {
  MemoryLogger logger;
  int built = 0;
  for (const auto& [flag, enabled] : {std::pair(0, true), std::pair(1, false), std::pair(1, true)}) {
    ztutil::DebugFlagValue(gFlag) = flag;
    logger.enabled = enabled;
    ZT_LOG(gFlag, "text " << ++built);
  }
  logger.undecided = true;
  ZT_LOG(gFlag, "text " << ++built);
  EXPECT_EQ(logger.text, "text 1\n");
}

struct Grouped : std::numpunct<char> {
  char do_thousands_sep() const override { return '_'; }
  std::string do_grouping() const override { return "\3"; }
};
const int kWord = std::ios_base::xalloc();

TEST(Logging, AMessageLeavesNothingToTheNextAndMayLogItself) {
  MemoryLogger logger;
  const std::locale former = std::locale::global(std::locale(std::locale(), new Grouped));  // isn't the log's
  const auto inner = [] {
    ZT_LOG(gFlag, "inner " << std::oct << 8);
    return 255;
  };
  const auto broken = []() -> int { throw std::runtime_error("broken"); };
  for (int i = 0; i < 2; ++i)
    ZT_LOG(gFlag, std::hex << std::setfill('*') << std::setprecision(2) << "outer " << inner());
  ZT_LOG(gFlag, "lost " << std::hex << std::setw(9) << broken());
  ZT_LOG(gFlag, static_cast<const char*>(nullptr));
  ZT_LOG(gFlag, 255 << ' ' << 0.1234567 << std::setw(3) << 1);
  const auto spoil = [](std::ostream& stream) -> std::ostream& {
    stream.exceptions(std::ios_base::badbit);
    stream.imbue(std::locale(stream.getloc(), new Grouped));
    return stream << ++stream.iword(kWord);
  };
  for (int i = 0; i < 2; ++i) ZT_LOG(gFlag, 12.3456789 << ' ' << +spoil << ' ' << 1234567);
  std::locale::global(former);
  EXPECT_EQ(logger.text,
            "inner 10\nouter ff\ninner 10\nouter ff\n\n255 0.123457  1\n12.3457 1 1_234_567\n12.3457 1 "
            "1_234_567\n");
}

TEST(Logging, EachFieldOfThePrefixBringsItsSeparator) {
  const std::pair<std::uint32_t, const char*> rows[] = {
      {ZTLogger::kLogAll, R"(00000_2026/11/13_21:05:0\d\.\d{3}\(\+00\.000\)\[[^\]]+\] x\n)"},
      {0, "x\n"},
      {0x400, " x\n"},
      {ZTLogger::kLogYear, "2026 x\n"},
      {ZTLogger::kLogMonth, "11 x\n"},
      {ZTLogger::kLogDay, "13 x\n"},
      {ZTLogger::kLogHour, "21 x\n"},
      {ZTLogger::kLogMinute, "05 x\n"},
      {ZTLogger::kLogSecond, R"(0\d\.\d{3} x\n)"},
      {ZTLogger::kLogYear | ZTLogger::kLogHour, "2026_21 x\n"},
      {ZTLogger::kLogSequence | ZTLogger::kLogMonth | ZTLogger::kLogMinute, "00000_11_05 x\n"},
      {ZTLogger::kLogDay | ZTLogger::kLogSecond, R"(13_0\d\.\d{3} x\n)"},
  };
  SetZone("UTC0");
  ztutil::LocalCalendarTime(ztutil::Now());  // ties the clock to the calendar before it is put off
  const std::chrono::duration<double> utc = std::chrono::system_clock::now().time_since_epoch();
  ztutil::SetClockBias(1794603900.5 - utc.count());
  for (const auto& [flags, expression] : rows) {
    MemoryLogger logger(flags);
    ZT_LOG(gFlag, "x");
    EXPECT_TRUE(Matches(logger.text, expression)) << flags;
    EXPECT_EQ(logger.SetFormatFlags(0xFFFFFFFF), flags);
    EXPECT_EQ(logger.GetFormatFlags(), 0xFFFFFDFFu);
  }
  ztutil::SetClockBias(0.0);
}

TEST(Logging, TheDeltaIsTheTimeSinceTheMessageBefore) {
  MemoryLogger logger(ZTLogger::kLogDelta);
  std::string expected = "(+00.000) a\n";  // the first one has none before
  EXPECT_EQ(ztutil::SetClockBias(123.5), 0.0);
  ZT_LOG(gFlag, "a");
  for (const double bias : {0.0, 7.5}) {
    const double former = ztutil::SetClockBias(bias);
    ZT_LOG(gFlag, "b");
    double previous = 0.0, current = 0.0;
    logger.GetPreviousTime(previous);
    logger.GetCurrentTime(current);
    EXPECT_GE(current - previous, bias - former);
    char text[32];
    std::snprintf(text, sizeof text, "(%+07.3f) b\n", current - previous);
    expected += text;
  }
  EXPECT_EQ(ztutil::SetClockBias(0.0), 7.5);
  EXPECT_EQ(logger.text, expected);
}

TEST(Logging, ALineIsEndedOnce) {
  testing::internal::CaptureStdout();
  ztutil::ZTStdioLogger(stdout).Write("no line", 7);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "no line");
  MemoryLogger logger;
  for (const char* const text : {"a", "b\n", "c\r", "", "\n"}) ZT_LOG(gFlag, text);
  const char* volatile text = nullptr;
  logger.Print("", 0, "%s", text);
  logger.Print("", 0, "%d%%", 5);
  EXPECT_EQ(logger.text, "a\nb\nc\r\n\n(null)\n5%\n");
}

TEST(Logging, TheNewestLoggerGetsItAll) {
  MemoryLogger below(ZTLogger::kLogSequence);
  auto middle = std::make_unique<MemoryLogger>();
  {
    MemoryLogger above;
    ZT_LOG(gFlag, "100% above");
    middle.reset();
    ZT_LOG(gFlag, "above");
    const ztutil::ZTNullLogger silence;
    ZT_LOG(gFlag, "nowhere");
    EXPECT_EQ(above.text, "100% above\nabove\nActivating new logger ZTNullLogger\n");
  }
  ZT_LOG(gFlag, "below");
  EXPECT_EQ(below.text, "00000 Activating new logger memory\n00001 below\n");
}

TEST(Logging, EachLoggerHasANameAndLearnsThePlaceInTheSource) {
  struct Placing : MemoryLogger {
    std::string MakePrefix(const char* file, int line) override {
      return line > 0 ? std::string(file) + ' ' : "";
    }
  } below;
  for (std::FILE* const stream : {stdout, stderr, static_cast<std::FILE*>(nullptr)})
    const ztutil::ZTStdioLogger logger(stream);
  EXPECT_EQ(ztutil::ZTDebugStrLogger().GetEndOfLine(), "\r\n");
  ztutil::DebugFlag flag{"BINIO_LOG"};
  ztutil::DebugFlagValue(flag) = 1;
  ztutil::WinHandle(ztutil::kInvalidHandle, true, nullptr).Reset(0, false, nullptr);
  ztutil::DebugFlagValue(flag) = 0;
  ZT_LOG(gFlag, "here");
  const std::string said = "ztutil/sources/all/ztlogging Activating new logger ";
  EXPECT_EQ(below.text, said + "stdout\n" + said + "stderr\n" + said + "FILE*\n" + said + "DebugStr\n" +
                            "ztutil/sources/win/winhandle WinHandle::Reset closing 0xffffffffffffffff\n" +
                            "tests/unit/ztlogging_test.cpp here\n");
  EXPECT_EQ(below.GetExtraText(), "");
  for (const auto& [path, name] : {std::pair("a/b\\c.cpp", "c.cpp"),
                                   {"a\\b/c", "c"},
                                   {"a/b//", "b//"},
                                   {"//", "//"},
                                   {"a", "a"},
                                   {static_cast<const char*>(nullptr), ""}})
    EXPECT_EQ(below.GetBaseName(path), name);
}

TEST(Logging, ASingleLineIsGatheredAboveTheLoggerBeneath) {
  MemoryLogger below(ZTLogger::kLogSequence);
  {
    ztutil::SingleLineLogger line;
    for (const char* const text : {"a", "b", "c"}) ZT_LOG(gFlag, text);
  }
  EXPECT_EQ(below.text.back(), '\n');
  { const ztutil::SingleLineLogger silent("silent"); }
  {
    const ztutil::SingleLineLogger lost("lost");
    below.broken = true;
    ZT_LOG(gFlag, "text");
  }
  EXPECT_EQ(Outcome([] { ZTLogger::Above(nullptr)->Flush(); }), "runtime: Stackable: nullptr");
  EXPECT_EQ(below.text,
            "00000 Activating new logger SingleLineLogger\n00001 a b c\n00001 Activating new logger silent\n"
            "00002 Activating new logger lost\n");
}

TEST(Logging, WhoeverMakesALoggerHoldsUpNobodyBeforeAndAfter) {
  MemoryLogger below;
  const auto otherLogs = [] {
    boost::thread other([] { ZT_LOG(gFlag, "other"); });
    return other.try_join_for(boost::chrono::seconds(10)) ? "free" : "held";
  };
  EXPECT_STREQ((ztutil::SingleLineLogger(otherLogs()), otherLogs()), "free");
  EXPECT_EQ(below.text, "other\nActivating new logger free\nother\n");
}

TEST(Logging, ScopesIndentWhatIsSaidInThem) {
  MemoryLogger logger;
  {
    ZT_LOG_SCOPE(gFlag, "outer " << 1);
    ZT_LOG_SCOPE(gFlag, "inner");
    ZT_LOG(gFlag, "text");
  }
  EXPECT_TRUE(Matches(logger.text,
                      "BEGIN outer 1\n BEGIN inner\n  text\n"
                      " END inner, duration=[0-9.e-]+\nEND outer 1, duration=[0-9.e-]+\n"));
}

TEST(Logging, ABrokenLoggerHurtsNobodyAndKeepsItsDepth) {
  MemoryLogger logger(ZTLogger::kLogSequence);
  logger.broken = true;
  {
    ZT_LOG_SCOPE(gFlag, "scope");
    ZT_LOG(gFlag, "text");
    logger.broken = false;
    ZT_LOG(gFlag, "deeper");
    logger.broken = true;
  }
  { const ztutil::ZTNullLogger above; }
  logger.broken = false;
  for (int i = 0; i < 2; ++i)  // below 0, where it stays
    EXPECT_EQ(Outcome([&] { logger.Outdent(); }), "other: string too long");
  { ZT_LOG_SCOPE(gFlag, "scope"); }
  std::ostringstream text("own");
  { const ztutil::ZTLogScope scope(text, "", 0); }
  EXPECT_EQ(Outcome([&] { logger.Indent(); }), "other: string too long");
  logger.Indent();
  ZT_LOG(gFlag, "text");
  EXPECT_EQ(logger.text, "00000  deeper\n00001 BEGIN scope\n00002 BEGIN own\n00003 text\n");
}

// Nobody has made a logger here, so that the first message makes the default one, which stays.
TEST(Logging, TheFileBeginsAnewOnceInAProcessAndLosesOnlyWhatCannotBeWritten) {
  const std::string end = std::string(kCarriageReturn) + "\n";
  const std::string path = WriteInHome("ztlog.txt", "of an earlier run\n");
  { const ztutil::ZTFileLogger unused; }
  EXPECT_EQ(ReadInHome("ztlog.txt"), "missing");
  {
    const ztutil::ZTFileLogger unused;
    WriteInHome("ztlog.txt", "");
  }
  EXPECT_EQ(ReadInHome("ztlog.txt"), "missing");
  ZT_LOG(gFlag, "a");
  {
    ztutil::ZTFileLogger second;
    ZT_LOG(gFlag, "b");
    second.Write("c", 1);
  }
  EXPECT_TRUE(Matches(
      ReadInHome("ztlog.txt"),
      kPrefix + "a" + end + kPrefix + "Activating new logger ztlog.txt" + end + kPrefix + "b" + end + "c"));
  boost::filesystem::remove(path);
  boost::filesystem::create_directories(path + "/full");
  ZT_LOG(gFlag, "lost");
  boost::filesystem::remove_all(path);
  ZT_LOG(gFlag, "kept");
  EXPECT_TRUE(Matches(ReadInHome("ztlog.txt"), kPrefix + "kept" + end));
}

TEST(Logging, NobodyGetsBehindTheEndOfASharedLine) {
  MemoryLogger below;
  std::atomic<bool> stop{false};
  boost::thread other([&] {
    while (!stop) ZT_LOG(gFlag, "b");
  });
  for (int i = 0; i < 20000; ++i) {
    const ztutil::SingleLineLogger line("line");
    ZT_LOG(gFlag, "a");
  }
  for (int i = 0; i < 500; ++i) {  // nor into one that goes
    const ztutil::ZTFileLogger file;
    const ztutil::ZTNullLogger silence;
    const ztutil::ZTDebugStrLogger debugger;
    const ztutil::ZTStdioLogger stream(nullptr);
  }
  stop = true;
  other.join();
  EXPECT_EQ(below.text.find("\n "), std::string::npos);
  EXPECT_EQ(below.text.back(), '\n');
}

// All log and open scopes, and two of them come and go on top of the stack.
TEST(Logging, ManyThreadsLeaveNoLineTorn) {
  const std::regex line(kPrefix +
                        " *(text|BEGIN scope|END scope, duration=.*|Activating new logger memory)\n");
  const auto odd = [&](const std::string& text) { return std::regex_replace(text, line, ""); };
  MemoryLogger below(ZTLogger::kLogAll);
  std::atomic<bool> stop{false};
  boost::thread_group threads;
  for (int i = 0; i < 10; ++i) {
    threads.create_thread([&, i] {
      ztutil::ManagedThread::SetCurrentThreadName("t" + std::to_string(i));
      while (!stop) {
        ZT_LOG_SCOPE(gFlag, "scope");
        ZT_LOG(gFlag, "text");
        if (i > 1) continue;
        MemoryLogger above(ZTLogger::kLogAll);
        ZT_LOG(gFlag, "text");
        const ztutil::ZTLoggerLock lock;
        EXPECT_EQ(odd(above.text), "");
      }
    });
  }
  boost::this_thread::sleep_for(boost::chrono::milliseconds(500));
  stop = true;
  threads.join_all();
  EXPECT_EQ(odd(below.text), "");
  EXPECT_NE(below.text, "");
}

}  // namespace
