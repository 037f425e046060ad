// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/node_list.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace qor::maintaind {
namespace {

using NodesByName = std::map<std::string_view, NodeInfoWithAppName>;

/// Appends what an entry adds to its node: one entity a binding.
template <class Entry>
void AppendEntities(const Entry& entry, std::vector<NodeEntityInfo>& entities) {
  using Family = EntityFamily<std::decay_t<decltype(entry.info)>>;
  for (const auto& [driver, binding] : entry.info.bindings) {
    entities.push_back({Family::kKind, entry.role, entry.info.*Family::kName, driver});
  }
  if (entry.info.bindings.empty()) {
    entities.push_back({Family::kKind, entry.role, entry.info.*Family::kName, DriverType::kDds});
  }
}

void Append(NodesByName byName, std::vector<NodeInfoWithAppName>& nodes) {
  for (auto& [name, node] : byName) {
    nodes.push_back(std::move(node));
  }
}

void AppendRegistered(const RegisteredNodes& registered, const EntityTables& tables,
                      std::vector<NodeInfoWithAppName>& nodes) {
  std::unordered_map<const NodeInfoWithAppName*, std::vector<NodeEntityInfo>> entities;
  tables.ForEach([&entities](const auto& table) {
    for (const auto& entry : table.Online()) {
      if (entry.connection != kForeign) {
        AppendEntities(entry, entities[entry.node.get()]);
      }
    }
  });
  for (const RegisteredNode& online : registered) {
    nodes.push_back(*online.node);
    nodes.back().isOnline = true;
    nodes.back().entities = std::move(entities[online.node.get()]);
  }
}

/// Each foreign entry came with a node of its own.
NodesByName ForeignNodes(const EntityTables& tables) {
  NodesByName byName;
  tables.ForEach([&byName](const auto& table) {
    for (const auto& entry : table.Online()) {
      if (entry.connection == kForeign) {
        const auto [node, isNew] = byName.try_emplace(entry.node->nodeName, *entry.node);
        node->second.isOnline = true;
        AppendEntities(entry, node->second.entities);
      }
    }
  });
  return byName;
}

/// One for each name: the latest that had it.
NodesByName OfflineNodes(const EntityTables& tables) {
  NodesByName byName;
  tables.ForEach([&byName](const auto& table) {
    for (const auto& entry : table.Offline()) {
      NodeInfoWithAppName& node = byName[entry.node->nodeName];
      auto entities = std::move(node.entities);
      node = *entry.node;
      node.entities = std::move(entities);
      AppendEntities(entry, node.entities);
    }
  });
  return byName;
}

/// Whether a query for the subscribers of one event means this one.
class SubscriberMatch {
 public:
  explicit SubscriberMatch(const QuerySubEventInfoIndex& index) {
    if (index.topicName != "notopic") {
      exact_.push_back(DdsEventKey(index.ddsServiceId, index.ddsInstanceId, index.domainId, index.topicName));
      topic_ = TopicKey(index.domainId, index.topicName);
      isForeign_ = index.ddsServiceId == 0 && index.ddsInstanceId == 0;
    }
    if (index.someipServiceId != 0 || index.eventId != 0) {
      exact_.push_back(SomeipEventKey(index.someipServiceId, index.someipInstanceId, index.eventId));
    }
  }

  bool operator()(const EntityKeys& keys) const {
    const bool isSameTopic = !topic_.empty() && keys.topic == topic_ && (isForeign_ || keys.isForeign);
    return isSameTopic ||
           std::find_first_of(keys.exact.begin(), keys.exact.end(), exact_.begin(), exact_.end()) != keys.exact.end();
  }

 private:
  std::vector<std::string> exact_;
  std::string topic_;
  bool isForeign_ = false;
};

}  // namespace

std::vector<NodeInfoWithAppName> ListNodes(const RegisteredNodes& registered, const EntityTables& tables) {
  std::vector<NodeInfoWithAppName> nodes;
  AppendRegistered(registered, tables, nodes);
  Append(ForeignNodes(tables), nodes);
  NodesByName offline = OfflineNodes(tables);
  for (const NodeInfoWithAppName& online : nodes) {
    offline.erase(online.nodeName);
  }
  Append(std::move(offline), nodes);
  return nodes;
}

SubNodeEventInfo ListSubscribers(const EntityTable<EventRegisterInfo>& events, const QuerySubEventInfoIndex& index) {
  const SubscriberMatch isMeant(index);
  SubNodeEventInfo result;
  std::set<std::pair<ConnectionId, std::string_view>> seen;
  for (const auto& entry : events.Online()) {
    if (entry.role != EntityRole::kConsumer || !isMeant(entry.keys) ||
        !seen.emplace(entry.connection, entry.node->nodeName).second) {
      continue;
    }
    result.subscribers.push_back(*entry.node);
    result.subscribers.back().isOnline = true;
    AppendEntities(entry, result.subscribers.back().entities);
  }
  return result;
}

}  // namespace qor::maintaind
