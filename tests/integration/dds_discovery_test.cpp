// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include "platform/dds/dds_transport.h"
#include "platform/dds/discovery_watcher.h"
#include "tests/support/received_samples.h"

namespace qor::dds {
namespace {

using maintaind::EventInfo;
using maintaind::TransportQos;
using test::DdsEvent;
using test::Eventually;

/// Keeps what a watcher says.
class Watched {
 public:
  DiscoveryWatcher::Callbacks Callbacks() {
    return {[this](const DiscoveredEndpoint& endpoint) {
              const std::lock_guard lock(mutex_);
              endpoints_[endpoint.guid] = endpoint;
            },
            [this](const std::string& guid) {
              const std::lock_guard lock(mutex_);
              endpoints_.erase(guid);
            },
            [this](const std::string& participantGuid) {
              const std::lock_guard lock(mutex_);
              goneParticipants_.insert(participantGuid);
            }};
  }

  std::optional<DiscoveredEndpoint> Find(const std::string& topicName) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [guid, endpoint] : endpoints_) {
      if (endpoint.topicName == topicName) {
        return endpoint;
      }
    }
    return std::nullopt;
  }
  std::optional<DiscoveredEndpoint> WaitFor(const std::string& topicName) const {
    Eventually([&] { return Find(topicName).has_value(); });
    return Find(topicName);
  }
  bool IsGone(const std::string& participantGuid) const {
    const std::lock_guard lock(mutex_);
    return goneParticipants_.contains(participantGuid);
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, DiscoveredEndpoint> endpoints_;  // guarded by mutex_
  std::set<std::string> goneParticipants_;               // guarded by mutex_
};

TEST(DiscoveryWatcher, TellsAllThatAnEndpointAnnounces) {
  Watched watched;
  const auto created = DiscoveryWatcher::Create(test::DomainOfThisProcess(), "", watched.Callbacks());
  ASSERT_TRUE(created) << created.Error().Message();
  EXPECT_THAT(created.Value()->ParticipantGuid(), testing::MatchesRegex("[0-9a-f]{24}"));
  ParticipantPool pool("the application");
  DdsTransport transport(pool);
  EventInfo event = DdsEvent();
  event.dds.isKeyed = true;
  event.dds.partition = "p1,p2";
  event.dds.qos.durability = maintaind::DurabilityQos::kTransientLocal;
  auto writer = transport.CreateWriter(event);
  ASSERT_TRUE(writer);
  const auto seen = watched.WaitFor(event.dds.topicName);
  ASSERT_TRUE(seen);
  EXPECT_TRUE(seen->isWriter && seen->isKeyed);
  EXPECT_EQ(seen->domainId, event.dds.domainId);
  EXPECT_EQ(seen->typeName + seen->partition, event.dds.typeName + "p1,p2");
  EXPECT_EQ(seen->participantName + seen->address, "the application127.0.0.1");
  EXPECT_EQ(seen->participantGuid, writer.Value()->Used().dds.participantGuid);
  EXPECT_EQ(seen->guid.substr(0, 24), seen->participantGuid);
  EXPECT_EQ(seen->guid.size(), 32U);
  EXPECT_EQ(seen->qos.durability, maintaind::DurabilityQos::kTransientLocal);
  EXPECT_EQ(seen->qos.reliability, maintaind::ReliabilityKind::kReliable);

  EventInfo other = DdsEvent();
  other.dds.qos.reliability = maintaind::ReliabilityKind::kBestEffort;
  auto reader = transport.CreateReader(other, {}, [](const com::RecvBuffer&) {});
  ASSERT_TRUE(reader);
  const auto seenReader = watched.WaitFor(other.dds.topicName);
  ASSERT_TRUE(seenReader);
  EXPECT_FALSE(seenReader->isWriter || seenReader->isKeyed);
  EXPECT_EQ(seenReader->qos.reliability, maintaind::ReliabilityKind::kBestEffort);
  EXPECT_EQ(seenReader->partition, "");

  std::move(writer).Value().reset();
  EXPECT_TRUE(Eventually([&] { return !watched.Find(event.dds.topicName); })) << "an endpoint goes alone";
  EXPECT_TRUE(watched.Find(other.dds.topicName));
  EXPECT_FALSE(watched.IsGone(seen->participantGuid));
  std::move(reader).Value().reset();
  EXPECT_TRUE(Eventually([&] { return watched.IsGone(seen->participantGuid); })) << "the last takes the participant";
}

TEST(DiscoveryWatcher, EndpointsUseAndAnnounceTheTransportsOfTheirEventOnly) {
  Watched watched;
  const auto watcher = DiscoveryWatcher::Create(test::DomainOfThisProcess(), "", watched.Callbacks());
  ASSERT_TRUE(watcher);
  ParticipantPool pool("the application");
  DdsTransport transport(pool);
  struct Case {
    std::vector<TransportQos> wanted, used, announced;
  };
  constexpr auto kUdp = TransportQos::kUdp;
  constexpr auto kShm = TransportQos::kShm;
  for (const Case& each : {Case{{}, {kUdp, kShm}, {kUdp, kShm}}, Case{{kUdp}, {kUdp}, {kUdp}},
                           Case{{TransportQos::kIcc, kUdp, TransportQos::kPcie}, {kUdp}, {kUdp}},
                           Case{{TransportQos::kFshm}, {TransportQos::kFshm}, {kShm}},
                           Case{{TransportQos::kDshm, kUdp}, {TransportQos::kDshm, kUdp}, {kUdp, kShm}}}) {
    EventInfo written = DdsEvent(each.wanted);
    written.dds.networkIp = "127.0.5.5";
    const EventInfo read = DdsEvent(each.wanted);
    const auto writer = transport.CreateWriter(written);
    const auto reader = transport.CreateReader(read, {}, [](const com::RecvBuffer&) {});
    ASSERT_TRUE(writer && reader);
    EXPECT_EQ(writer.Value()->Used().dds.networkIp, "127.0.0.1");
    EXPECT_EQ(writer.Value()->Used().dds.transports, each.used);
    for (const std::string& topic : {written.dds.topicName, read.dds.topicName}) {
      const auto seen = watched.WaitFor(topic);
      ASSERT_TRUE(seen);
      EXPECT_THAT(seen->transports, testing::UnorderedElementsAreArray(each.announced)) << topic;
    }
  }
}

}  // namespace
}  // namespace qor::dds
