// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_HOST_BATCHES_H
#define QOR_SOMEIP_SD_HOST_BATCHES_H

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "platform/someip/sd/deadline_queue.h"

namespace qor::someip::sd {

/// What is to be sent to each host, and when: items that come while others wait travel with them.
template <class Item>
class HostBatches {
 public:
  /// The batch is due no later than `time`.
  void Add(Ipv4Address host, const Item& item, TimePoint time) {
    items_[host].insert(item);
    const auto earlier = due_.TimeOf(host);
    if (!earlier || time < *earlier) {
      due_.Set(host, time);
    }
  }
  void Remove(Ipv4Address host, const Item& item) {
    const auto found = items_.find(host);
    if (found != items_.end() && found->second.erase(item) > 0 && found->second.empty()) {
      RemoveHost(host);
    }
  }
  void RemoveHost(Ipv4Address host) {
    items_.erase(host);
    due_.Remove(host);
  }
  void Clear() {
    items_.clear();
    due_.Clear();
  }

  bool Has(Ipv4Address host) const { return items_.count(host) > 0; }
  std::size_t HostCount() const { return items_.size(); }
  std::optional<TimePoint> Next() const { return due_.Next(); }
  std::optional<std::pair<Ipv4Address, std::set<Item>>> TakeDue(TimePoint now) {
    const auto host = due_.TakeDue(now);
    if (!host) {
      return std::nullopt;
    }
    auto node = items_.extract(*host);
    return std::pair(*host, std::move(node.mapped()));
  }

 private:
  std::map<Ipv4Address, std::set<Item>> items_;
  DeadlineQueue<Ipv4Address> due_;
};

}  // namespace qor::someip::sd

#endif
