#include "memorylogger.h"
#include "ownhome.h"
#include "testsystem.h"

#include <ztutil/managedthread.h>
#include <ztutil/ztlogging.h>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <iomanip>
#include <regex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

ztutil::DebugFlag gFlag{"ZTLoggingTest"};
ztutil::DebugFlag gSameFlag{"ZTLoggingTest"};
ztutil::DebugFlag gOtherFlag{"ztLoggingTest", 7};

void Print(ztutil::ZTLogger& logger, const std::string& text) { logger.Print("f", 1, "%s", text.c_str()); }

// The lines of a text that don't match the expression; also what comes behind the last line end.
std::vector<std::string> OddLines(const std::string& text, const std::string& expression) {
  const std::regex regex(expression);
  std::vector<std::string> odd;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (lines.eof() || !std::regex_match(line, regex)) odd.push_back(line);
  }
  return odd;
}

using Lines = std::vector<std::string>;

const std::string kPrefix = R"(\d{5,}_\d{4}/\d\d/\d\d_\d\d:\d\d:\d\d\.\d{3}\([+-]\d{2,}\.\d{3}\)\[[^\]]+\] )";

class Logging : public testing::Test {
 protected:
  void SetUp() override { ztutil::DebugFlagValue(gFlag) = 1; }
  void TearDown() override { ztutil::DebugFlagValue(gFlag) = 0; }
};

TEST_F(Logging, FlagsOfOneNameAreOneFlag) {
  EXPECT_EQ(ztutil::DebugFlagValue(gOtherFlag), 7);
  ztutil::DebugFlagValue(gFlag) = -3;
  EXPECT_EQ(ztutil::DebugFlagValue(gSameFlag), -3);
  EXPECT_EQ(ztutil::DebugFlagValue(gOtherFlag), 7);
}

TEST_F(Logging, TextsAreBuiltOnlyForAFlagThatIsOnAndALoggerThatListens) {
  int built = 0;
  const auto say = [&] { ZT_LOG(gFlag, "text " << ++built); };
  MemoryLogger logger;
  ztutil::DebugFlagValue(gFlag) = 0;
  say();
  ztutil::DebugFlagValue(gFlag) = 1;
  logger.enabled = false;
  say();
  EXPECT_EQ(built, 0);
  logger.enabled = true;
  say();
  EXPECT_EQ(logger.text, "text 1\n");
}

TEST_F(Logging, AMessageLeavesNothingToTheNextAndMayLogItself) {
  MemoryLogger logger;
  const auto inner = [] {
    ZT_LOG(gFlag, "inner " << std::oct << 8);
    return 255;
  };
  const auto broken = []() -> int { throw std::runtime_error("broken"); };
  ZT_LOG(gFlag, std::hex << std::setfill('*') << std::setprecision(2) << "outer " << inner() << std::setw(9));
  ZT_LOG(gFlag, "lost " << std::hex << broken());
  ZT_LOG(gFlag, static_cast<const char*>(nullptr));
  ZT_LOG(gFlag, 255 << ' ' << 0.1234567 << std::setw(3) << 1);
  EXPECT_EQ(logger.text, "inner 10\nouter ff\n\n255 0.123457  1\n");
}

TEST_F(Logging, EachFieldOfThePrefixBringsItsSeparator) {
  using Logger = ztutil::ZTLogger;
  const struct {
    std::uint32_t flags;
    const char* expression;
  } rows[] = {
      {Logger::kLogAll, R"(00000_\d{4}/\d\d/\d\d_\d\d:\d\d:\d\d\.\d{3}\(\+00\.000\)\[[^\]]+\] x\n)"},
      {0, "x\n"},
      {Logger::kLogSequence | Logger::kLogMonth | Logger::kLogMinute, R"(00000_\d\d_\d\d x\n)"},
      {Logger::kLogHour, R"(\d\d x\n)"},
      {Logger::kLogYear | Logger::kLogDay | Logger::kLogSecond, R"(\d{4}/\d\d_\d\d\.\d{3} x\n)"},
      {Logger::kLogSequence | Logger::kLogDelta, R"(00000\(\+00\.000\) x\n)"},
  };
  for (const auto& row : rows) {
    MemoryLogger logger(row.flags);
    Print(logger, "x");
    EXPECT_TRUE(std::regex_match(logger.text, std::regex(row.expression))) << row.flags << " " << logger.text;
  }
  MemoryLogger logger;
  EXPECT_EQ(logger.SetFormatFlags(0x3FF), 0u);
  EXPECT_EQ(logger.GetFormatFlags(), 0x1FFu);
}

TEST_F(Logging, TheDeltaIsTheTimeSinceTheMessageBefore) {
  MemoryLogger logger(ztutil::ZTLogger::kLogSequence | ztutil::ZTLogger::kLogDelta);
  Print(logger, "a");
  ztutil::SetClockBias(123.5);
  Print(logger, "b");
  ztutil::SetClockBias(0.0);
  Print(logger, "c");
  EXPECT_EQ(OddLines(logger.text, R"(00000\(\+00\.000\) a|00001\(\+123\.5\d\d\) b|00002\(-123\.\d{3}\) c)"),
            Lines{});
}

TEST_F(Logging, ALineIsEndedOnce) {
  MemoryLogger logger;
  for (const char* text : {"a", "b\n", "c\r", "", "\n"}) Print(logger, text);
  EXPECT_EQ(logger.text, "a\nb\nc\r\n\n");
}

TEST_F(Logging, TheNewestLoggerGetsItAll) {
  MemoryLogger below(ztutil::ZTLogger::kLogSequence);
  auto middle = std::make_unique<MemoryLogger>();
  {
    MemoryLogger above;
    ZT_LOG(gFlag, "100% above");
    middle.reset();
    ZT_LOG(gFlag, "above");
    above.enabled = false;
    ZT_LOG(gFlag, "nowhere");
    EXPECT_EQ(above.text, "100% above\nabove\n");
  }
  ZT_LOG(gFlag, "below");
  EXPECT_EQ(below.text, "00000 Activating new logger memory\n00001 below\n");
}

TEST_F(Logging, ScopesIndentWhatIsSaidInThem) {
  MemoryLogger logger;
  {
    ZT_LOG_SCOPE(gFlag, "outer " << 1);
    {
      ZT_LOG_SCOPE(gFlag, "inner");
      ZT_LOG(gFlag, "text");
    }
  }
  const std::string expected = "BEGIN outer 1\n BEGIN inner\n  text\n END inner, duration=";
  EXPECT_EQ(logger.text.substr(0, expected.size()), expected);
  EXPECT_NE(logger.text.find("\nEND outer 1, duration="), std::string::npos);
}

TEST_F(Logging, OutdentBelowZeroThrowsAndStaysThere) {
  MemoryLogger logger;
  EXPECT_THROW(logger.Outdent(), std::length_error);
  logger.Indent();
  Print(logger, "x");
  EXPECT_EQ(logger.text, "x\n");
}

TEST_F(Logging, ABrokenLoggerHurtsNobodyAndKeepsItsDepth) {
  MemoryLogger logger;
  logger.broken = true;
  {
    ZT_LOG_SCOPE(gFlag, "scope");
    ZT_LOG(gFlag, "text");
  }
  logger.broken = false;
  ZT_LOG(gFlag, "text");
  EXPECT_EQ(logger.text, "text\n");
}

TEST_F(Logging, ASingleLineIsGatheredAboveTheLoggerBeneath) {
  MemoryLogger below(ztutil::ZTLogger::kLogSequence);
  {
    ztutil::SingleLineLogger line;
    for (const char* text : {"a", "b", "c"}) ZT_LOG(gFlag, text);
  }
  { const ztutil::SingleLineLogger silent("silent"); }
  EXPECT_EQ(
      below.text,
      "00000 Activating new logger SingleLineLogger\n00001 a b c\n00001 Activating new logger silent\n");
}

TEST_F(Logging, TheNullLoggerSilencesTheOnesBeneath) {
  MemoryLogger below;
  const ztutil::ZTNullLogger silence;
  ZT_LOG(gFlag, "text");
  EXPECT_EQ(below.text, "Activating new logger ZTNullLogger\n");
}

TEST_F(Logging, TheFileBeginsAnewOnceInAProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto check = [] {
    WriteInHome("ztlog.txt", "of an earlier run\n");
    ztutil::DebugFlagValue(gFlag) = 1;
    { const ztutil::ZTFileLogger unused; }
    const bool removed = ReadInHome("ztlog.txt") == "missing";
    ZT_LOG(gFlag, "by the default logger");
    {
      const ztutil::ZTFileLogger second;
      ZT_LOG(gFlag, "by the second");
    }
    const std::string log = ReadInHome("ztlog.txt");
    return removed &&
           OddLines(log, kPrefix + "(by the default logger|Activating new logger ztlog.txt|by the second)" +
                             kCarriageReturn)
               .empty() &&
           std::count(log.begin(), log.end(), '\n') == 3;
  };
  EXPECT_EXIT(std::exit(check() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(Logging, APathThatCannotBeWrittenLosesLinesAndNothingElse) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto check = [] {
    boost::filesystem::create_directory(OwnHome() + "/ztlog.txt");
    ztutil::DebugFlagValue(gFlag) = 1;
    const ztutil::ZTFileLogger first;  // removes an empty directory, as it would a file
    boost::filesystem::create_directories(OwnHome() + "/ztlog.txt/full");
    {
      const ztutil::ZTFileLogger logger;
      ZT_LOG(gFlag, "lost");
    }
    boost::filesystem::remove_all(OwnHome() + "/ztlog.txt");
    ZT_LOG(gFlag, "kept");
    return OddLines(ReadInHome("ztlog.txt"), kPrefix + "kept" + kCarriageReturn).empty();
  };
  EXPECT_EXIT(std::exit(check() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(Logging, StandardStreamsGetWholeLinesOrNone) {
  std::FILE* const full = OpenFullFile();
  ASSERT_NE(full, nullptr);
  ztutil::ZTStdioLogger logger(full);
  Print(logger, std::string(10000, 'x'));
  Print(logger, "y");
  std::FILE* const nowhere = nullptr;
  ztutil::ZTStdioLogger silent(nowhere);
  Print(silent, "z");
  EXPECT_EQ(std::fclose(full), 0);  // nothing is left that could fail
}

// Some log and open scopes while others come and go on top of the stack. Every line stays whole.
TEST_F(Logging, ManyThreadsLeaveNoLineTorn) {
  MemoryLogger below(ztutil::ZTLogger::kLogAll);
  std::atomic<bool> stop{false};
  std::atomic<int> others{0};
  std::vector<std::thread> threads;
  threads.reserve(10);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      ztutil::ManagedThread::SetCurrentThreadName("t" + std::to_string(i));
      while (!stop) {
        ZT_LOG_SCOPE(gFlag, "scope");
        ZT_LOG(gFlag, "text " << i);
      }
    });
  }
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        MemoryLogger above(ztutil::ZTLogger::kLogAll);
        ZT_LOG(gFlag, "text");
        const ztutil::ZTLoggerLock lock;
        if (!OddLines(above.text, kPrefix + " *(text.*|BEGIN scope|END scope.*|Activating.*)").empty())
          ++others;
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(OddLines(below.text, kPrefix + " *(text \\d|BEGIN scope|END scope, duration=.*|Activating.*)"),
            Lines{});
  EXPECT_EQ(others, 0);
  EXPECT_GT(below.text.size(), 0u);
}

}  // namespace
