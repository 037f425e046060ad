// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_NODE_QUERY_H
#define QOR_QOREVENT_NODE_QUERY_H

#include <optional>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/query.h"
#include "src/qorevent/audience.h"

namespace qor::qorevent {

/// The key under which the daemons know the subscriber nodes of an event.
maintaind::QuerySubEventInfoIndex GetSubNodeIndex(const maintaind::EventInfoWithPubSub& record);

using Nodes = std::vector<maintaind::NodeInfoWithAppName>;

/// The nodes of a name, "ALL" for every node. Nothing when no daemon answered.
std::optional<Nodes> QueryNodeInfo(Audience& audience, const std::string& name);

/// The subscriber nodes of one event.
Nodes QuerySubNodes(Audience& audience, const maintaind::QuerySubEventInfoIndex& index);

}  // namespace qor::qorevent

#endif
