// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_EVENT_LIST_H
#define QOR_COMMON_EVENT_LIST_H

#include <vector>

#include "src/common/communicability.h"
#include "src/common/filters.h"
#include "src/common/qor_event_info.h"
#include "src/common/records/event_info.h"

/// From merged records to the entries of an event list. Results are appended; the order of the records stays, and a
/// record with two bindings gives two entries, DDS first. Any thread.
namespace qor::common {

using EventRecords = std::vector<maintaind::EventInfoWithPubSub>;
using EventEntries = std::vector<qorevent::QorEventInfo>;

/// First the communicable type, then the role.
void ListEvents(const qorevent::EventFilter& filter, const EventRecords& list, const Communicability& communicability,
                EventEntries& out);

/// Keeps what can be received over the distance asked for; nothing for an undefined type.
void SelectCommunicable(const EventRecords& list, qorevent::CommunicableType type,
                        const Communicability& communicability, EventRecords& out);

/// Records with a publisher.
void ListPublished(const EventRecords& list, EventEntries& out);
/// Records with subscribers.
void ListSubscribed(const EventRecords& list, EventEntries& out);
/// Records with either; one with both is listed once.
void ListAll(const EventRecords& list, EventEntries& out);

}  // namespace qor::common

#endif
