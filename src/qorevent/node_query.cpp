// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/node_query.h"

#include <iterator>
#include <utility>

#include "platform/log/qor_log.h"
#include "src/common/utils/net_process.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using qortools::utils::NetProcess;

constexpr AnswerTexts kNodeTexts{"Disconnect to Maintaind in QorEvent::QueryNodeInfo().",
                                 "Get result from Maintaind failed in QorEvent::QueryNodeInfo()."};
constexpr AnswerTexts kSubNodeTexts{"Disconnect to Maintaind in QorEvent::QuerySubNodeInfo().",
                                    "Get result from Maintaind failed in QorEvent::QuerySubNodeInfo()."};

void Append(Nodes& all, Nodes&& some) {
  all.insert(all.end(), std::make_move_iterator(some.begin()), std::make_move_iterator(some.end()));
}

}  // namespace

maintaind::QuerySubEventInfoIndex GetSubNodeIndex(const maintaind::EventInfoWithPubSub& record) {
  maintaind::QuerySubEventInfoIndex index;
  index.topicName = "notopic";
  if (const auto binding = record.bindings.find(DriverType::kDds); binding != record.bindings.end()) {
    const maintaind::DDSEventInfo& dds = binding->second.dds;
    index.ddsServiceId = dds.serviceId;
    index.ddsInstanceId = dds.instanceId;
    index.domainId = dds.domainId;
    index.ddsNetworkSegment = NetProcess::TransToNetSegment(dds.networkIp, dds.subnetMask);
    if (!dds.topicName.empty()) {
      index.topicName = dds.topicName;
    }
  }
  if (const auto binding = record.bindings.find(DriverType::kSomeip); binding != record.bindings.end()) {
    const maintaind::SomeipEventInfo& someip = binding->second.someip;
    index.someipServiceId = someip.serviceId;
    index.someipInstanceId = someip.instanceId;
    index.eventId = someip.eventId;
    index.someipNetworkSegment = NetProcess::TransToNetSegment(someip.networkIp, someip.subnetMask);
  }
  QorLog("QorEvent").Debug() << "Get sub node index finished.";
  return index;
}

std::optional<Nodes> QueryNodeInfo(Audience& audience, const std::string& name) {
  Nodes nodes;
  const std::size_t answered = audience.Ask([&](auto& daemon) { return daemon.QueryNodeInfo(name); }, kNodeTexts,
                                            [&](Nodes&& some) { Append(nodes, std::move(some)); });
  return answered > 0 ? std::optional(std::move(nodes)) : std::nullopt;
}

Nodes QuerySubNodes(Audience& audience, const maintaind::QuerySubEventInfoIndex& index) {
  Nodes nodes;
  audience.Ask([&](auto& daemon) { return daemon.QuerySubNodeEventInfo(index); }, kSubNodeTexts,
               [&](maintaind::SubNodeEventInfo&& some) {
                 const auto unnamed =
                     std::erase_if(some.subscribers, [](const auto& node) { return node.nodeName.empty(); });
                 if (unnamed > 0) {
                   QorLog("QorEvent").Warn() << "Unexpected index or Unexpected type";
                 }
                 Append(nodes, std::move(some.subscribers));
               });
  return nodes;
}

}  // namespace qor::qorevent
