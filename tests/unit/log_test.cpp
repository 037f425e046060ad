// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "platform/log/log_capture.h"
#include "platform/log/log_config.h"
#include "platform/log/rate_limiter.h"
#include "tests/support/scratch_folder.h"

namespace qor::log {
namespace {

constexpr QorLog kLog{"Test"};

TEST(QorLogTest, EmitsOneLinePerStatementWithItsLevelAndContext) {
  const LogCapture capture;
  kLog.Warn() << "[a=" << 1 << "][b=" << std::string("two") << "][c=" << std::uint8_t{3} << "][d=" << true
              << "][e=" << -4L << "][f=" << 1.5 << "][g=" << 'x' << "]";
  const auto lines = capture.Lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "[a=1][b=two][c=3][d=true][e=-4][f=1.5][g=x]");
  EXPECT_EQ(lines[0].level, LogLevel::kWarn);
  EXPECT_EQ(lines[0].context, "Test");
}

TEST(QorLogTest, FormatsNothingWhenTheLevelIsOff) {
  LogCore::Instance().RemoveAllSinks();
  LogStream stream = kLog.Verbose();
  stream << std::string(1000, 'x');
  {
    // A sink that is added now must not see a line that was off when it began.
    const LogCapture capture;
    { const LogStream moved = std::move(stream); }
    EXPECT_TRUE(capture.Lines().empty());
  }
}

TEST(QorLogTest, HoldsBackRepeatedKeysAndTellsHowMany) {
  const LogCapture capture;
  for (int i = 0; i < 5; ++i) {
    kLog.Error("QorLogTest_key", 60'000) << "broken";
    kLog.Error("QorLogTest_other" + std::to_string(i), 60'000) << "other";
  }
  EXPECT_EQ(capture.Count(LogLevel::kError, "broken"), 1U);
  EXPECT_EQ(capture.Count(LogLevel::kError, "other"), 5U);
}

TEST(RateLimiterTest, AdmitsAgainAfterTheIntervalAndCountsWhatItHeldBack) {
  RateLimiter limiter;
  EXPECT_EQ(limiter.Admit("k", 1000, 500), 0U);
  EXPECT_EQ(limiter.Admit("k", 1499, 500), std::nullopt);
  EXPECT_EQ(limiter.Admit("k", 1499, 500), std::nullopt);
  EXPECT_EQ(limiter.Admit("k", 1500, 500), 2U);
  EXPECT_EQ(limiter.Admit("k", 2000, 500), 0U);
}

TEST(RateLimiterTest, StaysBoundedUnderHostileKeys) {
  RateLimiter limiter;
  for (std::size_t i = 0; i < RateLimiter::kMaxKeys; ++i) {
    ASSERT_TRUE(limiter.Admit("key" + std::to_string(i), 0, 500));
  }
  EXPECT_FALSE(limiter.Admit("key0", 0, 500));
  EXPECT_TRUE(limiter.Admit("one more", 0, 500));
  EXPECT_TRUE(limiter.Admit("key0", 0, 500)) << "the table was not emptied";
}

TEST(LogConfigTest, WritesToAFileAtItsLevelAndSaysWhenItCannot) {
  const test::ScratchFolder folder;
  LogOptions options;
  options.stderrLevel = LogLevel::kOff;
  options.filePath = folder.File("log");
  options.fileLevel = LogLevel::kInfo;
  ASSERT_TRUE(ConfigureLog(options));
  kLog.Debug() << "too fine";
  kLog.Warn() << "to the file";
  EXPECT_NE(folder.Read("log").find("to the file"), std::string::npos);
  EXPECT_EQ(folder.Read("log").find("too fine"), std::string::npos);

  options.filePath = "/proc/no/such/place";
  EXPECT_FALSE(ConfigureLog(options));
  LogCore::Instance().RemoveAllSinks();
}

TEST(LogConfigTest, ReadsTheEnvironment) {
  ::setenv("QOR_LOG_LEVEL", "debug", 1);
  ::setenv("QOR_LOG_FILE", "/tmp/some.log", 1);
  const LogOptions options = LogOptionsFromEnvironment();
  EXPECT_EQ(options.stderrLevel, LogLevel::kDebug);
  EXPECT_EQ(options.filePath, "/tmp/some.log");
  ::setenv("QOR_LOG_LEVEL", "nonsense", 1);
  EXPECT_EQ(LogOptionsFromEnvironment().stderrLevel, LogLevel::kWarn);
  ::unsetenv("QOR_LOG_LEVEL");
  ::unsetenv("QOR_LOG_FILE");
}

TEST(LogCoreTest, TakesLinesAndSinksFromManyThreads) {
  const LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i) {
        const LogCapture other;
        kLog.Info() << "line";
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(capture.Count(LogLevel::kInfo, "line"), 400U);
}

}  // namespace
}  // namespace qor::log
