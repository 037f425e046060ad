// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_NODE_LIST_H
#define QOR_MAINTAIND_DAEMON_NODE_LIST_H

#include <list>
#include <memory>
#include <vector>

#include "platform/maintaind/daemon/entity_tables.h"
#include "platform/maintaind/daemon/peer_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/query.h"

namespace qor::maintaind {

/// A node that an application registered.
struct RegisteredNode {
  ConnectionId connection;
  std::shared_ptr<const NodeInfoWithAppName> node;
};
/// In the order of registration.
using RegisteredNodes = std::list<RegisteredNode>;

/// All nodes with their entities: those of applications, then those that discovery showed, then, one for each name that
/// is not online, those whose providers are remembered.
std::vector<NodeInfoWithAppName> ListNodes(const RegisteredNodes& registered, const EntityTables& tables);

/// The nodes that subscribe to one event.
SubNodeEventInfo ListSubscribers(const EntityTable<EventRegisterInfo>& events, const QuerySubEventInfoIndex& index);

}  // namespace qor::maintaind

#endif
