// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EVENT_RECORDS_H
#define QOR_QOREVENT_EVENT_RECORDS_H

#include <optional>
#include <string>
#include <vector>

#include "src/common/filters.h"
#include "src/common/records/event_info.h"

/// From what the daemons report to the one event that a tool receives. Any thread.
namespace qor::qorevent {

using EventRecords = std::vector<maintaind::EventInfoWithPubSub>;

/// The records of a name that the filter keeps: of online publishers; without any, of offline publishers; without any,
/// all.
EventRecords SelectRecords(const EventRecords& merged, const std::string& pureName, const CommonFilter& filter);

/// Whether a record describes an event that is among the known ones.
bool IsRepeated(const maintaind::EventInfoWithPubSub& record, const EventRecords& known);

/// Records are one event when they have one DDS binding, one SOME/IP binding, or one of each.
bool IsOneEvent(const EventRecords& records);

/// The registration with only the binding to be subscribed, from the first record that has it.
std::optional<maintaind::EventRegisterInfo> WithBinding(const EventRecords& records, maintaind::DriverType driver);

/// Whether events in shared memory can be received: they need the host's memory file system.
bool IsDpAdapterReady();

}  // namespace qor::qorevent

#endif
