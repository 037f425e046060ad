// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/node_query.h"

#include <iterator>
#include <utility>

#include "src/common/utils/net_process.h"
#include "src/qorevent/await_answer.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using qortools::utils::NetProcess;

constexpr AnswerTexts kNodeTexts{"Disconnect to Maintaind in QorEvent::QueryNodeInfo().",
                                 "Get result from Maintaind failed in QorEvent::QueryNodeInfo()."};
constexpr AnswerTexts kSubNodeTexts{"Disconnect to Maintaind in QorEvent::QuerySubNodeInfo().",
                                    "Get result from Maintaind failed in QorEvent::QuerySubNodeInfo()."};

void Append(NodeQuery::Nodes& all, NodeQuery::Nodes&& some) {
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

std::optional<NodeQuery::Nodes> NodeQuery::QueryNodeInfo(const std::string& name) const {
  std::optional<Nodes> nodes;
  for (const auto& proxy : proxies_) {
    if (auto answer = AwaitAnswer(proxy->QueryNodeInfo(name), log_, kNodeTexts)) {
      Append(nodes.has_value() ? *nodes : nodes.emplace(), *std::move(answer));
    }
  }
  return nodes;
}

NodeQuery::Nodes NodeQuery::QuerySubNodes(const maintaind::QuerySubEventInfoIndex& index, bool& isComplete) const {
  Nodes nodes;
  for (const auto& proxy : proxies_) {
    auto answer = AwaitAnswer(proxy->QuerySubNodeEventInfo(index), log_, kSubNodeTexts);
    isComplete = isComplete && answer.has_value();
    if (!answer.has_value()) {
      continue;
    }
    const auto unnamed = std::erase_if(answer->subscribers, [](const auto& node) { return node.nodeName.empty(); });
    if (unnamed > 0) {
      log_.Warn() << "Unexpected index or Unexpected type";
    }
    Append(nodes, std::move(answer->subscribers));
  }
  return nodes;
}

}  // namespace qor::qorevent
