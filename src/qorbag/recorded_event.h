// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDED_EVENT_H
#define QOR_QORBAG_RECORDED_EVENT_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "src/common/records/event_info.h"
#include "src/datatype/definition_tables.h"
#include "src/qorbag/event_description.h"
#include "src/qorbag/event_quota.h"
#include "src/qorbag/outgoing_queue.h"

namespace qor::qorbag {

/// How a bag describes an event that a daemon reported with one binding.
EventDescription DescribeEvent(const maintaind::EventRegisterInfo& event, const datatype::DefinitionTexts& definitions);

/// One binding of an event that is recorded. Stays where it is as long as the recording.
class RecordedEvent : public OutgoingSource {
 public:
  RecordedEvent(maintaind::EventInfoWithPubSub record, std::shared_ptr<EventQuota> quota);

  const maintaind::EventInfoWithPubSub& Record() const { return record_; }
  maintaind::DriverType Driver() const { return record_.bindings.begin()->first; }
  bool IsMbuf() const { return record_.bindings.begin()->second.dds.dataMode == maintaind::DataMode::kMbuf; }
  EventQuota& Quota() const { return *quota_; }

  /// The receive thread's: memory for the next payload.
  QorBuffer& NextBuffer() { return nextBuffer_; }

  /// Any thread.
  std::shared_ptr<const EventDescription> Description() const;
  bool IsDefined() const { return !Description()->msgDefinition.empty(); }
  /// Any thread: describes the event again. True when its data type is known now.
  bool Define(const datatype::DefinitionTexts& definitions);

  /// Messages in a bag, or in a chunk that is to go there.
  std::uint64_t Written() const { return written_.load(std::memory_order_relaxed); }
  void CountWritten() { written_.fetch_add(1, std::memory_order_relaxed); }
  /// One of them could not be written after all.
  void TakeBackWritten() { written_.fetch_sub(1, std::memory_order_relaxed); }

 private:
  const maintaind::EventInfoWithPubSub record_;
  const std::shared_ptr<EventQuota> quota_;  // shared with the other bindings of the name
  QorBuffer nextBuffer_;
  std::atomic<std::uint64_t> written_{0};
  mutable std::mutex mutex_;
  std::shared_ptr<const EventDescription> description_;  // guarded by mutex_; shared with the writer
};

}  // namespace qor::qorbag

#endif
