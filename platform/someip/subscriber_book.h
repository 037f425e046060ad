// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SUBSCRIBER_BOOK_H
#define QOR_SOMEIP_SUBSCRIBER_BOOK_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <vector>

#include "platform/someip/endpoint.h"

namespace qor::someip {

/// Who has subscribed what at one server. Not synchronised.
class SubscriberBook {
 public:
  /// False when it is there already.
  bool Add(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  /// False when it is not there.
  bool Remove(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  /// Everything that this subscriber takes by one transport.
  void RemoveAll(const Endpoint& subscriber, bool isReliable);

  /// By both transports.
  std::size_t Count(std::uint16_t eventgroupId) const;
  /// Who takes any of the eventgroups by this transport; each once.
  std::vector<Endpoint> Of(std::span<const std::uint16_t> eventgroupIds, bool isReliable) const;
  std::vector<std::uint16_t> EventgroupsOf(const Endpoint& subscriber, bool isReliable) const;

 private:
  struct Entry {
    std::uint16_t eventgroupId = 0;
    bool isReliable = false;
    Endpoint subscriber;

    auto operator<=>(const Entry&) const = default;
  };

  std::set<Entry> entries_;
};

}  // namespace qor::someip

#endif
