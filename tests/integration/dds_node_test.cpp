// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "platform/com/application_name.h"
#include "platform/com/config_store.h"
#include "platform/com/helper.h"
#include "platform/com/host_domain.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "tests/support/daemon_thread.h"
#include "tests/support/received_samples.h"
#include "tests/support/runtime_folder.h"

namespace qor::com {
namespace {

using maintaind::DriverType;
using maintaind::TransportQos;
using test::Bytes;
using test::Eventually;
using test::ReceivedSamples;
using testing::ElementsAre;
using testing::IsEmpty;

/// An application with a daemon of the test's own.
class NodeTest : public testing::Test {
 protected:
  static maintaind::EventRegisterInfo Event(std::vector<TransportQos> transports = {}) {
    maintaind::EventRegisterInfo event;
    event.eventName = test::UniqueName("event");
    event.dataTypeName = "Speed";
    event.uuid = "77";
    event.resource = "res";
    event.serializeConfig = {maintaind::SerializationType::kSomeip, {}, {1, 2, 3}};
    event.bindings[DriverType::kDds] = test::DdsEvent(std::move(transports));
    return event;
  }
  static void Configure(const maintaind::EventRegisterInfo& event, const std::string& consumerPath = "") {
    ASSERT_TRUE(Helper::AddConfig(true, {}, event));
    ASSERT_TRUE(Helper::AddConfig(false, {consumerPath, "", ""}, event));
  }

  /// Both ends of the event, matched with each other.
  void Connect(const maintaind::EventRegisterInfo& event, NodeHandle& publishing, NodeHandle& subscribing) {
    publisher_ = publishing.Advertise(event.eventName);
    subscriber_ = subscribing.Subscribe(event.eventName, received_.Handler());
    ASSERT_TRUE(publisher_);
    ASSERT_TRUE(subscriber_);
    ASSERT_TRUE(
        Eventually([&] { return publisher_.GetSubscriberCount() == 1 && subscriber_.GetPublisherCount() == 1; }));
  }

  test::RuntimeFolder folder_;
  test::DaemonThread daemon_{test::QuietDaemon(1)};
  ReceivedSamples received_;
  Publisher publisher_;
  Subscriber subscriber_;
};

TEST_F(NodeTest, SamplesGoFromNodeToNode) {
  const auto event = Event();
  Configure(event);
  NodeHandle publishing("/publishing");
  NodeHandle subscribing("/subscribing");
  Connect(event, publishing, subscribing);
  ASSERT_TRUE(publisher_.Publish(Bytes{1, 2, 3}));
  ASSERT_TRUE(publisher_.WaitForFlush(std::chrono::seconds(30)));
  ASSERT_TRUE(received_.WaitForCount(1));
  EXPECT_EQ(received_.Payloads()[0], (Bytes{1, 2, 3}));
  EXPECT_EQ(subscriber_.GetLostCount(), 0U);

  log::LogCapture capture;
  EXPECT_FALSE(publisher_.Publish(dp::MbufSample{})) << "the event has no mbuf samples";
  EXPECT_EQ(capture.CountContaining("is no mbuf event"), 1U);
  Publisher moved = std::move(publisher_);
  EXPECT_TRUE(moved.Publish(Bytes{4}));
  ASSERT_TRUE(received_.WaitForCount(2));
  subscriber_ = Subscriber();
  EXPECT_TRUE(Eventually([&] { return moved.GetSubscriberCount() == 0; }));
}

TEST_F(NodeTest, RegistersWhatIsReallyUsedAndTakesItBack) {
  const auto event = Event({TransportQos::kIcc, TransportQos::kUdp});
  Configure(event, "/tool/");
  const std::string& name = event.eventName;
  {
    NodeHandle node("/node");
    Subscriber subscriber = node.Subscribe("/tool/" + name, [](const RecvBuffer&) {});
    ASSERT_TRUE(subscriber);
    maintaind::EventRegisterInfo expected = event;
    expected.applicationName = ApplicationName();
    expected.nodeName = "/node";
    expected.hostDomainName = HostDomainName();
    expected.maintaindInstance = 1;
    auto& dds = expected.bindings[DriverType::kDds].dds;
    dds.networkIp = "127.0.0.1";
    dds.subnetMask = "255.0.0.0";
    dds.transports = {TransportQos::kUdp};
    const auto expectListed = [&](const std::string& publisher) {
      ASSERT_TRUE(Eventually([&] { return !daemon_.Events().empty() && daemon_.Events()[0].publisher == publisher; }));
      const maintaind::EventInfoWithPubSub listed = daemon_.Events()[0];
      dds.participantGuid = listed.bindings.at(DriverType::kDds).dds.participantGuid;
      EXPECT_EQ(dds.participantGuid.size(), 24U);
      EXPECT_EQ(static_cast<const maintaind::EventRegisterInfo&>(listed), expected);
      EXPECT_THAT(listed.subscribers, ElementsAre("/node"));
    };
    expectListed("");
    Publisher publisher = node.Advertise(name);
    ASSERT_TRUE(publisher);
    expectListed("/node");
    subscriber = Subscriber();
    EXPECT_TRUE(Eventually([&] { return daemon_.Nodes() == "/node >" + name + ";"; })) << daemon_.Nodes();
  }
  EXPECT_TRUE(Eventually([&] { return daemon_.Nodes().empty(); }));
  EXPECT_THAT(daemon_.Events(), IsEmpty());
}

TEST_F(NodeTest, ShutdownStopsWhatTheNodeHas) {
  const auto event = Event();
  Configure(event);
  NodeHandle node("/stopping");
  NodeHandle other("/other");
  Connect(event, other, node);
  Publisher publisher = node.Advertise(event.eventName);
  ASSERT_TRUE(publisher_.Publish(Bytes{1}));
  ASSERT_TRUE(received_.WaitForCount(1));
  node.Shutdown();
  log::LogCapture capture;
  EXPECT_FALSE(publisher.Publish(Bytes{2}));
  EXPECT_EQ(capture.CountContaining("is not published any more"), 1U);
  EXPECT_EQ(publisher.GetSubscriberCount(), 0U);
  EXPECT_EQ(subscriber_.GetPublisherCount(), 0U);
  EXPECT_TRUE(Eventually([&] { return publisher_.GetSubscriberCount() == 0; }));
  EXPECT_TRUE(publisher_.Publish(Bytes{3}));
  EXPECT_EQ(received_.Count(), 1U);
  node.Shutdown();
}

TEST_F(NodeTest, MbufEventsTakeChainsAndTheirEncodedForm) {
  const auto event = Event({TransportQos::kDshmMbuf});
  Configure(event);
  NodeHandle node("/mbuf");
  Connect(event, node, node);
  const Bytes privateData = test::Pattern(17, 1);
  const std::vector<Bytes> chain = {test::Pattern(100'000, 2), {}, test::Pattern(1, 3)};
  dp::MbufSample sample{privateData, {}};
  for (const Bytes& part : chain) {
    sample.chain.push_back({part.data(), static_cast<std::uint32_t>(part.size())});
  }
  ASSERT_TRUE(publisher_.Publish(sample));
  ASSERT_TRUE(received_.WaitForCount(1));
  ASSERT_TRUE(publisher_.Publish(received_.Samples()[0].payload));  // as a player does with what a recorder kept
  ASSERT_TRUE(received_.WaitForCount(2));
  for (const auto& got : received_.Samples()) {
    EXPECT_EQ(got.privateData, privateData);
    EXPECT_TRUE(got.mbufs == chain);
    EXPECT_EQ(got.payload, dp::EncodeMbufSample(sample));
  }
}

TEST_F(NodeTest, AnEventWithSeveralBindingsUsesThoseThatCanBeDriven) {
  const auto event = Event();
  log::LogCapture capture;
  auto both = event;
  both.bindings[DriverType::kSomeip] = {};
  ConfigStore::Instance().Add(maintaind::EntityRole::kProvider, event.eventName, both);
  ASSERT_TRUE(Helper::AddConfig(false, {}, event));
  NodeHandle node("/bindings");
  Connect(event, node, node);
  EXPECT_EQ(capture.CountContaining("a SOME/IP event needs a service id"), 1U);
  ASSERT_TRUE(publisher_.Publish(Bytes{5}));
  EXPECT_TRUE(received_.WaitForCount(1));
  ASSERT_TRUE(Eventually([&] { return !daemon_.Events().empty(); }));
  EXPECT_EQ(daemon_.Events()[0].bindings.size(), 1U);
}

}  // namespace
}  // namespace qor::com
