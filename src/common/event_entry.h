// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_EVENT_ENTRY_H
#define QOR_COMMON_EVENT_ENTRY_H

#include <string>
#include <utility>
#include <vector>

#include "src/common/qor_event_info.h"
#include "src/common/records/event_info.h"

/// Event records as the tools show them. Any thread.
namespace qor::common {

/// Label and text.
using Attributes = std::vector<std::pair<std::string, std::string>>;

/// Fills the entry of the DDS or SOME/IP binding. A binding that the record lacks counts as an empty one.
void SetDDSEventInfo(const maintaind::EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo);
void SetSOMEIPEventInfo(const maintaind::EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo);

/// One entry for each binding of the record, DDS first.
void AppendEntries(const maintaind::EventInfoWithPubSub& record, std::vector<qorevent::QorEventInfo>& entries);

/// Further settings of the DDS binding, in the order of its fields; what is not configured is left out.
Attributes GetDDSAttributeList(const maintaind::EventInfoWithPubSub& record);
/// The same of the SOME/IP binding.
Attributes GetSOMEIPAttributeList(const maintaind::EventInfoWithPubSub& record);

/// Whether the list holds DSHM or DSHM(MBUF).
bool IsUsingDSHM(const std::vector<maintaind::TransportQos>& transports);

}  // namespace qor::common

#endif
