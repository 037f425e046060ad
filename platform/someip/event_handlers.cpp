// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/event_handlers.h"

#include <algorithm>
#include <utility>

namespace qor::someip {

void EventHandlers::Set(std::uint16_t eventId, EventHandler handler) {
  const std::lock_guard lock(mutex_);
  auto table = std::make_shared<Table>(*table_);
  const auto at = std::ranges::lower_bound(*table, eventId, {}, &Entry::eventId);
  Entry entry{eventId, std::make_shared<const EventHandler>(std::move(handler))};
  if (at != table->end() && at->eventId == eventId) {
    *at = std::move(entry);
  } else {
    table->insert(at, std::move(entry));
  }
  table_ = std::move(table);
  version_.fetch_add(1);
}

void EventHandlers::Remove(std::uint16_t eventId) {
  const std::lock_guard lock(mutex_);
  auto table = std::make_shared<Table>(*table_);
  std::erase_if(*table, [eventId](const Entry& entry) { return entry.eventId == eventId; });
  table_ = std::move(table);
  version_.fetch_add(1);
}

bool EventHandlers::Deliver(const MessageHeader& header, std::span<const std::uint8_t> payload) {
  if (version_.load() != seenVersion_) {
    const std::lock_guard lock(mutex_);
    seen_ = table_;
    seenVersion_ = version_.load();
  }
  const auto at = std::ranges::lower_bound(*seen_, header.methodId, {}, &Entry::eventId);
  if (at == seen_->end() || at->eventId != header.methodId) {
    return false;
  }
  (*at->handler)(header, payload);
  return true;
}

}  // namespace qor::someip
