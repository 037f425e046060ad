// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/event_records.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "src/common/qor_common.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::EventRegisterInfo;

/// How much a record says about where samples come from.
int Strength(const EventInfoWithPubSub& record) {
  if (record.publisher.empty()) {
    return 0;
  }
  return record.isPublisherOnline ? 2 : 1;
}

/// Leaves the records of online publishers; without any, those of offline publishers; without any, all.
void KeepStrongest(EventRecords& records) {
  int strongest = 0;
  for (const auto& record : records) {
    strongest = std::max(strongest, Strength(record));
  }
  std::erase_if(records, [&](const EventInfoWithPubSub& record) { return Strength(record) < strongest; });
}

}  // namespace

EventRecords SelectRecords(const EventRecords& merged, const std::string& pureName, const CommonFilter& filter) {
  EventRecords matching;
  std::copy_if(merged.begin(), merged.end(), std::back_inserter(matching),
               [&](const EventInfoWithPubSub& record) { return record.eventName == pureName; });
  QorCommon::GetInstance().FilterEventInfo(pureName, matching, filter);
  KeepStrongest(matching);
  return matching;
}

bool IsRepeated(const EventInfoWithPubSub& record, const EventRecords& known) {
  bool isRepeated = false;
  for (const EventInfoWithPubSub& one : known) {
    QorCommon::GetInstance().CompareEventInfo(isRepeated, one, record.bindings);
  }
  return isRepeated;
}

bool IsOneEvent(const EventRecords& records) {
  std::size_t dds = 0;
  std::size_t someip = 0;
  for (const auto& record : records) {
    dds += record.bindings.count(DriverType::kDds);
    someip += record.bindings.count(DriverType::kSomeip);
  }
  return dds <= 1 && someip <= 1 && dds + someip > 0;
}

std::optional<EventRegisterInfo> WithBinding(const EventRecords& records, DriverType driver) {
  for (const auto& record : records) {
    if (const auto binding = record.bindings.find(driver); binding != record.bindings.end()) {
      EventRegisterInfo event = record;
      event.bindings = {*binding};
      return event;
    }
  }
  return std::nullopt;
}

bool IsDpAdapterReady() { return access("/dev/shm", R_OK | W_OK | X_OK) == 0; }

}  // namespace qor::qorevent
