// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/export_json.h"

#include <nlohmann/json.hpp>

namespace qor::qorevent {
namespace {

using Json = nlohmann::ordered_json;

Json SubscribeJson(const ExportSubscribeInfo& subscribe) {
  Json nodes = Json::array();
  for (const ExportNodeInfo& node : subscribe.nodeInfo) {
    nodes.push_back({{"node", node.node}, {"identity", node.identity}, {"selinuxLabel", node.selinuxLabel}});
  }
  return {{"resource", subscribe.resource}, {"nodeInfo", std::move(nodes)}};
}

Json PublishJson(const ExportNodeInfo& publish) {
  return {{"node", publish.node},
          {"identity", publish.identity},
          {"selinuxLabel", publish.selinuxLabel},
          {"resource", publish.resource}};
}

Json DdsJson(const ExportDdsInfo& dds) {
  return {{"topicName", dds.topicName},
          {"domain", dds.domain},
          {"transportPlugin", dds.transportPlugin},
          {"isFSHMMulticast", dds.isFSHMMulticast},
          {"fshmMulticastAddr", dds.fshmMulticastAddr}};
}

Json EventJson(const ExportInfo& event) {
  Json json = {{"name", event.name},
               {"serviceId", event.serviceId},
               {"instanceId", event.instanceId},
               {"networkBinding", event.networkBinding},
               {"isMbuf", event.isMbuf},
               {"subscribe", SubscribeJson(event.subscribe)},
               {"publish", PublishJson(event.publish)}};
  if (event.networkBinding == "DDS") {
    json["dds"] = DdsJson(event.dds);
  }
  return json;
}

}  // namespace

std::string ExportJsonInfo(const std::vector<ExportInfo>& events) {
  Json list = Json::array();
  for (const ExportInfo& event : events) {
    list.push_back(EventJson(event));
  }
  Json document = Json::object();
  document["events"] = std::move(list);
  return document.dump(2, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qor::qorevent
