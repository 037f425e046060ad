// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/subscriber_book.h"

#include <algorithm>

namespace qor::someip {

bool SubscriberBook::Add(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
  return entries_.insert({eventgroupId, isReliable, subscriber}).second;
}

bool SubscriberBook::Remove(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable) {
  return entries_.erase({eventgroupId, isReliable, subscriber}) != 0;
}

void SubscriberBook::RemoveAll(const Endpoint& subscriber, bool isReliable) {
  std::erase_if(entries_, [&subscriber, isReliable](const Entry& entry) {
    return entry.isReliable == isReliable && entry.subscriber == subscriber;
  });
}

std::size_t SubscriberBook::Count(std::uint16_t eventgroupId) const {
  return static_cast<std::size_t>(std::ranges::count(entries_, eventgroupId, &Entry::eventgroupId));
}

std::vector<Endpoint> SubscriberBook::Of(std::span<const std::uint16_t> eventgroupIds, bool isReliable) const {
  std::set<Endpoint> subscribers;
  for (const std::uint16_t eventgroupId : eventgroupIds) {
    for (auto at = entries_.lower_bound({eventgroupId, isReliable, {}});
         at != entries_.end() && at->eventgroupId == eventgroupId && at->isReliable == isReliable; ++at) {
      subscribers.insert(at->subscriber);
    }
  }
  return {subscribers.begin(), subscribers.end()};
}

std::vector<std::uint16_t> SubscriberBook::EventgroupsOf(const Endpoint& subscriber, bool isReliable) const {
  std::vector<std::uint16_t> eventgroupIds;
  for (const Entry& entry : entries_) {
    if (entry.isReliable == isReliable && entry.subscriber == subscriber) {
      eventgroupIds.push_back(entry.eventgroupId);
    }
  }
  return eventgroupIds;
}

}  // namespace qor::someip
