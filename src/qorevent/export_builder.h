// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EXPORT_BUILDER_H
#define QOR_QOREVENT_EXPORT_BUILDER_H

#include <vector>

#include "src/common/records/event_info.h"
#include "src/qorevent/export_info.h"
#include "src/qorevent/node_directory.h"

namespace qor::qorevent {

/// One exported event for each binding of each record, in the order of the records, DDS first; identities and labels
/// come from the nodes. A record without a binding is left out. Any thread.
std::vector<ExportInfo> BuildExport(const std::vector<maintaind::EventInfoWithPubSub>& records,
                                    const NodeDirectory& nodes);

}  // namespace qor::qorevent

#endif
