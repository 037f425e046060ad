// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/log_capture.h"
#include "src/common/tools_common_client_manager.h"
#include "src/qorevent/backlog_gate.h"
#include "src/qorevent/event_rate_counter.h"
#include "src/qorevent/event_subscriber.h"
#include "src/qorevent/interval_window.h"
#include "src/qorevent/qor_event_hz.h"
#include "src/qorevent/subscription_book.h"

namespace qor::qorevent {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

IntervalWindow WindowOf(std::vector<std::uint64_t> intervals) {
  IntervalWindow window(100);
  for (const std::uint64_t interval : intervals) {
    window.Push(interval);
  }
  return window;
}

/// Feeds a counter with samples at chosen times.
class EventRateCounterTest : public ::testing::Test {
 protected:
  void Sample(nanoseconds after, std::size_t bytes = 10) {
    now_ += after;
    counter_.Add(now_, bytes);
  }

  EventRateCounter counter_{3};
  EventRateCounter::TimePoint now_{std::chrono::hours(1)};
};

TEST_F(EventRateCounterTest, FirstTwoSamplesOnlySetTheClock) {
  Sample(milliseconds(0));
  Sample(milliseconds(700));
  EXPECT_TRUE(counter_.Window().IsEmpty());
  Sample(milliseconds(10));
  EXPECT_THAT(counter_.Window().Intervals(), ElementsAre(10'000)) << "the interval before the second sample counts";
}

TEST_F(EventRateCounterTest, WindowKeepsTheLatestIntervals) {
  for (int i = 0; i < 7; ++i) {
    Sample(milliseconds(i));
  }
  EXPECT_THAT(counter_.Window().Intervals(), UnorderedElementsAre(4'000, 5'000, 6'000));
}

TEST_F(EventRateCounterTest, IntervalsAreCutToMicroseconds) {
  Sample(nanoseconds(0));
  Sample(nanoseconds(1));
  Sample(nanoseconds(1'999));
  Sample(nanoseconds(999));
  EXPECT_THAT(counter_.Window().Intervals(), ElementsAre(1, 0));
}

TEST_F(EventRateCounterTest, ReportOfRegularSamples) {
  for (int i = 0; i < 5; ++i) {
    Sample(milliseconds(10), 100);
  }
  now_ += milliseconds(10);
  const EventHzInfo first = counter_.Report(now_);
  EXPECT_DOUBLE_EQ(first.rate, 100.0);
  EXPECT_DOUBLE_EQ(first.minInterval, 0.01);
  EXPECT_DOUBLE_EQ(first.maxInterval, 0.01);
  EXPECT_DOUBLE_EQ(first.stdDev, 0.01);
  EXPECT_DOUBLE_EQ(first.jitter, 0.0);
  EXPECT_EQ(first.windowSize, 3U);
  EXPECT_EQ(first.sampleCount, 5U);
  EXPECT_DOUBLE_EQ(first.bandwidth, 500 / 0.05) << "since the first sample";
  Sample(milliseconds(250), 1'000);
  EXPECT_DOUBLE_EQ(counter_.Report(now_ + milliseconds(250)).bandwidth, 2'000.0) << "since the report before";
}

TEST_F(EventRateCounterTest, NothingMeasuredIsNotANumber) {
  Sample(milliseconds(10));
  const EventHzInfo info = counter_.Report(now_);
  for (const double figure : {info.rate, info.minInterval, info.maxInterval, info.stdDev, info.jitter}) {
    EXPECT_TRUE(std::isnan(figure));
  }
  EXPECT_EQ(info.windowSize, 0U);
  EXPECT_TRUE(std::isnan(counter_.Totals().meanRate));
}

TEST_F(EventRateCounterTest, TotalsCoverWhatTheWindowForgot) {
  Sample(milliseconds(0), 30);
  for (int i = 0; i < 20; ++i) {
    Sample(milliseconds(50), 30);
  }
  const EventHzTotals totals = counter_.Totals();
  EXPECT_EQ(totals.sampleCount, 21U);
  EXPECT_EQ(totals.byteCount, 630U);
  EXPECT_DOUBLE_EQ(totals.duration, 1.0);
  EXPECT_DOUBLE_EQ(totals.meanRate, 20.0);
  EXPECT_DOUBLE_EQ(totals.bandwidth, 600.0);
}

TEST(IntervalWindowTest, WindowOfSizeZeroStaysEmpty) {
  IntervalWindow window(0);
  window.Push(5);
  EXPECT_TRUE(window.IsEmpty());
}

TEST(IntervalWindowTest, StdDevCountsWholeSecondsOnly) {
  // Whole seconds 0, 1 and 3 around a mean of 2 s: squares 4, 1 and 1.
  const IntervalWindow window = WindowOf({999'999, 1'999'999, 3'000'002});
  const double mean = GetMeanTimes(window);
  EXPECT_DOUBLE_EQ(mean, 2'000'000.0);
  EXPECT_DOUBLE_EQ(GetStdDevTimes(mean, window), std::sqrt(2.0));
  EXPECT_NEAR(GetJitter(mean, window), std::sqrt(2.0 * 1.0 / 3.0), 1e-3);
  EXPECT_DOUBLE_EQ(GetStdDevTimes(10'000.0, WindowOf({10'000, 10'000})), 0.01);
}

TEST(IntervalWindowTest, EmptyWindowGivesNoNumber) {
  EXPECT_TRUE(std::isnan(GetMeanTimes(IntervalWindow(3))));
  EXPECT_TRUE(std::isnan(GetStdDevTimes(0.0, IntervalWindow(3))));
}

TEST(BacklogGateTest, WhatWasSentBeforeTheFirstArrivalIsLeftOut) {
  const nanoseconds begin = std::chrono::hours(1);
  BacklogGate gate;
  EXPECT_TRUE(gate.IsBacklog(begin - milliseconds(95), begin));
  EXPECT_TRUE(gate.IsBacklog(begin - milliseconds(5), begin + microseconds(2)));
  EXPECT_FALSE(gate.IsBacklog(begin - microseconds(200), begin + microseconds(3))) << "it was on its way";
  EXPECT_FALSE(gate.IsBacklog(begin + milliseconds(5), begin + milliseconds(6)));
  EXPECT_FALSE(gate.IsBacklog(nanoseconds(0), begin)) << "the wire says no time";
  EXPECT_TRUE(gate.IsBacklog(begin - std::chrono::minutes(1), begin + milliseconds(999)));
  EXPECT_FALSE(gate.IsBacklog(begin - std::chrono::minutes(1), begin + milliseconds(1000)))
      << "the clock of another host";
}

/// A daemon that is online and answers every question with an error.
class QorEventHzTest : public ::testing::Test {
 protected:
  QorEventHzTest() {
    const auto manager = qortools::common::ToolsCommonClientManager::GetInstance();
    manager->FindMaintaindService();
    manager->ServiceAvailabilityCallback({{1, "/nonexistent/maintaind-1.sock"}});
  }
  ~QorEventHzTest() override {
    qortools::common::ToolsCommonClientManager::GetInstance()->ServiceAvailabilityCallback({});
  }

  bool InitRate(const std::vector<std::string>& names, QorEventHz::ResultCallback callback = nullptr) {
    return hz_.Init(names, 100, HzOptions{}, std::move(callback));
  }

  log::LogCapture log_;
  QorEventHz hz_;
};

TEST_F(QorEventHzTest, RefusesNoNamesAndTooManyNames) {
  constexpr char kRefused[] = "[The number of the input events should not be 0 or more than 5000]";
  EXPECT_FALSE(InitRate({}));
  EXPECT_EQ(log_.Count(LogLevel::kError, kRefused), 1U);
  EXPECT_FALSE(InitRate(std::vector<std::string>(5001, "/a")));
  EXPECT_EQ(log_.Count(LogLevel::kError, kRefused), 2U);
  EXPECT_TRUE(InitRate(std::vector<std::string>(5000, "/a"))) << "a refused start does not use the object up";
  EXPECT_FALSE(InitRate({"/a"}));
  EXPECT_EQ(log_.CountContaining("QorEventHz is already inited!"), 1U);
}

TEST_F(QorEventHzTest, ReportsEveryNameOnceInTheirOrder) {
  EventHzList reported;
  QoreventHzType type{};
  ASSERT_TRUE(InitRate({"/b", "/a", "/b"}, [&](const EventHzList& list, QoreventHzType kind) {
    reported = list;
    type = kind;
  }));
  hz_.QorEventPrintHz();
  EXPECT_EQ(type, QoreventHzType::kWaiting);
  for (int i = 0; i < 3; ++i) {
    hz_.ReceivedMessageCallback("/a");
  }
  hz_.ReceivedMessageCallback("/nobody");
  hz_.QorEventPrintHz();
  EXPECT_EQ(type, QoreventHzType::kMeasuring);
  ASSERT_EQ(reported.size(), 2U);
  EXPECT_EQ(reported[0].first, "/b");
  EXPECT_EQ(reported[0].second.sampleCount, 0U);
  EXPECT_EQ(reported[1].first, "/a");
  EXPECT_EQ(reported[1].second.windowSize, 1U);
}

TEST_F(QorEventHzTest, DoesNotInitWithoutADaemonOrAMessageCallback) {
  EXPECT_FALSE(hz_.Init({"/a"}, HzOptions{}, nullptr));
  EXPECT_EQ(log_.CountContaining("Message callback is nullptr."), 1U);
  qortools::common::ToolsCommonClientManager::GetInstance()->ServiceAvailabilityCallback({});
  EXPECT_FALSE(InitRate({"/a"}));
  EXPECT_EQ(log_.CountContaining("Find service fail."), 1U);
}

TEST_F(QorEventHzTest, WithoutACallbackThereIsALine) {
  ASSERT_TRUE(InitRate({"/a"}));
  hz_.QorEventPrintHz();
  EXPECT_EQ(log_.CountContaining("Hz callback is nullptr."), 1U);
}

TEST_F(QorEventHzTest, MessageModePassesTheNameAsItWasGiven) {
  std::vector<std::string> names;
  ASSERT_TRUE(hz_.Init({"/a[17]"}, HzOptions{}, [&](const std::string& name) { names.push_back(name); }));
  hz_.ReceivedMessageCallback("/a[17]");
  EXPECT_THAT(names, ElementsAre("/a[17]"));
  EXPECT_EQ(log_.CountContaining("[ReceivedMessageCallback][eventName=/a[17], pureName=/a, uuid=17]"), 1U);
}

TEST_F(QorEventHzTest, StartFailsWhenNoEventIsKnown) {
  ASSERT_TRUE(InitRate({"/a", "/b"}));
  EXPECT_FALSE(hz_.QorEventHzStart());
  EXPECT_FALSE(hz_.QorEventHzReady());
  EXPECT_EQ(log_.CountContaining("Unknown event or mergerd size is incorrect."), 2U);
  EXPECT_EQ(log_.CountContaining("All event create sub failed!"), 1U);
  EXPECT_FALSE(hz_.IsAllEventsQueried());
  EXPECT_FALSE(hz_.AnyDaemonAnswered());
}

TEST(SubscriptionBookTest, WhatWasGivenUpStaysSoAndASuccessEndsAFailure) {
  SubscriptionBook book;
  book.SetFailed("/a");
  book.Add("/a", {});
  EXPECT_FALSE(book.IsFailed("/a"));
  book.Remove("/a");
  EXPECT_FALSE(book.IsSubscribed("/a"));
  EXPECT_TRUE(book.IsGivenUp("/a")) << "a later look does not subscribe again";
  book.Add("/a", {});
  EXPECT_FALSE(book.IsGivenUp("/a"));
}

/// Subscriptions that cannot be made, each for its own reason.
class EventSubscriberTest : public ::testing::Test {
 protected:
  std::size_t Subscribe(const maintaind::EventInfoWithPubSub& record) {
    EventSubscriber subscriber(node_, {"/qorevent/test/", "", ""});
    return subscriber.DoSubscribe("/a", {record}, [](const com::RecvBuffer&) {}).size();
  }

  log::LogCapture log_;
  com::NodeHandle node_{"/qorevent/test/"};
};

TEST_F(EventSubscriberTest, EveryFailureHasItsLine) {
  maintaind::EventInfoWithPubSub record;
  record.eventName = "/a";
  record.bindings[maintaind::DriverType::kSomeip];
  EXPECT_EQ(Subscribe(record), 0U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "No SOME/IP network. DoSubscribe SOMEIP event /a ignored!"), 1U);

  record.bindings[maintaind::DriverType::kSomeip].someip.networkName = "body";
  record.bindings[maintaind::DriverType::kDds].dds.transports = {maintaind::TransportQos::kPcie};
  record.bindings[maintaind::DriverType::kDds].dds.topicName = "a";
  EXPECT_EQ(Subscribe(record), 0U);
  EXPECT_EQ(log_.Count(LogLevel::kInfo, "[SubscribeEvent][RawData event=/a]"), 1U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "New DDS sub failed for event: /a"), 1U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "New SOMEIP sub failed for event: /a"), 1U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "DDS and SOMEIP record all failed! Stop."), 1U);

  record.bindings.erase(maintaind::DriverType::kSomeip);
  record.eventName.clear();
  EXPECT_EQ(Subscribe(record), 0U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "Create sub failed! /a"), 1U);
}

}  // namespace
}  // namespace qor::qorevent
