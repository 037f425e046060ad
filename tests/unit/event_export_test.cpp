// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "src/common/records/to_json.h"
#include "src/qorevent/export_builder.h"
#include "src/qorevent/export_json.h"
#include "src/qorevent/node_query.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EntityKind;
using maintaind::EntityRole;
using maintaind::EventInfoWithPubSub;
using maintaind::NodeInfoWithAppName;
using maintaind::TransportQos;
using Json = nlohmann::ordered_json;

EventInfoWithPubSub DdsRecord() {
  EventInfoWithPubSub record;
  record.eventName = "/speed";
  record.resource = "speed_resource";
  record.publisher = "/pub";
  record.isPublisherOnline = true;
  auto& dds = record.bindings[DriverType::kDds].dds;
  dds.serviceId = 4660;
  dds.instanceId = 7;
  dds.networkIp = "10.1.2.3";
  dds.subnetMask = "255.255.0.0";
  dds.domainId = 3;
  dds.topicName = "rt/speed";
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
  constexpr char kExpected[] =
      R"#({"events":[{"name":"/speed","serviceId":4660,"instanceId":"7","networkBinding":"DDS","isMbuf":true,)#"
      R"#("subscribe":{"resource":"speed_resource","nodeInfo":[{"node":"/sub","identity":"s:s","selinuxLabel":)#"
      R"#("label of s:s"}]},"publish":{"node":"/pub","identity":"p:p","selinuxLabel":"label of p:p","resource":)#"
      R"#("speed_resource"},"dds":{"topicName":"rt/speed","domain":3,"transportPlugin":["UDP","DSHM(MBUF)"],)#"
      R"#("isFSHMMulticast":true,"fshmMulticastAddr":["239.0.0.1"]}}]})#";
  EXPECT_EQ(document.dump(), kExpected);
}

TEST(EventExportTest, EachBindingIsAnEventAndNoneIsNone) {
  EventInfoWithPubSub both = DdsRecord();
  both.bindings[DriverType::kSomeip].someip.instanceId = 65535;
  EventInfoWithPubSub none = DdsRecord();
  none.bindings.clear();
  const Json events = Export({none, both}, {})["events"];
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0]["networkBinding"], "DDS");
  EXPECT_EQ(events[1]["networkBinding"], "SOMEIP");
  EXPECT_EQ(events[1]["instanceId"], "65535");
  EXPECT_FALSE(events[1].contains("dds"));
  EXPECT_EQ(events[1]["subscribe"].dump(), R"({"resource":"speed_resource","nodeInfo":[]})");
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
  someip.networkIp = "192.168.7.8";
  someip.subnetMask = "255.255.255.0";
  someip.eventId = 13;
  EXPECT_EQ(
      maintaind::ToJson(GetSubNodeIndex(record)).dump(),
      R"({"ddsServiceId":4660,"ddsInstanceId":7,"topicName":"rt/speed","domainId":3,"someipServiceId":11,)"
      R"("ddsNetworkSegment":"10.1.0.0","someipNetworkSegment":"192.168.7.0","someipInstanceId":12,"eventId":13})");
  record.bindings.erase(DriverType::kDds);
  EXPECT_EQ(GetSubNodeIndex(record).topicName, "notopic");
}

}  // namespace
}  // namespace qor::qorevent
