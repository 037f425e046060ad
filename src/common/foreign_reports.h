// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_FOREIGN_REPORTS_H
#define QOR_COMMON_FOREIGN_REPORTS_H

#include <vector>

#include "src/common/records/event_info.h"

namespace qor::common {

/// A program that knows no daemon is seen by every daemon of its network, and each of them reports what it publishes.
/// Leaves one record of each event of such a publisher: the first that says it is online, else the first, with the
/// subscribers of all of them, each named once. Other records stay as they are. Any thread.
void JoinForeignReports(std::vector<maintaind::EventInfoWithPubSub>& list);

}  // namespace qor::common

#endif
