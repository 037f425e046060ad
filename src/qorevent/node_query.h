// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_NODE_QUERY_H
#define QOR_QOREVENT_NODE_QUERY_H

#include <optional>
#include <string>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/common/records/event_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/query.h"
#include "src/common/tools_common_client_manager.h"

namespace qor::qorevent {

/// The key under which the daemons know the subscriber nodes of an event.
maintaind::QuerySubEventInfoIndex GetSubNodeIndex(const maintaind::EventInfoWithPubSub& record);

/// Asks daemons for nodes, one daemon after the other, each at most 300 ms. Any thread.
class NodeQuery {
 public:
  using Nodes = std::vector<maintaind::NodeInfoWithAppName>;

  explicit NodeQuery(qortools::common::ProxyList proxies) : proxies_(std::move(proxies)) {}

  /// The nodes of a name, "ALL" for every node. Nothing when no daemon answered.
  std::optional<Nodes> QueryNodeInfo(const std::string& name) const;

  /// The subscriber nodes of one event. Clears `isComplete` when a daemon did not answer.
  Nodes QuerySubNodes(const maintaind::QuerySubEventInfoIndex& index, bool& isComplete) const;

 private:
  QorLog log_{"QorEvent"};
  qortools::common::ProxyList proxies_;
};

}  // namespace qor::qorevent

#endif
