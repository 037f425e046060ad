// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <map>

#include "platform/com/application_name.h"
#include "platform/com/config_store.h"
#include "platform/com/helper.h"
#include "platform/com/host_domain.h"
#include "platform/com/node_handle.h"
#include "platform/log/log_capture.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"
#include "tests/support/environment.h"
#include "tests/support/received_samples.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/scripted_daemon.h"

namespace qor::com {
namespace {

namespace operation = maintaind::node_operation;
using maintaind::DriverType;
using maintaind::EntityRole;
using maintaind::TransportQos;
using test::Bytes;
using test::ReceivedSamples;
using test::ScriptedDaemon;
using test::WaitUntil;

/// A runtime directory for this test alone.
class RuntimeDirectory {
 public:
  RuntimeDirectory() { test::SetEnvironment("QOR_RUNTIME_DIR", folder_.Path().c_str()); }
  ~RuntimeDirectory() { test::SetEnvironment("QOR_RUNTIME_DIR", nullptr); }
  RuntimeDirectory(const RuntimeDirectory&) = delete;
  RuntimeDirectory& operator=(const RuntimeDirectory&) = delete;

 private:
  test::ScratchFolder folder_;
};

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
  /// The registrations of an event so far, by role.
  std::map<EntityRole, maintaind::EventRegistration> Registrations(const std::string& eventName) const {
    std::map<EntityRole, maintaind::EventRegistration> found;
    for (const auto& payload : daemon_.RequestsOf(operation::RegisterEvent::kMethodId)) {
      maintaind::EventRegistration registration;
      EXPECT_TRUE(maintaind::Decode(payload, registration));
      if (registration.info.eventName == eventName) {
        found[registration.role] = registration;
      }
    }
    return found;
  }

  RuntimeDirectory directory_;
  ScriptedDaemon daemon_{1, ApplicationName()};
};

TEST_F(NodeTest, SamplesGoFromNodeToNode) {
  const auto event = Event();
  Configure(event);
  NodeHandle publishing("/publishing");
  NodeHandle subscribing("/subscribing");
  Publisher publisher = publishing.Advertise(event.eventName);
  ReceivedSamples received;
  Subscriber subscriber = subscribing.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(publisher);
  ASSERT_TRUE(subscriber);
  ASSERT_TRUE(WaitUntil([&] { return publisher.GetSubscriberCount() == 1 && subscriber.GetPublisherCount() == 1; }));
  ASSERT_TRUE(publisher.Publish(Bytes{1, 2, 3}));
  ASSERT_TRUE(publisher.WaitForFlush(std::chrono::seconds(30)));
  ASSERT_TRUE(received.WaitForCount(1));
  EXPECT_EQ(received.Payloads()[0], (Bytes{1, 2, 3}));
  EXPECT_EQ(subscriber.GetLostCount(), 0U);

  log::LogCapture capture;
  EXPECT_FALSE(publisher.Publish(dp::MbufSample{})) << "the event has no mbuf samples";
  EXPECT_EQ(capture.CountContaining("is no mbuf event"), 1U);
  Publisher moved = std::move(publisher);
  EXPECT_TRUE(moved.Publish(Bytes{4}));
  ASSERT_TRUE(received.WaitForCount(2));
  subscriber = Subscriber();
  EXPECT_TRUE(WaitUntil([&] { return moved.GetSubscriberCount() == 0; }));
}

TEST_F(NodeTest, RegistersWhatIsReallyUsedAndTakesItBack) {
  const auto event = Event({TransportQos::kIcc, TransportQos::kUdp});
  Configure(event, "/tool/");
  const std::string& name = event.eventName;
  {
    NodeHandle node("/node");
    Publisher publisher = node.Advertise(name);
    Subscriber subscriber = node.Subscribe("/tool/" + name, [](const RecvBuffer&) {});
    ASSERT_TRUE(publisher);
    ASSERT_TRUE(subscriber);
    ASSERT_TRUE(WaitUntil([&] { return Registrations(name).size() == 2; }));
    for (const auto& [role, registration] : Registrations(name)) {
      maintaind::EventRegisterInfo expected = event;
      expected.applicationName = ApplicationName();
      expected.nodeName = "/node";
      expected.hostDomainName = HostDomainName();
      auto& dds = expected.bindings[DriverType::kDds].dds;
      dds.networkIp = "127.0.0.1";
      dds.subnetMask = "255.0.0.0";
      dds.transports = {TransportQos::kUdp};
      dds.participantGuid = registration.info.bindings.at(DriverType::kDds).dds.participantGuid;
      EXPECT_EQ(registration.info, expected);
    }
    EXPECT_THAT(daemon_.RequestsOf(operation::RegisterNode::kMethodId),
                testing::ElementsAre(maintaind::Encode(std::string("/node"))));
    subscriber = Subscriber();
    ASSERT_TRUE(WaitUntil([&] { return daemon_.RequestsOf(operation::UnregisterEntity::kMethodId).size() == 1; }));
    EXPECT_EQ(daemon_.RequestsOf(operation::UnregisterEntity::kMethodId)[0],
              maintaind::Encode(Registrations(name)[EntityRole::kConsumer].id));
  }
  ASSERT_TRUE(WaitUntil([&] { return daemon_.RequestsOf(operation::UnregisterNode::kMethodId).size() == 1; }));
  EXPECT_EQ(daemon_.RequestsOf(operation::UnregisterEntity::kMethodId).size(), 2U);
}

TEST_F(NodeTest, ShutdownStopsWhatTheNodeHas) {
  const auto event = Event();
  Configure(event);
  NodeHandle node("/stopping");
  NodeHandle other("/other");
  Publisher publisher = node.Advertise(event.eventName);
  Publisher otherPublisher = other.Advertise(event.eventName);
  ReceivedSamples received;
  Subscriber subscriber = node.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(WaitUntil([&] { return otherPublisher.GetSubscriberCount() == 1; }));
  ASSERT_TRUE(otherPublisher.Publish(Bytes{1}));
  ASSERT_TRUE(received.WaitForCount(1));
  node.Shutdown();
  log::LogCapture capture;
  EXPECT_FALSE(publisher.Publish(Bytes{2}));
  EXPECT_EQ(capture.CountContaining("is not published any more"), 1U);
  EXPECT_EQ(publisher.GetSubscriberCount(), 0U);
  EXPECT_EQ(subscriber.GetPublisherCount(), 0U);
  EXPECT_TRUE(WaitUntil([&] { return otherPublisher.GetSubscriberCount() == 0; }));
  EXPECT_TRUE(otherPublisher.Publish(Bytes{3}));
  EXPECT_EQ(received.Count(), 1U);
  node.Shutdown();
}

TEST_F(NodeTest, MbufEventsTakeChainsAndTheirEncodedForm) {
  const auto event = Event({TransportQos::kDshmMbuf});
  Configure(event);
  NodeHandle node("/mbuf");
  Publisher publisher = node.Advertise(event.eventName);
  ReceivedSamples received;
  Subscriber subscriber = node.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(WaitUntil([&] { return publisher.GetSubscriberCount() == 1 && subscriber.GetPublisherCount() == 1; }));
  const Bytes privateData = {1, 2};
  const Bytes part = test::Pattern(70'000);
  const dp::MbufSample sample{privateData, {{part.data(), static_cast<std::uint32_t>(part.size())}}};
  ASSERT_TRUE(publisher.Publish(sample));
  ASSERT_TRUE(received.WaitForCount(1));
  ASSERT_TRUE(publisher.Publish(received.Samples()[0].payload));  // as a player does with what a recorder kept
  ASSERT_TRUE(received.WaitForCount(2));
  for (const auto& got : received.Samples()) {
    EXPECT_EQ(got.privateData, privateData);
    EXPECT_TRUE(got.mbufs == std::vector<Bytes>{part});
  }
}

TEST_F(NodeTest, AnEventWithSeveralBindingsUsesThoseThatCanBeDriven) {
  const auto event = Event();
  log::LogCapture capture;
  auto both = event;
  both.bindings[DriverType::kSomeip] = {};
  ConfigStore::Instance().Add(EntityRole::kProvider, event.eventName, both);
  ASSERT_TRUE(Helper::AddConfig(false, {}, event));
  NodeHandle node("/bindings");
  Publisher publisher = node.Advertise(event.eventName);
  ASSERT_TRUE(publisher);
  EXPECT_EQ(capture.CountContaining("this build has no SOME/IP event transport"), 1U);
  ReceivedSamples received;
  Subscriber subscriber = node.Subscribe(event.eventName, received.Handler());
  ASSERT_TRUE(WaitUntil([&] { return publisher.GetSubscriberCount() == 1; }));
  ASSERT_TRUE(publisher.Publish(Bytes{5}));
  EXPECT_TRUE(received.WaitForCount(1));
  ASSERT_TRUE(WaitUntil([&] { return Registrations(event.eventName).contains(EntityRole::kProvider); }));
  EXPECT_EQ(Registrations(event.eventName)[EntityRole::kProvider].info.bindings.size(), 1U);
}

}  // namespace
}  // namespace qor::com
