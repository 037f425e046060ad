// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/dds_monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "platform/log/log_capture.h"
#include "platform/maintaind/daemon/foreign_event.h"
#include "tests/support/eventually.h"

namespace qor::maintaind {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kLidar = "aa000000deadbeef00000000";

/// Stands for DDS discovery: the test says what is seen.
class FakeDiscovery {
 public:
  DomainWatchFactory Factory() {
    return [this](std::uint16_t domain, const std::string& interfaceIp,
                  dds::DiscoveryWatcher::Callbacks callbacks) -> ara::core::Result<std::unique_ptr<DomainWatch>> {
      const std::lock_guard lock(mutex_);
      log_ += std::to_string(domain) + "@" + interfaceIp + ";";
      if (domain == failing) {
        return ara::core::ErrorCode(1, "no such network");
      }
      callbacks_[domain] = std::move(callbacks);
      return std::unique_ptr<DomainWatch>(std::make_unique<Watch>());
    };
  }
  dds::DiscoveryWatcher::Callbacks& In(std::uint16_t domain) {
    const std::lock_guard lock(mutex_);
    return callbacks_.at(domain);
  }
  std::string Log() {
    const std::lock_guard lock(mutex_);
    return log_;
  }

  std::uint16_t failing = 99;

 private:
  class Watch : public DomainWatch {};

  std::mutex mutex_;
  std::string log_;
  std::map<std::uint16_t, dds::DiscoveryWatcher::Callbacks> callbacks_;
};

dds::DiscoveredEndpoint Endpoint(const std::string& number, bool isWriter, const std::string& participant = kLidar) {
  dds::DiscoveredEndpoint endpoint;
  endpoint.guid = participant + number;
  endpoint.participantGuid = participant;
  endpoint.participantName = "lidar";
  endpoint.isWriter = isWriter;
  endpoint.topicName = "rt/scan";
  endpoint.typeName = "Scan";
  endpoint.transports = {TransportQos::kShm, TransportQos::kUdp};
  endpoint.address = "127.0.0.1";
  endpoint.isKeyed = true;
  endpoint.partition = "p";
  return endpoint;
}

class DdsMonitorTest : public testing::Test {
 protected:
  void Start(DdsMonitorOptions options = {}, std::size_t lines = 1) {
    monitor_ = std::make_unique<DdsMonitor>(loop_, registry_, std::move(options), discovery_.Factory());
    monitor_->Start();
    RunUntilWatched(lines);
  }
  /// Handles what is posted until `lines` lines about watched domains were written.
  void RunUntilWatched(std::size_t lines) {
    ASSERT_TRUE(test::Eventually([&] {
      Run();
      return log_.CountContaining("watched") == lines;
    }));
  }
  void Run() {
    loop_.restart();
    loop_.poll();
  }
  std::vector<std::string> Listed() {
    Run();
    std::vector<std::string> lines;
    for (const auto& event : registry_.Events("ALL")) {
      lines.push_back(event.eventName + " " + event.publisher + " <- " + testing::PrintToString(event.subscribers));
    }
    return lines;
  }

  log::LogCapture log_;
  asio::io_context loop_;
  FakeDiscovery discovery_;
  Registry registry_{{}};
  std::unique_ptr<DdsMonitor> monitor_;
};

TEST_F(DdsMonitorTest, ListsForeignEndpointsWhileTheirProgramLives) {
  Start();
  discovery_.In(0).onEndpoint(Endpoint("00000001", true));
  discovery_.In(0).onEndpoint(Endpoint("00000002", false, "bb000000cafecafe00000000"));
  auto ofPlatform = Endpoint("00000003", true);
  ofPlatform.isOfPlatform = true;
  discovery_.In(0).onEndpoint(ofPlatform);
  EXPECT_THAT(Listed(), ElementsAre("/rt/scan dds:lidar:deadbeef <- { \"dds:lidar:cafecafe\" }"));
  const EventInfoWithPubSub event = registry_.Events("/rt/scan").front();
  EXPECT_EQ(event.applicationName, "dds");
  const DDSEventInfo& dds = event.bindings.at(DriverType::kDds).dds;
  EXPECT_TRUE(dds.isForeign && dds.isKeyed);
  EXPECT_EQ(dds.topicName + dds.typeName + dds.networkIp + dds.partition, "rt/scanScan127.0.0.1p");
  EXPECT_THAT(dds.transports, ElementsAre(TransportQos::kShm, TransportQos::kUdp));
  EXPECT_EQ(dds.participantGuid, kLidar);

  discovery_.In(0).onEndpointGone("bb000000cafecafe0000000000000002");
  EXPECT_THAT(Listed(), ElementsAre("/rt/scan dds:lidar:deadbeef <- {}"));
  discovery_.In(0).onParticipantGone(kLidar);
  EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(DdsMonitorTest, WatchesTheDomainsThatApplicationsUse) {
  Start();
  monitor_->OnDomain(7);
  monitor_->OnDomain(7);
  monitor_->OnDomain(0);
  monitor_->OnDomain(233);
  RunUntilWatched(3);
  EXPECT_EQ(log_.Count(LogLevel::kWarn, "DDS domain 233 cannot be watched: the highest is 232."), 1U);
  EXPECT_EQ(discovery_.Log(), "0@;7@;");
  discovery_.In(7).onEndpoint(Endpoint("00000001", true));
  ASSERT_EQ(Listed().size(), 1U);
  EXPECT_EQ(registry_.Events("ALL").front().bindings.at(DriverType::kDds).dds.domainId, 7);
}

TEST_F(DdsMonitorTest, WatchesOnlyTheDomainsOfItsOptions) {
  discovery_.failing = 4;
  Start({.domains = {{3, 4}}, .interfaceIp = "10.0.0.1"}, 2);
  monitor_->OnDomain(0);
  RunUntilWatched(2);
  EXPECT_EQ(log_.Count(LogLevel::kError, "DDS domain 4 cannot be watched: no such network"), 1U);
  EXPECT_EQ(discovery_.Log(), "3@10.0.0.1;4@10.0.0.1;");
}

TEST_F(DdsMonitorTest, WhatDiscoverySaysAfterTheEndIsWithoutEffect) {
  Start();
  const auto callbacks = discovery_.In(0);
  callbacks.onEndpoint(Endpoint("00000001", true));
  monitor_->Stop();
  callbacks.onEndpoint(Endpoint("00000002", true));
  EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(DdsMonitorTest, ListsNoMoreForeignEndpointsThanAllowed) {
  Start({.maxEndpoints = 2});
  for (const char* number : {"00000001", "00000002", "00000003"}) {
    discovery_.In(0).onEndpoint(Endpoint(number, true));
  }
  EXPECT_EQ(Listed().size(), 2U);
  discovery_.In(0).onEndpoint(Endpoint("00000002", false));
  EXPECT_EQ(Listed().size(), 1U) << "one that is listed may change";
}

TEST(ForeignEvent, NamesAreMadeOfWhatNamesCanHave) {
  EXPECT_EQ(EventNameOfTopic("rt/scan"), "/rt/scan");
  EXPECT_EQ(EventNameOfTopic("/already/there"), "/already/there");
  EXPECT_EQ(EventNameOfTopic("a b:c-\xC3\xA4.Z9_"), "/a_b_c____Z9_");
  EXPECT_EQ(EventNameOfTopic(""), "/");
  auto endpoint = Endpoint("00000001", true);
  endpoint.participantName = "";
  EXPECT_EQ(ForeignNodeName(endpoint), "dds:unnamed:deadbeef");
  endpoint.participantName = "a\x1b[2Jb";
  endpoint.participantGuid = "0123456789";
  EXPECT_EQ(ForeignNodeName(endpoint), "dds:a_[2Jb:89");
  endpoint.participantGuid = "77";
  EXPECT_EQ(ForeignNodeName(endpoint), "dds:a_[2Jb:");
}

}  // namespace
}  // namespace qor::maintaind
