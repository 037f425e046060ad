// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/export_builder.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EntityRole;
using maintaind::EventInfoWithPubSub;
using maintaind::NodeInfoWithAppName;
using maintaind::TransportQos;

ExportNodeInfo NodeInfoOf(const std::string& nodeName, const NodeInfoWithAppName* node) {
  ExportNodeInfo info;
  info.node = nodeName;
  if (node != nullptr) {
    info.identity = node->identity;
    info.selinuxLabel = node->selinuxLabel;
  }
  return info;
}

/// The n-th subscriber of one name gets the n-th node of that name.
std::vector<ExportNodeInfo> SubscriberNodes(const EventInfoWithPubSub& record, const NodeDirectory& nodes) {
  std::vector<ExportNodeInfo> result;
  std::map<std::string, std::size_t> seen;
  for (const std::string& name : record.subscribers) {
    const auto candidates = nodes.Find(name, record.eventName, EntityRole::kConsumer);
    const std::size_t index = seen[name]++;
    const auto* node = candidates.empty() ? nullptr : candidates[std::min(index, candidates.size() - 1)];
    result.push_back(NodeInfoOf(name, node));
  }
  return result;
}

ExportNodeInfo PublisherNode(const EventInfoWithPubSub& record, const NodeDirectory& nodes) {
  const auto candidates = nodes.Find(record.publisher, record.eventName, EntityRole::kProvider);
  ExportNodeInfo info = NodeInfoOf(record.publisher, candidates.empty() ? nullptr : candidates.front());
  info.resource = record.resource;
  return info;
}

/// What both bindings have.
ExportInfo GetEventInfo(const EventInfoWithPubSub& record, const NodeDirectory& nodes) {
  ExportInfo event;
  event.name = record.eventName;
  event.subscribe = {record.resource, SubscriberNodes(record, nodes)};
  event.publish = PublisherNode(record, nodes);
  return event;
}

void GetEventInfoForDDS(const maintaind::DDSEventInfo& dds, ExportInfo& event) {
  event.networkBinding = "DDS";
  event.serviceId = dds.serviceId;
  event.instanceId = std::to_string(dds.instanceId);
  event.isMbuf = std::count(dds.transports.begin(), dds.transports.end(), TransportQos::kDshmMbuf) > 0;
  event.dds.topicName = dds.topicName;
  event.dds.domain = dds.domainId;
  for (const TransportQos transport : dds.transports) {
    event.dds.transportPlugin.emplace_back(maintaind::TransportQosText(transport));
  }
  event.dds.isFSHMMulticast = dds.isFshmMulticast;
  if (!dds.fshmMulticastAddress.empty()) {
    event.dds.fshmMulticastAddr.push_back(dds.fshmMulticastAddress);
  }
}

void GetEventInfoForSOMEIP(const maintaind::SomeipEventInfo& someip, ExportInfo& event) {
  event.networkBinding = "SOMEIP";
  event.serviceId = someip.serviceId;
  event.instanceId = std::to_string(someip.instanceId);
}

}  // namespace

std::vector<ExportInfo> BuildExport(const std::vector<EventInfoWithPubSub>& records, const NodeDirectory& nodes) {
  std::vector<ExportInfo> events;
  for (const EventInfoWithPubSub& record : records) {
    for (const auto& [driver, binding] : record.bindings) {
      ExportInfo event = GetEventInfo(record, nodes);
      if (driver == DriverType::kDds) {
        GetEventInfoForDDS(binding.dds, event);
      } else if (driver == DriverType::kSomeip) {
        GetEventInfoForSOMEIP(binding.someip, event);
      } else {
        continue;
      }
      events.push_back(std::move(event));
    }
  }
  return events;
}

}  // namespace qor::qorevent
