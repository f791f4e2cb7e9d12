#include <ztutil/ztlogging.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

ztutil::DebugFlag gFlag{"ZTLoggingTest"};
ztutil::DebugFlag gSameFlag{"ZTLoggingTest"};
ztutil::DebugFlag gOtherFlag{"ztLoggingTest", 7};

// Keeps what it is given.
class MemoryLogger : public ztutil::ZTLogger {
 public:
  MemoryLogger() : ZTLogger("memory") {}

  bool IsEnabled() const override { return enabled; }

  std::string text;
  bool enabled = true;
  bool broken = false;

 protected:
  void Write(const void* bytes, std::size_t count) override {
    if (broken) throw std::runtime_error("broken");
    text.append(static_cast<const char*>(bytes), count);
  }
};

class Logging : public testing::Test {
 protected:
  void TearDown() override { ztutil::DebugFlagValue(gFlag) = 0; }
};

TEST_F(Logging, FlagsOfOneNameAreOneFlag) {
  EXPECT_EQ(ztutil::DebugFlagValue(gFlag), 0);
  EXPECT_EQ(ztutil::DebugFlagValue(gOtherFlag), 7);
  ztutil::DebugFlagValue(gFlag) = -3;
  EXPECT_EQ(ztutil::DebugFlagValue(gSameFlag), -3);
  EXPECT_EQ(ztutil::DebugFlagValue(gOtherFlag), 7);
}

TEST_F(Logging, TextsAreBuiltOnlyForAFlagThatIsOnAndALoggerThatListens) {
  int built = 0;
  const auto say = [&] { ZT_LOG(gFlag, "text " << ++built); };
  MemoryLogger logger;
  say();
  ztutil::DebugFlagValue(gFlag) = 1;
  logger.enabled = false;
  say();
  EXPECT_EQ(built, 0);
  logger.enabled = true;
  say();
  EXPECT_EQ(logger.text, "text 1\n");
}

TEST_F(Logging, TheLastLoggerMadeGetsItAll) {
  ztutil::DebugFlagValue(gFlag) = 1;
  MemoryLogger below;
  {
    MemoryLogger above;
    ZT_LOG(gFlag, "100% above");
    above.enabled = false;
    ZT_LOG(gFlag, "nowhere");
    EXPECT_EQ(above.text, "100% above\n");
  }
  ZT_LOG(gFlag, "below");
  EXPECT_EQ(below.text, "below\n");
}

TEST_F(Logging, ScopesIndentWhatIsSaidInThem) {
  ztutil::DebugFlagValue(gFlag) = 1;
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

TEST_F(Logging, ABrokenLoggerHurtsNobody) {
  ztutil::DebugFlagValue(gFlag) = 1;
  MemoryLogger logger;
  logger.broken = true;
  EXPECT_NO_THROW({
    ZT_LOG_SCOPE(gFlag, "scope");
    ZT_LOG(gFlag, "text");
  });
}

}  // namespace
