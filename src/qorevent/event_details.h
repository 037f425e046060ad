// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EVENT_DETAILS_H
#define QOR_QOREVENT_EVENT_DETAILS_H

#include <vector>

#include "src/common/qor_event_info.h"
#include "src/common/records/event_info.h"
#include "src/common/records/node_info.h"
#include "src/qorevent/show_return_value.h"

namespace qor::qorevent {

/// One event with everything that the daemons know about it.
struct EventDetails {
  std::vector<QorEventInfo> entries;  ///< as it is listed: one for each binding
  maintaind::EventInfoWithPubSub record;
  std::vector<maintaind::NodeInfoWithAppName> publisherNodes;  ///< empty: no daemon knows the node
  std::vector<maintaind::NodeInfoWithAppName> subscriberNodes;
  ShowReturnValue type;  ///< empty: no daemon has its definition
};

}  // namespace qor::qorevent

#endif
