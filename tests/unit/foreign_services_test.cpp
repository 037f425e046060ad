// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/foreign_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/maintaind/daemon/daemon_offer.h"
#include "tests/support/registrations.h"

namespace qor::maintaind {
namespace {

using someip::Ipv4Address;
using someip::sd::RemoteService;
using someip::sd::ServiceKey;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr auto kStopped = RemoteService::State::kStopped;
constexpr auto kExpired = RemoteService::State::kExpired;
constexpr auto kRebooted = RemoteService::State::kRebooted;
constexpr ServiceKey kChassis{.service = 0x0101, .instance = 1, .major = 2};
constexpr ServiceKey kOne{.service = 1, .instance = 1, .major = 1};
constexpr ServiceKey kTwo{.service = 2, .instance = 1, .major = 1};
constexpr ServiceKey kThree{.service = 3, .instance = 1, .major = 1};
constexpr ServiceKey kDaemon{.service = 0xF0A1, .instance = 3, .major = 1};

Ipv4Address Address(const std::string& text) { return *Ipv4Address::FromText(text); }

/// One that can be used also when it is a daemon's.
RemoteService OfferOf(const ServiceKey& key, const std::string& host = "10.0.0.2") {
  RemoteService offer;
  offer.key = key;
  offer.minor = 7;
  offer.host = Address(host);
  if (IsToolsService(key)) {
    offer.endpoints.tcp = {.address = Address(host), .port = 30500};
    offer.configuration = {{.key = "instance", .value = "0"}};
  } else {
    offer.endpoints.udp = {.address = Address(host), .port = 30501};
  }
  offer.ttl = 3;
  return offer;
}

/// A service with DDS besides, an event over UDP with DDS besides, and one over TCP.
com::Deployment Deployed() {
  com::Deployment deployment;
  ServiceRegisterInfo& service = deployment.services.emplace_back();
  service.serviceName = "Chassis";
  service.applicationName = "chassis";
  service.eventNames = {"/speed", "/gear"};
  service.bindings[DriverType::kDds].serviceId = 0x0101;
  ServiceInfo& binding = service.bindings[DriverType::kSomeip];
  binding.serviceId = 0x0101;
  binding.instanceId = 1;
  binding.majorVersion = 2;
  deployment.events = {test::Publish(0, "", "speed").info, test::Publish(0, "", "gear").info};
  deployment.events[1].bindings.clear();
  for (EventRegisterInfo& event : deployment.events) {
    event.dataTypeName = "Number";
    SomeipEventInfo& someip = event.bindings[DriverType::kSomeip].someip;
    someip.serviceId = 0x0101;
    someip.instanceId = 1;
    someip.majorVersion = 2;
    someip.eventId = event.eventName == "/speed" ? 0x8001 : 0x8002;
    someip.isReliable = event.eventName == "/gear";
    someip.udpPort = 1;
    someip.eventGroupIds = {5};
  }
  return deployment;
}

class ForeignServicesTest : public testing::Test {
 protected:
  void Tell(const RemoteService& offer) {
    foreign_.OnOffer(offer);
    foreign_.Refresh();
  }
  void Offer(const ServiceKey& key, const std::string& host = "10.0.0.2") { Tell(OfferOf(key, host)); }
  void End(const ServiceKey& key, RemoteService::State state, const std::string& host = "10.0.0.2") {
    RemoteService gone = OfferOf(key, host);
    gone.state = state;
    Tell(gone);
  }
  /// "name server state" for each service with a server, "(offline)" behind the server where it is.
  std::vector<std::string> Services() {
    std::vector<std::string> lines;
    for (const auto& service : registry_.Services("ALL")) {
      if (!service.server.empty()) {
        lines.push_back(service.serviceName + " " + service.server + (service.isServerOnline ? " " : " (offline) ") +
                        service.bindings.at(DriverType::kSomeip).offerState);
      }
    }
    return lines;
  }
  SomeipEventInfo Event(const std::string& name) {
    const auto events = registry_.Events(name);
    return events.size() == 1 ? events[0].bindings.at(DriverType::kSomeip).someip : SomeipEventInfo{};
  }
  bool Changes(const std::function<void()>& act) {
    const std::uint64_t before = registry_.Revision();
    act();
    return registry_.Revision() != before;
  }

  const com::Deployment deployment_ = Deployed();
  Registry registry_{{.instance = 7, .hostDomainName = "GEA"}};
  ForeignServices foreign_{registry_, deployment_, 2};
};

TEST_F(ForeignServicesTest, ListsADescribedOfferUnderItsNames) {
  registry_.SetDeployment(deployment_);
  ASSERT_TRUE(registry_.Open(1, {}, "app"));
  ASSERT_TRUE(registry_.RegisterNode(1, "/dash"));
  auto subscription = test::Subscribe(1, "/dash", "speed");
  subscription.info.bindings = {{DriverType::kSomeip, deployment_.events[0].bindings.at(DriverType::kSomeip)}};
  ASSERT_TRUE(registry_.Register(1, subscription));
  auto offer = OfferOf(kChassis);
  offer.endpoints.tcp = {.address = Address("10.0.0.9"), .port = 30502};
  Tell(offer);

  const auto speed = registry_.Events("/speed");
  ASSERT_EQ(speed.size(), 1U);
  EXPECT_TRUE(speed[0].isPublisherOnline);
  EXPECT_EQ(speed[0].publisher + " " + speed[0].nodeName, "someip:10.0.0.2 someip:10.0.0.2");
  EXPECT_THAT(speed[0].subscribers, ElementsAre("/dash"));
  EXPECT_EQ(speed[0].applicationName + speed[0].dataTypeName + speed[0].hostDomainName, "someipNumberGEA");
  EXPECT_EQ(speed[0].maintaindInstance, 7);
  EXPECT_EQ(speed[0].bindings.size(), 1U) << "the offer says nothing of DDS";
  const SomeipEventInfo event = Event("/speed");
  EXPECT_EQ(event.offerState + " " + event.offeringHost, "offered 10.0.0.2");
  EXPECT_EQ(event.networkIp + "/" + event.subnetMask, "10.0.0.2/255.255.255.255");
  EXPECT_THAT(
      (std::vector{event.majorVersion, event.minorVersion, std::uint32_t{event.udpPort}, std::uint32_t{event.tcpPort}}),
      ElementsAre(2, 7, 30501, 30502));
  EXPECT_THAT(event.eventGroupIds, ElementsAre(5));
  EXPECT_THAT(event.ttls, ElementsAre(3));
  EXPECT_EQ(event.peers.unicast, (std::vector<PeerUnicast>{{"10.0.0.2", 30501, false}, {"10.0.0.9", 30502, true}}));
  EXPECT_EQ(Event("/gear").networkIp, "10.0.0.9") << "it comes over TCP";

  EXPECT_THAT(Services(), ElementsAre("Chassis someip:10.0.0.2 offered"));
  const auto service = registry_.Services("Chassis").at(0);
  EXPECT_EQ(service.applicationName, "someip");
  EXPECT_THAT(service.eventNames, ElementsAre("/speed", "/gear"));
  const ServiceInfo& binding = service.bindings.at(DriverType::kSomeip);
  EXPECT_EQ(binding.networkIp + "/" + binding.subnetMask, "10.0.0.2/255.255.255.255");
  EXPECT_THAT((std::vector{binding.majorVersion, binding.minorVersion, binding.ttl}), ElementsAre(2, 7, 3));

  const auto node = registry_.Nodes("someip:10.0.0.2");
  ASSERT_EQ(node.size(), 1U);
  EXPECT_TRUE(node[0].isOnline);
  EXPECT_EQ(node[0].applicationName, "someip");
  EXPECT_EQ(node[0].entities.size(), 3U);
}

TEST_F(ForeignServicesTest, ListsWhatIsNotDescribedByItsNumbers) {
  Offer({.service = 0x0101, .instance = 1, .major = 1});
  auto withoutEndpoint = OfferOf({.service = 0xABCD, .instance = 0x20, .major = 1});
  withoutEndpoint.endpoints = {};
  Tell(withoutEndpoint);
  EXPECT_THAT(Services(), ElementsAre("service_0x0101_0x0001 someip:10.0.0.2 offered",
                                      "service_0xabcd_0x0020 someip:10.0.0.2 offered"));
  EXPECT_THAT(registry_.Events("ALL"), IsEmpty()) << "of another major version nothing is known";
  const ServiceInfo binding = registry_.Services("service_0xabcd_0x0020").at(0).bindings.at(DriverType::kSomeip);
  EXPECT_EQ(binding.serviceId, 0xABCD);
  EXPECT_EQ(binding.instanceId, 0x20);
  EXPECT_EQ(binding.networkIp, "10.0.0.2") << "the host's";
}

TEST_F(ForeignServicesTest, AnOfferThatEndedStaysListedUntilItComesAgain) {
  Offer(kChassis);
  End(kChassis, kStopped);
  EXPECT_THAT(Services(), ElementsAre("Chassis someip:10.0.0.2 (offline) stopped"));
  EXPECT_EQ(Event("/speed").offerState, "stopped");
  EXPECT_FALSE(registry_.Events("/speed").at(0).isPublisherOnline);
  ASSERT_EQ(registry_.Nodes("ALL").size(), 1U);
  EXPECT_FALSE(registry_.Nodes("ALL")[0].isOnline);
  Offer(kOne);
  ASSERT_EQ(registry_.Nodes("ALL").size(), 1U) << "one host is one node";
  EXPECT_TRUE(registry_.Nodes("ALL")[0].isOnline);
  Offer(kChassis, "10.0.0.3");
  EXPECT_THAT(registry_.Services("Chassis").at(0).server, "someip:10.0.0.3") << "it has moved";
  EXPECT_EQ(registry_.Events("ALL").size(), 2U);
  const auto expired = "Chassis someip:10.0.0.3 (offline) expired";
  End(kChassis, kRebooted, "10.0.0.3");
  EXPECT_THAT(Services(), testing::Contains(expired));
  Offer(kChassis, "10.0.0.3");
  EXPECT_THAT(Services(), testing::Not(testing::Contains(expired)));
  End(kChassis, kExpired, "10.0.0.3");
  EXPECT_THAT(Services(), testing::Contains(expired));
}

TEST_F(ForeignServicesTest, OnlyTheLatestThatEndedAreRemembered) {
  for (const ServiceKey& key : {kOne, kTwo, kThree}) {
    Offer(key);
  }
  End(kTwo, kStopped);
  End(kOne, kStopped);
  Offer(kTwo);
  End(kThree, kStopped);
  EXPECT_EQ(Services().size(), 3U);
  End(kTwo, kStopped);
  EXPECT_THAT(Services(), ElementsAre("service_0x0003_0x0001 someip:10.0.0.2 (offline) stopped",
                                      "service_0x0002_0x0001 someip:10.0.0.2 (offline) stopped"));
}

TEST_F(ForeignServicesTest, OnlyWhatIsNewChangesTheRegistry) {
  auto offer = OfferOf(kChassis);
  const auto changes = [&] { return Changes([&] { Tell(offer); }); };
  EXPECT_TRUE(changes());
  EXPECT_FALSE(changes());
  offer.configuration = {{.key = "color", .value = "red"}};
  EXPECT_FALSE(changes()) << "nothing of it is listed";
  offer.minor = 8;
  EXPECT_TRUE(changes());
  offer.ttl = 5;
  EXPECT_TRUE(changes());
  offer.endpoints.udp->port = 30503;
  EXPECT_TRUE(changes());
  EXPECT_EQ(Event("/speed").udpPort, 30503);
}

TEST_F(ForeignServicesTest, LeavesAHostToItsOwnDaemon) {
  const ServiceKey secondDaemon{.service = 0xF0A1, .instance = 4, .major = 1};
  Offer(kOne, "10.0.0.3");
  const auto elsewhere = "service_0x0001_0x0001 someip:10.0.0.3 offered";
  Offer(kChassis);
  Offer(kDaemon);
  Offer(secondDaemon);
  EXPECT_THAT(Services(), ElementsAre(elsewhere));
  EXPECT_THAT(registry_.Events("ALL"), IsEmpty());
  EXPECT_FALSE(Changes([&] { Offer(kTwo); })) << "the daemon came first";
  EXPECT_FALSE(Changes([&] { End(kChassis, kStopped); }));
  End(kDaemon, kExpired);
  EXPECT_THAT(Services(), ElementsAre(elsewhere)) << "there is a second one";
  End(secondDaemon, kStopped);
  EXPECT_THAT(Services(), UnorderedElementsAre(elsewhere, "service_0x0002_0x0001 someip:10.0.0.2 offered",
                                               "Chassis someip:10.0.0.2 (offline) stopped"));
  Offer(kChassis, "10.0.0.4");
  Offer(kDaemon, "10.0.0.4");
  EXPECT_THAT(Services(), UnorderedElementsAre(elsewhere, "service_0x0002_0x0001 someip:10.0.0.2 offered"));
}

TEST_F(ForeignServicesTest, WhatChangesToAndFroIsListedOnceAsItIsInTheEnd) {
  Offer(kOne);
  Offer(kTwo);
  const RemoteService daemon = OfferOf(kDaemon);
  RemoteService daemonGone = daemon;
  daemonGone.state = kStopped;
  RemoteService oneGone = OfferOf(kOne);
  oneGone.state = kStopped;
  const auto flap = [&] {
    for (int i = 0; i < 100; ++i) {
      for (const auto& offer : {daemon, oneGone, OfferOf(kOne, "10.0.0.3"), daemonGone, oneGone, OfferOf(kOne)}) {
        foreign_.OnOffer(offer);
      }
    }
  };
  EXPECT_FALSE(Changes(flap)) << "before it is told to";
  EXPECT_FALSE(Changes([&] { foreign_.Refresh(); })) << "all is as it was";
  flap();
  foreign_.OnOffer(oneGone);
  const std::uint64_t before = registry_.Revision();
  foreign_.Refresh();
  EXPECT_LE(registry_.Revision(), before + 2) << "one out, one in";
  EXPECT_THAT(Services(), UnorderedElementsAre("service_0x0001_0x0001 someip:10.0.0.2 (offline) stopped",
                                               "service_0x0002_0x0001 someip:10.0.0.2 offered"));
  flap();
  Tell(daemon);
  EXPECT_THAT(Services(), IsEmpty());
}

TEST_F(ForeignServicesTest, ADaemonThatCannotBeUsedHidesNothingAndIsNotListed) {
  Offer(kOne);
  const std::vector<std::function<void(RemoteService&)>> faults{
      [](RemoteService& offer) { offer.key.major = 2; },
      [](RemoteService& offer) { offer.configuration.clear(); },
      [](RemoteService& offer) { offer.configuration[0].value.reset(); },
      [](RemoteService& offer) { offer.configuration[0].value = "3x"; },
      [](RemoteService& offer) { offer.configuration[0].value = "65535"; },
      [](RemoteService& offer) { std::swap(offer.endpoints.udp, offer.endpoints.tcp); },
      [](RemoteService& offer) { offer.endpoints.tcp->address = Address("10.0.0.3"); },
  };
  for (std::size_t i = 0; i < faults.size(); ++i) {
    RemoteService offer = OfferOf(kDaemon);
    Tell(offer);
    EXPECT_THAT(Services(), IsEmpty());
    End(kDaemon, kStopped);
    faults[i](offer);
    Tell(offer);
    EXPECT_THAT(Services(), ElementsAre("service_0x0001_0x0001 someip:10.0.0.2 offered")) << "fault " << i;
  }
}

TEST_F(ForeignServicesTest, AddressesOfTheOwnNetworkHaveItsMask) {
  foreign_.SetOwnNetwork("10.0.0.1", "255.255.255.0");
  Offer(kChassis);
  EXPECT_EQ(Event("/speed").subnetMask, "255.255.255.0");
  foreign_.SetOwnNetwork("10.0.1.1", "255.255.255.0");
  EXPECT_EQ(Event("/speed").subnetMask, "255.255.255.255");
  End(kChassis, kStopped);
  foreign_.SetOwnNetwork("10.0.1.1", "255.255.0.0");
  EXPECT_EQ(Event("/speed").subnetMask, "255.255.0.0");
  foreign_.SetOwnNetwork("", "");
  EXPECT_EQ(Event("/speed").subnetMask, "255.255.255.255");
  EXPECT_THAT(Services(), ElementsAre("Chassis someip:10.0.0.2 (offline) stopped"));
}

}  // namespace
}  // namespace qor::maintaind
