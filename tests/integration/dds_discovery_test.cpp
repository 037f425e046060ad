// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include "platform/dds/dds_transport.h"
#include "platform/dds/discovery_watcher.h"
#include "tests/support/child_process.h"
#include "tests/support/received_samples.h"

namespace qor::dds {
namespace {

using maintaind::EventInfo;
using maintaind::TransportQos;
using test::DdsEvent;
using test::ReceivedSamples;
using test::WaitUntil;
using testing::ElementsAre;
using testing::Not;

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
    WaitUntil([&] { return Find(topicName).has_value(); });
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

std::unique_ptr<DiscoveryWatcher> Watch(Watched& watched) {
  auto watcher = DiscoveryWatcher::Create(test::DomainOfThisProcess(), "", watched.Callbacks());
  EXPECT_TRUE(watcher) << watcher.Error().Message();
  return watcher ? std::move(watcher).Value() : nullptr;
}

TEST(DiscoveryWatcher, TellsAllThatAnEndpointAnnounces) {
  Watched watched;
  const auto watcher = Watch(watched);
  EXPECT_THAT(watcher->ParticipantGuid(), testing::MatchesRegex("[0-9a-f]{24}"));
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
  EXPECT_TRUE(seen->isWriter);
  EXPECT_TRUE(seen->isKeyed);
  EXPECT_EQ(seen->domainId, event.dds.domainId);
  EXPECT_EQ(seen->typeName, event.dds.typeName);
  EXPECT_EQ(seen->partition, "p1,p2");
  EXPECT_EQ(seen->participantName, "the application");
  EXPECT_EQ(seen->participantGuid, writer.Value()->Used().dds.participantGuid);
  EXPECT_EQ(seen->guid.substr(0, 24), seen->participantGuid);
  EXPECT_EQ(seen->guid.size(), 32U);
  EXPECT_EQ(seen->qos.durability, maintaind::DurabilityQos::kTransientLocal);
  EXPECT_EQ(seen->qos.reliability, maintaind::ReliabilityKind::kReliable);
  EXPECT_EQ(seen->address, "127.0.0.1");

  EventInfo other = DdsEvent();
  other.dds.qos.reliability = maintaind::ReliabilityKind::kBestEffort;
  auto reader = transport.CreateReader(other, {}, [](const com::RecvBuffer&) {});
  ASSERT_TRUE(reader);
  const auto seenReader = watched.WaitFor(other.dds.topicName);
  ASSERT_TRUE(seenReader);
  EXPECT_FALSE(seenReader->isWriter);
  EXPECT_FALSE(seenReader->isKeyed);
  EXPECT_EQ(seenReader->qos.reliability, maintaind::ReliabilityKind::kBestEffort);
  EXPECT_EQ(seenReader->partition, "");

  std::move(writer).Value().reset();
  EXPECT_TRUE(WaitUntil([&] { return !watched.Find(event.dds.topicName); })) << "an endpoint goes alone";
  EXPECT_TRUE(watched.Find(other.dds.topicName));
  EXPECT_FALSE(watched.IsGone(seen->participantGuid));
  std::move(reader).Value().reset();
  EXPECT_TRUE(WaitUntil([&] { return watched.IsGone(seen->participantGuid); })) << "the last takes the participant";
}

TEST(DiscoveryWatcher, SeesForeignProgramsComeAndDie) {
  Watched watched;
  const auto watcher = Watch(watched);
  const std::string topic = test::UniqueName("foreign");
  test::ChildProcess program({std::string(QOR_FOREIGN_PROGRAMS) + "/fastdds_publisher",
                              std::to_string(test::DomainOfThisProcess()), topic, "100", "ForeignType"});
  const auto seen = watched.WaitFor(topic);
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->typeName, "ForeignType");
  EXPECT_EQ(seen->participantName, "foreign fastdds");
  EXPECT_THAT(seen->transports, ElementsAre(TransportQos::kUdp));

  ParticipantPool pool("ours");
  DdsTransport transport(pool);
  EventInfo event = DdsEvent();
  event.dds.topicName = topic;
  event.dds.typeName = "ForeignType";
  ReceivedSamples received;
  const auto reader = transport.CreateReader(event, {}, received.Handler());
  ASSERT_TRUE(reader);
  ASSERT_TRUE(received.WaitForCount(10));
  EXPECT_EQ(received.Samples()[0].payload.size(), 4U);

  program.Signal(SIGKILL);
  EXPECT_TRUE(WaitUntil([&] { return watched.IsGone(seen->participantGuid); }));
  EXPECT_TRUE(WaitUntil([&] { return reader.Value()->MatchedWriters() == 0; }));
}

TEST(DiscoveryWatcher, SeesAndReadsAnotherImplementation) {
  const std::string path = std::string(QOR_FOREIGN_PROGRAMS) + "/cyclone_publisher";
  if (::access(path.c_str(), X_OK) != 0) {
    GTEST_SKIP() << "the other implementation is not installed";
  }
  Watched watched;
  const auto watcher = Watch(watched);
  const std::string topic = test::UniqueName("foreign");
  const test::ChildProcess program({path, std::to_string(test::DomainOfThisProcess()), topic, "100"});
  const auto seen = watched.WaitFor(topic);
  ASSERT_TRUE(seen);
  EXPECT_TRUE(seen->isKeyed);
  ParticipantPool pool("ours");
  DdsTransport transport(pool);
  EventInfo event = DdsEvent();
  event.dds.topicName = topic;
  event.dds.typeName = seen->typeName;
  event.dds.isKeyed = seen->isKeyed;
  ReceivedSamples received;
  const auto reader = transport.CreateReader(event, {}, received.Handler());
  ASSERT_TRUE(reader);
  ASSERT_TRUE(received.WaitForCount(10));
  EXPECT_THAT(received.Samples()[3].payload, Not(received.Samples()[2].payload));
}

TEST(DiscoveryWatcher, RefusesAnAddressThatIsNotOfThisHost) {
  const auto watcher = DiscoveryWatcher::Create(30, "192.0.2.9", {});
  ASSERT_FALSE(watcher);
  EXPECT_EQ(watcher.Error().Value(), static_cast<int>(com::TransportError::kNoNetwork));
  EXPECT_THAT(watcher.Error().Message(), testing::HasSubstr("192.0.2.9"));
}

}  // namespace
}  // namespace qor::dds
