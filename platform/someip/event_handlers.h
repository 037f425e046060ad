// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_EVENT_HANDLERS_H
#define QOR_SOMEIP_EVENT_HANDLERS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/someip/message.h"

namespace qor::someip {

using EventHandler = std::function<void(const MessageHeader& header, std::span<const std::uint8_t> payload)>;

/// The handlers of a client by event id. One thread delivers and takes no lock as long as the table stays as it is; any
/// thread may change it meanwhile.
class EventHandlers {
 public:
  EventHandlers() : table_(std::make_shared<const Table>()), seen_(table_) {}

  void Set(std::uint16_t eventId, EventHandler handler);
  /// For the next message there is none; one that runs is not waited for.
  void Remove(std::uint16_t eventId);

  /// The delivering thread only. False when nobody handles this event.
  bool Deliver(const MessageHeader& header, std::span<const std::uint8_t> payload);

 private:
  struct Entry {
    std::uint16_t eventId = 0;
    std::shared_ptr<const EventHandler> handler;  // shared by successive tables
  };
  using Table = std::vector<Entry>;  // sorted by event id

  std::mutex mutex_;
  std::shared_ptr<const Table> table_;  // guarded by mutex_
  std::atomic<std::uint64_t> version_{0};

  // The delivering thread's.
  std::shared_ptr<const Table> seen_;
  std::uint64_t seenVersion_ = 0;
};

}  // namespace qor::someip

#endif
