// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/registrations.h"

namespace qor::maintaind {
namespace {

using test::DdsEvent;
using test::Publish;
using test::Subscribe;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kProvider = EntityRole::kProvider;
constexpr auto kConsumer = EntityRole::kConsumer;

class RegistryTest : public testing::Test, protected RegistryListener {
 protected:
  void OnDomain(std::uint16_t domainId) override { domains_.push_back(domainId); }
  /// A program with one node of the same name, which publishes (">speed") and subscribes ("<speed"), with ids from 1.
  void Start(ConnectionId connection, const std::string& node, const std::vector<std::string>& events = {}) {
    ASSERT_TRUE(registry_.Open(connection, {100 + static_cast<std::uint32_t>(connection), "vehicle:qor", ""}, "app"));
    ASSERT_TRUE(registry_.RegisterNode(connection, node));
    std::uint32_t id = 0;
    for (const std::string& event : events) {
      Register(connection, (event[0] == '>' ? Publish : Subscribe)(++id, node, event.substr(1)));
    }
  }
  static EventRegistration SomeipEvent(std::uint32_t id, EntityRole role, const std::string& node,
                                       const std::string& name, const std::string& ip = "") {
    auto event = DdsEvent(id, role, node, name);
    event.info.bindings.clear();
    auto& someip = event.info.bindings[DriverType::kSomeip].someip;
    someip.serviceId = 0x55;
    someip.eventId = static_cast<std::uint16_t>(0x8000 + id);
    someip.networkIp = ip;
    return event;
  }
  template <class Registration>
  void Register(ConnectionId connection, Registration registration) {
    const auto result = registry_.Register(connection, std::move(registration));
    ASSERT_TRUE(result) << result.Error().Message();
  }
  /// "name: publisher (offline) <- subscriber subscriber", a line an event. In one revision it is always the same.
  std::string Events(const std::string& name = "ALL") {
    std::string text;
    for (const auto& event : registry_.Events(name)) {
      text += event.eventName + ": " + event.publisher +
              (event.publisher.empty() || event.isPublisherOnline ? "" : " (offline)") + " <-";
      for (const auto& subscriber : event.subscribers) {
        text += " " + subscriber;
      }
      text += "\n";
    }
    const auto told = told_.emplace(std::pair(registry_.Revision(), name), text).first;
    EXPECT_EQ(told->second, text) << "the revision has not changed";
    return text;
  }
  template <class Change>
  void ExpectNewRevision(Change change) {
    const auto before = registry_.Revision();
    change();
    EXPECT_NE(registry_.Revision(), before);
  }

  Registry registry_{{.instance = 7, .hostDomainName = "GEA", .maxOffline = 3, .maxNodes = 2, .maxEntities = 5}};
  std::vector<std::uint16_t> domains_;  // of which the registry told its listener
  std::map<std::pair<std::uint64_t, std::string>, std::string> told_;
};

TEST_F(RegistryTest, JoinsPublishersAndSubscribersOfOneEvent) {
  registry_.SetListener(this);
  Start(2, "/dash", {"<speed"});
  Start(1, "/speed", {">speed", ">gear"});
  Start(3, "/log", {"<speed", "<speed"});
  Register(3, DdsEvent(3, kConsumer, "/log", "speed", 0x10, 5));
  Register(2, DdsEvent(2, kConsumer, "/dash", "speed", 0x10, 5));
  Register(3, DdsEvent(4, kConsumer, "/log", "gear", 0x11));
  EXPECT_EQ(Events(),
            "/speed: /speed <- /dash /log\n"
            "/gear: /speed <-\n"
            "/speed:  <- /log /dash\n"
            "/gear:  <- /log\n");
  EXPECT_EQ(Events("/gear"), "/gear: /speed <-\n/gear:  <- /log\n");
  EXPECT_EQ(Events("/gea"), "");

  const EventInfoWithPubSub speed = registry_.Events("/speed").front();
  EXPECT_EQ(speed.applicationName, "app");
  EXPECT_EQ(speed.maintaindInstance, 7);
  EXPECT_EQ(speed.hostDomainName, "GEA");
  EXPECT_THAT(domains_, ElementsAre(0, 0, 0, 0, 0, 5, 5, 0));
}

TEST_F(RegistryTest, JoinsByEitherBinding) {
  Start(1, "/radar");
  Start(2, "/fusion");
  auto published = Publish(1, "/radar", "objects");
  auto& someip = published.info.bindings[DriverType::kSomeip].someip;
  someip.serviceId = 0x77;
  someip.eventId = 0x8001;
  someip.instanceShortName = "front";
  auto subscribed = published;
  subscribed.role = kConsumer;
  subscribed.info.nodeName = "/fusion";
  subscribed.info.bindings.erase(DriverType::kDds);
  Register(1, published);
  Register(2, subscribed);
  subscribed.id = 2;
  subscribed.info.bindings[DriverType::kSomeip].someip.eventId = 0x8002;
  Register(2, subscribed);
  EXPECT_EQ(Events(), "/objects: /radar <- /fusion\n/objects:  <- /fusion\n");
  EXPECT_EQ(registry_.Events("ALL").front().instanceShortName, "front");
}

TEST_F(RegistryTest, ClosedConnectionLeavesItsPublishersOfflineAndNothingElse) {
  Start(1, "/speed", {">speed", "<gear"});
  Start(2, "/dash", {"<speed"});
  registry_.Close(1);
  EXPECT_EQ(Events(), "/speed: /speed (offline) <- /dash\n");
  registry_.Close(2);
  EXPECT_EQ(Events(), "/speed: /speed (offline) <-\n");
  Start(3, "/speed", {">speed"});
  EXPECT_EQ(Events(), "/speed: /speed <-\n");
  Start(4, "/speed", {">speed"});
  registry_.Close(3);
  EXPECT_EQ(Events(), "/speed: /speed <-\n") << "it came back before its old connection ended";
  registry_.Close(4);
  EXPECT_EQ(Events(), "/speed: /speed (offline) <-\n");
}

TEST_F(RegistryTest, SubscriberIsNeverListedWithAnOnlineAndAnOfflinePublisher) {
  Start(1, "/left", {">speed"});
  Start(2, "/right", {">speed"});
  Start(4, "/third", {">speed"});
  Start(3, "/dash", {"<speed"});
  registry_.Close(1);
  EXPECT_EQ(Events(), "/speed: /right <- /dash\n/speed: /third <- /dash\n/speed: /left (offline) <-\n");
  registry_.Close(4);
  registry_.Close(2);
  EXPECT_EQ(Events(), "/speed: /left (offline) <- /dash\n/speed: /third (offline) <-\n/speed: /right (offline) <-\n");
}

TEST_F(RegistryTest, WhatIsUnregisteredIsForgotten) {
  Start(1, "/a", {">speed"});
  ExpectNewRevision([this] { ASSERT_TRUE(registry_.RegisterNode(1, "/b")); });
  Register(1, Publish(2, "/b", "gear"));
  Register(1, Publish(3, "/b", "brake"));
  EXPECT_TRUE(registry_.UnregisterEntity(1, 3));
  EXPECT_EQ(Events(), "/speed: /a <-\n/gear: /b <-\n");
  EXPECT_TRUE(registry_.UnregisterNode(1, "/b"));
  EXPECT_EQ(Events(), "/speed: /a <-\n");
  registry_.Close(1);
  EXPECT_EQ(Events(), "/speed: /a (offline) <-\n");
}

TEST_F(RegistryTest, RefusesWhatIsOutOfOrder) {
  const auto expect = [](const std::string& reason, const ara::core::Result<void>& result) {
    EXPECT_FALSE(result) << reason;
    EXPECT_THAT(result ? "" : result.Error().Message(), testing::HasSubstr(reason));
  };
  expect("Hello must come first", registry_.RegisterNode(1, "/a"));
  expect("Hello must come first", registry_.Register(1, Publish(1, "/a", "t")));
  Start(1, "/a", {">t", ">t", ">t", ">t"});
  expect("the application has said Hello already", registry_.Open(1, {}, "app"));
  expect("the application has a node '/a' already", registry_.RegisterNode(1, "/a"));
  expect("1 to 5000 characters, this one has 0", registry_.RegisterNode(1, ""));
  expect("1 to 5000 characters, this one has 5001", registry_.RegisterNode(1, std::string(5001, 'x')));
  expect("the node '/b' of the event '/t' is not registered", registry_.Register(1, Publish(5, "/b", "t")));
  expect("the role must be 0 or 1, not 2", registry_.Register(1, DdsEvent(5, static_cast<EntityRole>(2), "/a", "t")));
  expect("the id 1 is in use already", registry_.Register(1, test::SomeipMethod(1, kProvider, "/a", "/m", 1)));
  expect("nothing is registered under the id 5", registry_.UnregisterEntity(1, 5));
  EXPECT_TRUE(registry_.RegisterNode(1, "/b"));
  expect("an application can have 2 nodes at most", registry_.RegisterNode(1, "/c"));
  Register(1, Publish(5, "/a", "t"));
  expect("an application can register 5 entities at most", registry_.Register(1, Publish(6, "/a", "t")));
}

TEST_F(RegistryTest, NodesTellTheirProcessAndEntities) {
  Start(1, "/speed", {">speed"});
  Register(1, test::SomeipMethod(2, kConsumer, "/speed", "/reset", 5));
  Start(2, "/dash", {"<speed"});
  NodeInfoWithAppName expected = registry_.Nodes("/speed").at(0);
  EXPECT_EQ(expected.processId, 101U);
  EXPECT_EQ(expected.identity + expected.applicationName, "vehicle:qorapp");
  EXPECT_EQ(expected.maintaindInstance, 7);
  EXPECT_TRUE(expected.isOnline);
  EXPECT_THAT(expected.entities,
              ElementsAre(NodeEntityInfo{EntityKind::kEvent, kProvider, "/speed", DriverType::kDds},
                          NodeEntityInfo{EntityKind::kMethod, kConsumer, "/reset", DriverType::kSomeip}));
  registry_.Close(1);
  registry_.Close(2);
  expected.isOnline = false;
  expected.entities.pop_back();
  EXPECT_THAT(registry_.Nodes("ALL"), ElementsAre(expected)) << "a node stays for its offline publishers only";
}

TEST_F(RegistryTest, SubscriberNodesAreFoundByTheEventsNumbers) {
  Start(1, "/dash", {"<speed"});
  Start(2, "/log", {"<gear"});
  Register(2, SomeipEvent(2, kConsumer, "/log", "brake"));
  const auto find = [this](const std::string& topic, auto change) {
    QuerySubEventInfoIndex index;
    index.topicName = topic;
    change(index);
    std::string names;
    for (const auto& node : registry_.SubscriberNodes(index).subscribers) {
      names += node.nodeName + ":" + std::to_string(node.processId) + " ";
    }
    return names;
  };
  EXPECT_EQ(find("gear", [](auto&) {}), "/log:102 ") << "a foreign event has a topic and no service";
  EXPECT_EQ(find("speed", [](auto& index) { index.ddsServiceId = 0x10, index.ddsInstanceId = 1; }), "/dash:101 ");
  EXPECT_EQ(find("speed", [](auto& index) { index.domainId = 3; }), "");
  EXPECT_EQ(find("notopic", [](auto&) {}), "");
  EXPECT_EQ(find("notopic", [](auto& index) { index.someipServiceId = 0x55, index.eventId = 0x8002; }), "/log:102 ");
}

TEST_F(RegistryTest, ForeignEndpointsMeetRegisteredOnesByTopic) {
  const auto foreign = [](const std::string& topic) {
    EventRegisterInfo info = Publish(0, "", topic).info;
    DDSEventInfo& dds = info.bindings[DriverType::kDds].dds;
    dds.serviceId = dds.instanceId = 0;
    dds.isForeign = true;
    return info;
  };
  Start(1, "/speed", {">speed"});
  Start(2, "/dash", {"<scan"});
  auto liar = Subscribe(2, "/dash", "speed");
  liar.info.bindings[DriverType::kDds].dds.serviceId = 0x99;
  liar.info.bindings[DriverType::kDds].dds.isForeign = true;
  Register(2, liar);
  registry_.SetForeign("w1", kProvider, "dds:lidar:1", foreign("scan"));
  registry_.SetForeign("r1", kConsumer, "dds:view:2", foreign("speed"));
  registry_.SetForeign("r2", kConsumer, "dds:view:2", foreign("speed"));
  EXPECT_EQ(Events(),
            "/speed: /speed <- dds:view:2\n"
            "/scan: dds:lidar:1 <- /dash\n"
            "/speed:  <- /dash\n")
      << "an application cannot claim to be foreign";
  registry_.SetForeign("w1", kProvider, "dds:lidar:1", foreign("cloud"));
  registry_.RemoveForeign("r1");
  registry_.RemoveForeign("r2");
  EXPECT_EQ(Events(), "/speed: /speed <-\n/cloud: dds:lidar:1 <-\n/scan:  <- /dash\n/speed:  <- /dash\n");
  registry_.RemoveForeign("w1");
  EXPECT_EQ(Events("/cloud"), "") << "a foreign publisher does not stay as an offline one";
}

TEST_F(RegistryTest, ForeignProvidersStayOfflineUntilTheyAreRemoved) {
  const auto event = [](const std::string& topic) { return Publish(0, "", topic).info; };
  Start(1, "/dash", {"<speed"});
  registry_.SetForeign("a", kProvider, "someip:a", event("speed"));
  registry_.SetForeignOffline("a", "someip:a", event("speed"));
  registry_.SetForeignOffline("b", "someip:a", event("speed"));
  EXPECT_EQ(Events(), "/speed: someip:a (offline) <- /dash\n/speed: someip:a (offline) <-\n")
      << "each id is a provider of its own";
  registry_.SetForeign("a", kProvider, "someip:a", event("speed"));
  registry_.RemoveForeign("b");
  EXPECT_EQ(Events(), "/speed: someip:a <- /dash\n");
  registry_.RemoveForeign("a");
  EXPECT_EQ(Events(), "/speed:  <- /dash\n");
  for (const char* id : {"1", "2", "3", "4"}) {
    registry_.SetForeignOffline(id, "someip:a", event(id));
  }
  EXPECT_EQ(Events(),
            "/2: someip:a (offline) <-\n/3: someip:a (offline) <-\n/4: someip:a (offline) <-\n/speed:  <- /dash\n")
      << "no more than allowed";
  registry_.RemoveForeign("1");
  EXPECT_EQ(registry_.Events("ALL").size(), 4U) << "it was forgotten already";
}

TEST_F(RegistryTest, LocalSomeipBindingsAreListedWithTheHostsNetwork) {
  const auto networkOf = [this](const std::string& event) {
    const auto someip = registry_.Events(event).at(0).bindings.at(DriverType::kSomeip).someip;
    return someip.networkIp + "/" + someip.subnetMask;
  };
  com::Deployment deployment;
  deployment.methods = {test::SomeipMethod(0, kProvider, "", "/reset", 1).info};
  registry_.SetDeployment(deployment);
  Start(1, "/a");
  Register(1, SomeipEvent(1, kProvider, "/a", "unset"));
  Register(1, SomeipEvent(2, kConsumer, "/a", "set", "10.9.9.9"));
  Register(1, SomeipEvent(5, kProvider, "/a", "loopback", "127.0.0.1"));
  FieldRegistration field{3, kProvider, {}};
  field.info.fieldName = "Limit";
  field.info.nodeName = "/a";
  field.info.bindings[DriverType::kSomeip].hasGetter = true;
  Register(1, field);
  ServiceRegistration service{4, kProvider, {}};
  service.info.serviceName = "Motor";
  service.info.nodeName = "/a";
  service.info.bindings = {{DriverType::kDds, {}}, {DriverType::kSomeip, {}}};
  Register(1, service);
  registry_.SetForeign("f", kProvider, "someip:f", SomeipEvent(9, kProvider, "", "foreign", "127.0.0.2").info);
  EXPECT_EQ(networkOf("/unset"), "127.0.0.1/255.0.0.0");

  ExpectNewRevision([this] { registry_.SetNetwork("10.0.0.1", "255.255.0.0"); });
  EXPECT_EQ(networkOf("/unset"), "10.0.0.1/255.255.0.0");
  EXPECT_EQ(networkOf("/loopback"), "127.0.0.1/") << "it is for this host only";
  EXPECT_EQ(networkOf("/set"), "10.9.9.9/") << "it was told where";
  EXPECT_EQ(networkOf("/foreign"), "127.0.0.2/") << "it is not of this host";
  const auto limit = registry_.Fields("Limit").at(0).bindings.at(DriverType::kSomeip).someip;
  EXPECT_EQ(limit.setGet.getter.networkIp + limit.notify.event.networkIp, "10.0.0.1") << "there is no notifier";
  EXPECT_EQ(registry_.Methods("/reset").at(0).bindings.at(DriverType::kSomeip).someip.subnetMask, "255.255.0.0");
  const auto motor = registry_.Services("Motor").at(0).bindings;
  EXPECT_EQ(motor.at(DriverType::kSomeip).networkIp + motor.at(DriverType::kDds).networkIp, "10.0.0.1");
  registry_.Close(1);
  registry_.SetNetwork("", "");
  EXPECT_EQ(networkOf("/unset"), "127.0.0.1/255.0.0.0");
}

TEST_F(RegistryTest, DeployedEntitiesAreListedUntilSomebodyRegistersThem) {
  com::Deployment deployment;
  deployment.methods = {test::SomeipMethod(0, kProvider, "", "/reset", 1).info,
                        test::SomeipMethod(0, kProvider, "", "/stop", 2).info};
  deployment.events = {Publish(0, "", "speed").info};
  deployment.events[0].dataTypeName = "Speed";
  deployment.services.resize(1);
  deployment.fields.resize(1);
  registry_.SetDeployment(deployment);
  EXPECT_THAT(registry_.Events("ALL"), IsEmpty()) << "an event of nobody would only confuse";
  EXPECT_EQ(registry_.Services("ALL").size(), 1U);
  EXPECT_EQ(registry_.Fields("ALL").size(), 1U);
  const auto reset = registry_.Methods("/reset");
  ASSERT_EQ(reset.size(), 1U);
  EXPECT_EQ(reset[0].server, "");
  EXPECT_EQ(reset[0].maintaindInstance, 7);

  Start(1, "/motor");
  Start(2, "/panel");
  Register(1, test::SomeipMethod(1, kProvider, "/motor", "/motor/reset", 1));
  Register(2, test::SomeipMethod(1, kConsumer, "/panel", "/reset", 1));
  const auto methods = registry_.Methods("ALL");
  ASSERT_EQ(methods.size(), 2U) << "one of another name and the same numbers is the same";
  EXPECT_EQ(methods[0].server, "/motor");
  EXPECT_TRUE(methods[0].isServerOnline);
  EXPECT_THAT(methods[0].clients, ElementsAre("/panel"));
  EXPECT_EQ(methods[1].methodName, "/stop");

  registry_.SetForeign("w", kProvider, "dds:x:1", Publish(0, "", "speed").info);
  EXPECT_EQ(registry_.Events("/speed").front().dataTypeName, "Speed") << "the deployment knows the type of a topic";
}

}  // namespace
}  // namespace qor::maintaind
