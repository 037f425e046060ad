// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/event_subscriptions.h"

#include <algorithm>
#include <vector>

#include "platform/someip/sd/entry_endpoints.h"

namespace qor::someip::sd {
namespace {

using State = Subscription::State;

/// For a subscription until reboot that gets no answer, from a host that does not repeat its offers.
constexpr std::chrono::seconds kRetry{3};

Entry SubscribeEntry(const Subscription& subscription, std::uint32_t ttl) {
  Entry entry;
  entry.type = EntryType::kSubscribeEventgroup;
  entry.service = subscription.service.service;
  entry.instance = subscription.service.instance;
  entry.major = subscription.service.major;
  entry.eventgroup = subscription.eventgroup;
  entry.ttl = ttl;
  entry.options = OptionsFor(subscription.local);
  return entry;
}

Duration RenewalPause(std::uint32_t ttl) {
  return ttl == kTtlUntilReboot ? Duration(kRetry) : Duration(std::chrono::seconds(ttl)) / 2;
}

}  // namespace

void EventSubscriptions::Subscribe(const Subscription& subscription, std::optional<Ipv4Address> host, TimePoint now) {
  Unsubscribe(subscription.service, subscription.eventgroup);
  const Key key{subscription.service, subscription.eventgroup};
  Own& own = subscriptions_[key];
  own.subscription = subscription;
  own.subscription.ttl = std::clamp(subscription.ttl, 1U, kTtlUntilReboot);
  own.subscription.state = State::kWaiting;
  own.subscription.multicast.reset();
  if (host) {
    own.subscription.state = State::kPending;
    Request(key, own, *host, now);
  }
}

void EventSubscriptions::Unsubscribe(const ServiceKey& service, std::uint16_t eventgroup) {
  const auto found = subscriptions_.find({service, eventgroup});
  if (found == subscriptions_.end()) {
    return;
  }
  Withdraw(found->first, found->second);
  subscriptions_.erase(found);
}

void EventSubscriptions::UnsubscribeAll() {
  for (const auto& [key, own] : subscriptions_) {
    Withdraw(key, own);
  }
  subscriptions_.clear();
}

void EventSubscriptions::OnOffer(const ServiceKey& service, Ipv4Address host, bool isMulticast, TimePoint now) {
  // Many can hear one multicast offer; they are not to answer all at once.
  const TimePoint due =
      isMulticast ? now + RandomDelay(random_, timing_.responseDelayMin, timing_.responseDelayMax) : now;
  std::vector<Key> begun;
  for (auto at = FirstOf(service); at != subscriptions_.end() && at->first.first == service; ++at) {
    const bool isWaiting = at->second.subscription.state == State::kWaiting;
    if (isWaiting || isMulticast) {
      Request(at->first, at->second, host, due);
    }
    if (isWaiting) {
      begun.push_back(at->first);
    }
  }
  for (const Key& key : begun) {
    const auto own = subscriptions_.find(key);
    if (own != subscriptions_.end() && own->second.subscription.state == State::kWaiting) {
      SetState(own->second, State::kPending, std::nullopt);
    }
  }
}

void EventSubscriptions::OnServiceGone(const ServiceKey& service) {
  std::vector<Key> ended;
  for (auto at = FirstOf(service); at != subscriptions_.end() && at->first.first == service; ++at) {
    if (at->second.subscription.state != State::kWaiting) {
      requests_.Remove(at->second.host, at->first);
      renewals_.Remove(at->first);
      lapses_.Remove(at->first);
      at->second.isSent = false;
      ended.push_back(at->first);
    }
  }
  for (const Key& key : ended) {
    const auto own = subscriptions_.find(key);
    if (own != subscriptions_.end() && !own->second.isSent) {
      SetState(own->second, State::kWaiting, std::nullopt);
    }
  }
}

void EventSubscriptions::OnAck(Ipv4Address sender, const Entry& entry, TimePoint now) {
  const Key key{entry.Key(), entry.eventgroup};
  const auto found = subscriptions_.find(key);
  if (found == subscriptions_.end() || !found->second.isSent || found->second.host != sender || entry.counter != 0) {
    return;
  }
  Own& own = found->second;
  lapses_.Remove(key);
  if (entry.ttl == 0) {
    renewals_.Remove(key);  // only another offer makes it worth asking again
    SetState(own, State::kRefused, std::nullopt);
    return;
  }
  if (const auto end = EndOfTtl(now, std::min(entry.ttl, own.subscription.ttl))) {
    lapses_.Set(key, *end);
  }
  if (own.subscription.ttl == kTtlUntilReboot) {
    renewals_.Remove(key);
  }
  SetState(own, State::kAcknowledged, MulticastOf(entry.options));
}

std::optional<TimePoint> EventSubscriptions::Next() const {
  return Earlier(Earlier(requests_.Next(), renewals_.Next()), lapses_.Next());
}

void EventSubscriptions::OnTime(TimePoint now) {
  while (const auto key = lapses_.TakeDue(now)) {
    SetState(subscriptions_.at(*key), State::kPending, std::nullopt);
  }
  while (const auto key = renewals_.TakeDue(now)) {
    requests_.Add(subscriptions_.at(*key).host, *key, now);
  }
  SendDue(now);
}

void EventSubscriptions::SendDue(TimePoint now) {
  while (const auto batch = requests_.TakeDue(now)) {
    for (const Key& key : batch->second) {
      Own& own = subscriptions_.at(key);
      outbox_.AddUnicast(own.host, SubscribeEntry(own.subscription, own.subscription.ttl));
      own.isSent = true;
      renewals_.Set(key, now + RenewalPause(own.subscription.ttl));
    }
  }
}

void EventSubscriptions::Request(const Key& key, Own& own, Ipv4Address host, TimePoint due) {
  own.host = host;
  requests_.Add(host, key, due);
}

/// Leaves nothing behind but the subscription itself.
void EventSubscriptions::Withdraw(const Key& key, const Own& own) {
  if (own.isSent) {
    outbox_.AddUnicast(own.host, SubscribeEntry(own.subscription, 0));
  }
  requests_.Remove(own.host, key);
  renewals_.Remove(key);
  lapses_.Remove(key);
}

void EventSubscriptions::SetState(Own& own, State state, std::optional<Endpoint> multicast) {
  Subscription& subscription = own.subscription;
  if (subscription.state == state && subscription.multicast == multicast) {
    return;
  }
  subscription.state = state;
  subscription.multicast = multicast;
  const Subscription changed = subscription;  // the listener may end it
  listener_.OnSubscriptionState(changed);
}

}  // namespace qor::someip::sd
