// SPDX-License-Identifier: Apache-2.0
// SOME/IP events between applications of one host: real sockets, and a daemon that brings the two sides together.
#include <gmock/gmock.h>

#include <memory>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/received_samples.h"
#include "tests/support/runtime_folder.h"

namespace qor::com {
namespace {

using maintaind::DriverType;
using test::Bytes;
using test::Eventually;
using test::Pattern;
using test::ReceivedSamples;

/// A service that no other test on this host uses.
std::uint16_t UniqueServiceId() {
  static std::uint16_t last = 0;
  return static_cast<std::uint16_t>(0x2000 + (::getpid() % 0x1000) * 8 + last++);
}

class SomeipEventTest : public testing::Test {
 protected:
  maintaind::EventRegisterInfo Event(std::uint16_t eventId = 0x8001) const {
    maintaind::EventRegisterInfo event;
    event.eventName = test::UniqueName("/someip/event");
    auto& someip = event.bindings[DriverType::kSomeip].someip;
    someip.serviceId = serviceId_;
    someip.instanceId = 1;
    someip.eventId = eventId;
    someip.eventGroupIds = {1};
    return event;
  }
  static void Configure(const maintaind::EventRegisterInfo& event) {
    ASSERT_TRUE(Helper::AddConfig(true, {}, event));
    ASSERT_TRUE(Helper::AddConfig(false, {}, event));
  }
  static maintaind::SomeipEventInfo& Someip(maintaind::EventRegisterInfo& event) {
    return event.bindings[DriverType::kSomeip].someip;
  }

  /// Publishes until it arrives: a subscription takes its moment.
  static bool Arrives(Publisher& publisher, const Bytes& payload, const ReceivedSamples& received) {
    const std::size_t before = received.Count();
    return Eventually([&] { return publisher.Publish(payload) && received.Count() > before; });
  }

  const std::uint16_t serviceId_ = UniqueServiceId();
  test::RuntimeFolder folder_;
  std::unique_ptr<test::DaemonThread> daemon_ = std::make_unique<test::DaemonThread>(test::QuietDaemon(1));
  NodeHandle publishing_{"/publishing"};
  NodeHandle subscribing_{"/subscribing"};
};

TEST_F(SomeipEventTest, PayloadsArriveUnchangedByUdpSegmentedAndByTcp) {
  auto event = Event(0x8001);
  auto segmented = Event(0x8002);
  Someip(segmented).tp.isEnabled = true;
  auto reliable = Event(0x8003);
  Someip(reliable).isReliable = true;
  Someip(reliable).eventGroupIds = {2};
  // The first publisher opens the service's ports for all events.
  Someip(event).tcpPort = Someip(segmented).tcpPort = Someip(reliable).tcpPort = 40000;
  for (const auto& [config, sizes] : {std::pair{event, std::vector<std::size_t>{0, 1, 1400}},
                                      std::pair{segmented, std::vector<std::size_t>{1401, 100'000}},
                                      std::pair{reliable, std::vector<std::size_t>{0, 2'000'000}}}) {
    Configure(config);
    ReceivedSamples received;
    Publisher publisher = publishing_.Advertise(config.eventName);
    Subscriber subscriber = subscribing_.Subscribe(config.eventName, received.Handler());
    ASSERT_TRUE(publisher);
    ASSERT_TRUE(subscriber);
    ASSERT_TRUE(Eventually([&] { return publisher.GetSubscriberCount() == 1; })) << config.eventName;
    EXPECT_EQ(subscriber.GetPublisherCount(), 1U);
    for (const std::size_t size : sizes) {
      const std::size_t before = received.Count();
      ASSERT_TRUE(publisher.Publish(Pattern(size)));
      ASSERT_TRUE(received.WaitForCount(before + 1)) << size;
      EXPECT_EQ(received.Payloads().back(), Pattern(size));
    }
    EXPECT_EQ(subscriber.GetLostCount(), 0U);
    subscriber = Subscriber();
    EXPECT_TRUE(Eventually([&] { return publisher.GetSubscriberCount() == 0; }));
  }
}

TEST_F(SomeipEventTest, PublisherThatComesLaterOrAgainIsFound) {
  auto event = Event();
  Configure(event);
  ReceivedSamples received;
  Subscriber first = subscribing_.Subscribe(event.eventName, received.Handler());
  ReceivedSamples receivedToo;
  Subscriber second = subscribing_.Subscribe(event.eventName, receivedToo.Handler());
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first.GetPublisherCount(), 0U);
  for (int round = 0; round < 2; ++round) {
    Publisher publisher = publishing_.Advertise(event.eventName);
    ASSERT_TRUE(Arrives(publisher, Bytes{1, 2}, received)) << round;
    EXPECT_TRUE(receivedToo.WaitForCount(1)) << "both readers share one subscription";
    publisher = Publisher();
    EXPECT_TRUE(Eventually([&] { return first.GetPublisherCount() == 0; }));
  }
}

TEST_F(SomeipEventTest, GoesOnWithoutTheDaemonAndWithTheNext) {
  auto event = Event();
  Configure(event);
  ReceivedSamples received;
  Publisher publisher = publishing_.Advertise(event.eventName);
  Subscriber subscriber = subscribing_.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(Arrives(publisher, Bytes{1}, received));
  daemon_.reset();
  const std::size_t before = received.Count();
  ASSERT_TRUE(publisher.Publish(Bytes{2}));
  EXPECT_TRUE(received.WaitForCount(before + 1)) << "samples do not pass the daemon";
  daemon_ = std::make_unique<test::DaemonThread>(test::QuietDaemon(1));
  ASSERT_TRUE(Eventually([&] {
    const auto events = daemon_->Events();
    return events.size() == 1 && events[0].publisher == "/publishing" && events[0].subscribers.size() == 1;
  }));
  EXPECT_TRUE(Arrives(publisher, Bytes{3}, received));
  const auto listed = daemon_->Events()[0].bindings.at(DriverType::kSomeip).someip;
  EXPECT_EQ(listed.serviceId, serviceId_);
  EXPECT_EQ(listed.networkIp, "127.0.0.1");
  EXPECT_NE(listed.udpPort, 0);
}

TEST_F(SomeipEventTest, ProtectedSamplesCarryTheirCheck) {
  auto event = Event();
  Someip(event).e2e = {.isProtected = true, .profile = 4, .dataId = 7, .offset = 0, .minDataLength = 0};
  Someip(event).e2e.maxDeltaCounter = 1;
  Configure(event);
  ReceivedSamples received;
  Publisher publisher = publishing_.Advertise(event.eventName);
  Subscriber subscriber = subscribing_.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(publisher && subscriber);
  ASSERT_TRUE(Eventually([&] { return publisher.GetSubscriberCount() == 1; }));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(publisher.Publish(Bytes{9, 8, 7}));
  }
  ASSERT_TRUE(received.WaitForCount(2));
  for (const auto& sample : received.Samples()) {
    EXPECT_EQ(sample.e2eStatus, e2e::CheckStatus::kOk);
    EXPECT_EQ(sample.payload, (Bytes{9, 8, 7})) << "without the E2E header";
  }
}

TEST_F(SomeipEventTest, WhatCannotBeSetUpSaysWhy) {
  const log::LogCapture capture;
  auto event = Event();
  Someip(event).eventGroupIds.clear();
  Configure(event);
  EXPECT_FALSE(publishing_.Advertise(event.eventName));
  EXPECT_EQ(capture.CountContaining("needs an eventgroup"), 1U);

  auto large = Event();
  Configure(large);
  Publisher publisher = publishing_.Advertise(large.eventName);
  ReceivedSamples received;
  Subscriber subscriber = subscribing_.Subscribe(large.eventName, received.Handler());
  ASSERT_TRUE(Arrives(publisher, Bytes{1}, received));
  EXPECT_FALSE(publisher.Publish(Pattern(1401))) << "too large for a datagram, and not segmented";
}

}  // namespace
}  // namespace qor::com
