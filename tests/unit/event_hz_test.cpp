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

TEST_F(EventRateCounterTest, WindowKeepsTheLatestIntervalsInOrderCutToMicroseconds) {
  for (const int after : {0, 1'000'000, 2'000'000, 3'000'000, 1, 1'999, 999}) {
    Sample(nanoseconds(after));
  }
  EXPECT_THAT(counter_.Window().Intervals(), UnorderedElementsAre(0, 1, 0));
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
  EXPECT_TRUE(std::isnan(counter_.Totals().meanRate));
  counter_ = EventRateCounter(0);
  for (int i = 0; i < 4; ++i) {
    Sample(milliseconds(10));
  }
  const EventHzInfo info = counter_.Report(now_);
  for (const double figure : {info.rate, info.minInterval, info.maxInterval, info.stdDev, info.jitter}) {
    EXPECT_TRUE(std::isnan(figure));
  }
  EXPECT_EQ(info.windowSize, 0U);
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

TEST(IntervalWindowTest, StdDevCountsWholeSecondsOnly) {
  // Whole seconds 0, 1 and 3 around a mean of 2 s: squares 4, 1 and 1.
  IntervalWindow window(100);
  for (const std::uint64_t interval : {999'999, 1'999'999, 3'000'002}) {
    window.Push(interval);
  }
  const double mean = GetMeanTimes(window);
  EXPECT_DOUBLE_EQ(mean, 2'000'000.0);
  EXPECT_DOUBLE_EQ(GetStdDevTimes(mean, window), std::sqrt(2.0));
  EXPECT_NEAR(GetJitter(mean, window), std::sqrt(2.0 * 1.0 / 3.0), 1e-3);
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

TEST(BindingGateTest, ASampleSentOverBothBindingsCountsOnce) {
  using maintaind::DriverType;
  const BindingGate::Time begin;
  BindingGate gate;
  EXPECT_TRUE(gate.IsCounted(DriverType::kSomeip, begin));
  EXPECT_FALSE(gate.IsCounted(DriverType::kDds, begin + milliseconds(1)));
  EXPECT_TRUE(gate.IsCounted(DriverType::kSomeip, begin + milliseconds(900)));
  EXPECT_FALSE(gate.IsCounted(DriverType::kDds, begin + milliseconds(1500)));
  EXPECT_TRUE(gate.IsCounted(DriverType::kDds, begin + milliseconds(1900))) << "the other one has ended";
  EXPECT_FALSE(gate.IsCounted(DriverType::kSomeip, begin + milliseconds(1901)));
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
  EXPECT_FALSE(InitRate({}));
  EXPECT_FALSE(InitRate(std::vector<std::string>(5001, "/a")));
  EXPECT_EQ(log_.Count(LogLevel::kError, "[The number of the input events should not be 0 or more than 5000]"), 2U);
  EXPECT_TRUE(InitRate(std::vector<std::string>(5000, "/a"))) << "a refused start does not use the object up";
  EXPECT_FALSE(InitRate({"/a"}));
}

TEST_F(QorEventHzTest, EveryWrongOptionHasItsLine) {
  HzOptions options;
  options.filter.domainId = 64;
  options.someipNetwork = "no network";
  EXPECT_FALSE(hz_.Init({"/a"}, 100, options, nullptr));
  EXPECT_EQ(log_.Count(LogLevel::kError, "QorEventHz domainId is error!"), 1U);
  EXPECT_EQ(log_.Count(LogLevel::kError, "QorEventHz someipNetwork is error!"), 1U);
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

TEST_F(QorEventHzTest, MessageModePassesTheNameAsItWasGiven) {
  std::vector<std::string> names;
  ASSERT_TRUE(hz_.Init({"/a[17]"}, HzOptions{}, [&](const std::string& name) { names.push_back(name); }));
  hz_.ReceivedMessageCallback("/a[17]");
  EXPECT_THAT(names, ElementsAre("/a[17]"));
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

TEST(EventSubscriberTest, EveryFailureHasItsLine) {
  const log::LogCapture log;
  com::NodeHandle node("/qorevent/test/");
  maintaind::EventInfoWithPubSub record;
  record.eventName = "/a";
  const auto expectFailure = [&](const std::vector<std::string>& lines) {
    EventSubscriber subscriber(node, {"/qorevent/test/", "", ""}, "QorEventHz");
    EXPECT_TRUE(subscriber.DoSubscribe("/a", {record}, [](maintaind::DriverType, const com::RecvBuffer&) {}).empty());
    for (const std::string& line : lines) {
      EXPECT_EQ(log.Count(LogLevel::kError, line), 1U) << line;
    }
  };
  auto& someip = record.bindings[maintaind::DriverType::kSomeip].someip;
  expectFailure({"No SOME/IP network. DoSubscribe SOMEIP event /a ignored!"});
  someip.networkName = "body";
  record.bindings[maintaind::DriverType::kDds].dds.topicName = "a";
  record.bindings[maintaind::DriverType::kDds].dds.transports = {maintaind::TransportQos::kPcie};
  expectFailure({"New DDS sub failed for event: /a", "New SOMEIP sub failed for event: /a",
                 "DDS and SOMEIP record all failed! Stop."});
  record.bindings.erase(maintaind::DriverType::kSomeip);
  record.eventName.clear();
  expectFailure({"Create sub failed! /a"});
}

}  // namespace
}  // namespace qor::qorevent
