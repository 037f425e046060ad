// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/log/log_capture.h"
#include "src/qorevent/export_builder.h"
#include "src/qorevent/export_json.h"
#include "src/qorevent/filter_conflict.h"
#include "src/qorevent/node_query.h"
#include "src/qorevent/qor_event.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EntityKind;
using maintaind::EntityRole;
using maintaind::EventInfoWithPubSub;
using maintaind::NodeInfoWithAppName;
using maintaind::TransportQos;
using Json = nlohmann::ordered_json;
using ::testing::ElementsAre;

std::vector<std::string> Keys(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) {
    keys.push_back(key);
  }
  return keys;
}

EventInfoWithPubSub DdsRecord() {
  EventInfoWithPubSub record;
  record.eventName = "/speed";
  record.resource = "speed_resource";
  record.publisher = "/pub";
  record.isPublisherOnline = true;
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.serviceId = 4660;
  dds.instanceId = 7;
  dds.domainId = 3;
  dds.topicName = "rt/speed";
  dds.networkIp = "10.1.2.3";
  dds.subnetMask = "255.255.0.0";
  dds.transports = {TransportQos::kUdp, TransportQos::kDshmMbuf};
  dds.isFshmMulticast = true;
  dds.fshmMulticastAddress = "239.0.0.1";
  return record;
}

NodeInfoWithAppName Node(const std::string& name, const std::string& identity, EntityRole role,
                         const std::string& event) {
  NodeInfoWithAppName node;
  node.nodeName = name;
  node.identity = identity;
  node.selinuxLabel = "label of " + identity;
  node.isOnline = true;
  node.entities.push_back({EntityKind::kEvent, role, event, DriverType::kDds});
  return node;
}

Json Export(const std::vector<EventInfoWithPubSub>& records, std::vector<NodeInfoWithAppName> nodes) {
  return Json::parse(ExportJsonInfo(BuildExport(records, NodeDirectory(std::move(nodes)))));
}

TEST(EventExportTest, DdsEventHasAllKeysInTheirOrder) {
  EventInfoWithPubSub record = DdsRecord();
  record.subscribers = {"/sub"};
  const Json document = Export({record}, {Node("/sub", "s:s", EntityRole::kConsumer, "/speed"),
                                          Node("/pub", "p:p", EntityRole::kProvider, "/speed")});
  ASSERT_THAT(Keys(document), ElementsAre("events"));
  const Json event = document["events"].at(0);
  EXPECT_THAT(Keys(event), ElementsAre("name", "serviceId", "instanceId", "networkBinding", "isMbuf", "subscribe",
                                       "publish", "dds"));
  EXPECT_EQ(event["serviceId"], 4660);
  EXPECT_EQ(event["instanceId"], "7");
  EXPECT_EQ(event["isMbuf"], true);
  EXPECT_EQ(
      event["subscribe"].dump(),
      R"({"resource":"speed_resource","nodeInfo":[{"node":"/sub","identity":"s:s","selinuxLabel":"label of s:s"}]})");
  EXPECT_EQ(event["publish"].dump(),
            R"({"node":"/pub","identity":"p:p","selinuxLabel":"label of p:p","resource":"speed_resource"})");
  constexpr char kDds[] =
      R"#({"topicName":"rt/speed","domain":3,"transportPlugin":["UDP","DSHM(MBUF)"],"isFSHMMulticast":true,)#"
      R"#("fshmMulticastAddr":["239.0.0.1"]})#";
  EXPECT_EQ(event["dds"].dump(), kDds);
}

TEST(EventExportTest, SomeipEventHasNoDdsPartAndNobodySubscribes) {
  EventInfoWithPubSub record;
  record.eventName = "/gear";
  record.bindings[DriverType::kSomeip].someip.instanceId = 65535;
  const Json event = Export({record}, {})["events"].at(0);
  EXPECT_FALSE(event.contains("dds"));
  EXPECT_EQ(event["networkBinding"], "SOMEIP");
  EXPECT_EQ(event["instanceId"], "65535");
  EXPECT_EQ(event["subscribe"].dump(), R"({"resource":"","nodeInfo":[]})");
}

TEST(EventExportTest, EachBindingIsAnEventAndNoneIsNone) {
  EventInfoWithPubSub both = DdsRecord();
  both.bindings[DriverType::kSomeip];
  EventInfoWithPubSub none = DdsRecord();
  none.bindings.clear();
  const Json events = Export({none, both}, {})["events"];
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0]["networkBinding"], "DDS");
  EXPECT_EQ(events[1]["networkBinding"], "SOMEIP");
  EXPECT_EQ(Export({}, {}).dump(), R"({"events":[]})");
}

TEST(EventExportTest, SubscribersOfOneNameGetTheirOwnNodes) {
  EventInfoWithPubSub record = DdsRecord();
  record.subscribers = {"/sub", "/sub", "/stranger"};
  const Json nodes =
      Export({record}, {Node("/sub", "other:other", EntityRole::kConsumer, "/gear"),
                        Node("/sub", "a:a", EntityRole::kConsumer, "/speed"),
                        Node("/sub", "b:b", EntityRole::kConsumer, "/speed")})["events"][0]["subscribe"]["nodeInfo"];
  ASSERT_EQ(nodes.size(), 3U);
  EXPECT_EQ(nodes[0]["identity"], "a:a");
  EXPECT_EQ(nodes[1]["identity"], "b:b");
  EXPECT_EQ(nodes[2]["identity"], "") << "a node that no daemon knows keeps its name";
  EXPECT_EQ(nodes[2]["node"], "/stranger");
}

TEST(EventExportTest, TextThatIsNoUtf8IsStillADocument) {
  EventInfoWithPubSub record = DdsRecord();
  record.eventName = "/\xFF\x01";
  EXPECT_EQ(Export({record}, {})["events"][0]["name"], "/\xEF\xBF\xBD\x01");
}

TEST(SubNodeIndexTest, HoldsWhatIdentifiesTheEventOnBothWires) {
  EventInfoWithPubSub record = DdsRecord();
  auto& someip = record.bindings[DriverType::kSomeip].someip;
  someip.serviceId = 11;
  someip.instanceId = 12;
  someip.eventId = 13;
  someip.networkIp = "192.168.7.8";
  someip.subnetMask = "255.255.255.0";
  const auto index = GetSubNodeIndex(record);
  EXPECT_EQ(index.ddsServiceId, 4660);
  EXPECT_EQ(index.ddsInstanceId, 7);
  EXPECT_EQ(index.topicName, "rt/speed");
  EXPECT_EQ(index.domainId, 3);
  EXPECT_EQ(index.ddsNetworkSegment, "10.1.0.0");
  EXPECT_EQ(index.someipServiceId, 11);
  EXPECT_EQ(index.someipInstanceId, 12);
  EXPECT_EQ(index.eventId, 13);
  EXPECT_EQ(index.someipNetworkSegment, "192.168.7.0");
  record.bindings.erase(DriverType::kDds);
  EXPECT_EQ(GetSubNodeIndex(record).topicName, "notopic");
  EXPECT_EQ(GetSubNodeIndex(record).ddsServiceId, 0);
}

TEST(FilterConflictTest, ADistanceGoesWithPublishersOnly) {
  const log::LogCapture log;
  QorEvent events;
  QorEvent::Entries entries;
  for (const RoleType role : {RoleType::kSubscriber, RoleType::kAll}) {
    for (const auto distance : {CommunicableType::kLocal, CommunicableType::kNetwork, CommunicableType::kCross}) {
      EXPECT_EQ(events.QueryAll(entries, {role, distance}), -1);
      EXPECT_EQ(events.QueryAllWithNamespace("/a", entries, {role, distance}), -1);
    }
  }
  constexpr char kText[] = "[QueryAll][Filter is conflicting, because -c is specified with -s or -a]";
  constexpr char kNamespaceText[] =
      "[QueryAllWithNamespace][Filter is conflicting, because -c is specified with -s or -a]";
  EXPECT_EQ(log.Count(LogLevel::kError, kText), 6U);
  EXPECT_EQ(log.Count(LogLevel::kError, kNamespaceText), 6U);
  EXPECT_EQ(events.QueryAll(entries, {RoleType::kPublisher, CommunicableType::kLocal}), 0);
  EXPECT_EQ(events.QueryAll(entries, {RoleType::kAll, CommunicableType::kAll}), 0);
  EXPECT_TRUE(RefusesQueryAll(RoleType::kAll, true)) << "a user who types all has chosen";
}

TEST(ShowResultTest, WithoutATopLevelTypeThereIsNoResult) {
  const log::LogCapture log;
  ShowReturnValue result;
  EXPECT_FALSE(QorEvent::GetShowResult({"Speed", "", "[]"}, result));
  EXPECT_EQ(log.CountContaining("Get top-level datatype jsonstring which is empty."), 1U);
  EXPECT_TRUE(QorEvent::GetShowResult({"Speed", "{}", "[]"}, result));
  EXPECT_EQ(result.dataTypeName, "Speed");
}

}  // namespace
}  // namespace qor::qorevent
