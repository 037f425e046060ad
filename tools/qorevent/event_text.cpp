// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/event_text.h"

namespace qor::tools {

using Json = nlohmann::ordered_json;

const char* PublisherState(const qorevent::QorEventInfo& event) {
  if (event.publisher.empty()) {
    return "none";
  }
  return event.isPublisherOnline ? "online" : "offline";
}

std::string Join(const std::vector<std::string>& texts, const char* separator) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : separator) + text;
  }
  return joined;
}

Json EventJson(const qorevent::QorEventInfo& event) {
  const bool isDds = event.binding == "DDS";
  return {{"name", event.eventName},
          {"displayName", event.displayName},
          {"binding", event.binding},
          {"state", PublisherState(event)},
          {"publisher", event.publisher},
          {"subscribers", event.subscribers},
          {"transports", event.transports},
          {"serviceId", event.serviceId},
          {"instanceId", event.instanceId},
          {"eventId", isDds ? Json() : Json(event.eventId)},
          {"domainId", isDds ? Json(event.domainId) : Json()},
          {"topic", isDds ? Json(event.topicName) : Json()},
          {"networkIp", event.networkIp},
          {"subnetMask", event.subnetMask},
          {"dataType", event.dataTypeName},
          {"application", event.applicationName},
          {"hostDomain", event.hostDomainName},
          {"instance", event.instanceShortName},
          {"uuid", event.uuid}};
}

Json NodeJson(const maintaind::NodeInfoWithAppName& node) {
  return {{"node", node.nodeName},
          {"application", node.applicationName},
          {"processId", node.processId},
          {"identity", node.identity},
          {"isOnline", node.isOnline},
          {"selinuxLabel", node.selinuxLabel},
          {"maintaindInstance", node.maintaindInstance}};
}

}  // namespace qor::tools
