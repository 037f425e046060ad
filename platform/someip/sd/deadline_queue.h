// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_DEADLINE_QUEUE_H
#define QOR_SOMEIP_SD_DEADLINE_QUEUE_H

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "platform/someip/sd/services.h"

namespace qor::someip::sd {

/// At most one point of time for each key.
template <class Key>
class DeadlineQueue {
 public:
  void Set(const Key& key, TimePoint time) {
    Remove(key);
    times_.emplace(key, time);
    order_.emplace(time, key);
  }
  void Remove(const Key& key) {
    const auto found = times_.find(key);
    if (found != times_.end()) {
      order_.erase({found->second, key});
      times_.erase(found);
    }
  }
  void Clear() {
    times_.clear();
    order_.clear();
  }

  std::optional<TimePoint> TimeOf(const Key& key) const {
    const auto found = times_.find(key);
    return found == times_.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<TimePoint> Next() const { return order_.empty() ? std::nullopt : std::optional(order_.begin()->first); }
  /// Takes out the first key if it is due.
  std::optional<Key> TakeDue(TimePoint now) {
    if (order_.empty() || order_.begin()->first > now) {
      return std::nullopt;
    }
    Key key = order_.begin()->second;
    Remove(key);
    return key;
  }

 private:
  std::map<Key, TimePoint> times_;
  std::set<std::pair<TimePoint, Key>> order_;
};

/// The earlier one of those that are there.
inline std::optional<TimePoint> Earlier(std::optional<TimePoint> one, std::optional<TimePoint> other) {
  return one && (!other || *one < *other) ? one : other;
}

/// The end of a time to live; nothing when it lasts until reboot.
inline std::optional<TimePoint> EndOfTtl(TimePoint now, std::uint32_t ttl) {
  return ttl == kTtlUntilReboot ? std::nullopt : std::optional(now + std::chrono::seconds(ttl));
}

}  // namespace qor::someip::sd

#endif
