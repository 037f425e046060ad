// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/subscriber_table.h"

#include <algorithm>
#include <utility>

#include "platform/someip/sd/entry_endpoints.h"

namespace qor::someip::sd {
namespace {

const OfferedEventgroup* FindEventgroup(const OfferedService& service, std::uint16_t id) {
  const auto found = std::find_if(service.eventgroups.begin(), service.eventgroups.end(),
                                  [id](const OfferedEventgroup& eventgroup) { return eventgroup.id == id; });
  return found == service.eventgroups.end() ? nullptr : &*found;
}

Subscriber SubscriberOf(Ipv4Address sender, const Entry& entry) {
  return {entry.Key(), entry.eventgroup, sender, entry.counter, EndpointsOf(entry.options).endpoints};
}

std::optional<Refusal> CheckEndpoints(Ipv4Address sender, const EntryEndpoints& given, const OfferedService& service,
                                      const OfferedEventgroup& eventgroup) {
  const auto& [udp, tcp] = given.endpoints;
  if (given.isUnfit || (udp && !service.endpoints.udp) || (tcp && !service.endpoints.tcp)) {
    return Refusal::kUnfitEndpoint;
  }
  if ((!udp && !tcp) || (eventgroup.needsUdp && !udp) || (eventgroup.needsTcp && !tcp)) {
    return Refusal::kMissingEndpoint;
  }
  if ((udp && udp->address != sender) || (tcp && tcp->address != sender)) {
    return Refusal::kForeignAddress;
  }
  return std::nullopt;
}

/// The answer to a subscribe entry: the same ids and counter.
Entry AnswerTo(const Entry& entry, std::uint32_t ttl) {
  Entry answer = entry;
  answer.type = EntryType::kSubscribeEventgroupAck;
  answer.ttl = ttl;
  answer.options.clear();
  return answer;
}

}  // namespace

void SubscriberTable::OnEntry(Ipv4Address sender, const Entry& entry, TimePoint now) {
  if (entry.ttl == 0) {
    Unsubscribe(sender, entry);
    return;
  }
  const auto checked = Check(sender, entry);
  if (const auto* refusal = std::get_if<Refusal>(&checked)) {
    Refuse(SubscriberOf(sender, entry), entry, *refusal);
    return;
  }
  const auto& subscriber = std::get<Subscriber>(checked);
  if (const auto refusal = Admit(subscriber, entry.ttl, now)) {
    Refuse(subscriber, entry, *refusal);
  } else {
    Acknowledge(sender, entry);
  }
}

void SubscriberTable::OnInvalidEntry(Ipv4Address sender, const Entry& entry) {
  if (entry.ttl != 0) {
    Refuse(SubscriberOf(sender, entry), entry, Refusal::kInvalidOptions);
  }
}

std::variant<Subscriber, Refusal> SubscriberTable::Check(Ipv4Address sender, const Entry& entry) const {
  const OfferedService* service = services_.Find(entry.Key());
  if (service == nullptr) {
    return services_.HasInstance(entry.service, entry.instance) ? Refusal::kWrongMajorVersion
                                                                : Refusal::kUnknownService;
  }
  const OfferedEventgroup* eventgroup = FindEventgroup(*service, entry.eventgroup);
  if (eventgroup == nullptr) {
    return Refusal::kUnknownEventgroup;
  }
  if (const auto refusal = CheckEndpoints(sender, EndpointsOf(entry.options), *service, *eventgroup)) {
    return *refusal;
  }
  return SubscriberOf(sender, entry);
}

std::optional<Refusal> SubscriberTable::CheckLimits(const Subscriber& subscriber) const {
  if (subscribers_.size() >= limits_.subscribers) {
    return Refusal::kTooMany;
  }
  std::size_t ofHost = 0;
  auto at = subscribers_.lower_bound({subscriber.service, subscriber.eventgroup, subscriber.host, 0, {}});
  for (; at != subscribers_.end() && at->service == subscriber.service && at->eventgroup == subscriber.eventgroup &&
         at->host == subscriber.host;
       ++at) {
    ++ofHost;
  }
  return ofHost < limits_.subscribersOfHost ? std::nullopt : std::optional(Refusal::kTooManyFromHost);
}

/// Takes a new subscriber, or renews one.
std::optional<Refusal> SubscriberTable::Admit(const Subscriber& subscriber, std::uint32_t ttl, TimePoint now) {
  if (subscribers_.count(subscriber) == 0) {
    if (const auto refusal = CheckLimits(subscriber)) {
      return refusal;
    }
    if (const auto refusal = listener_.OnSubscribe(subscriber)) {
      return refusal;
    }
    subscribers_.insert(subscriber);
    byHost_[subscriber.host].insert(subscriber);
  }
  SetExpiry(subscriber, ttl, now);
  return std::nullopt;
}

void SubscriberTable::SetExpiry(const Subscriber& subscriber, std::uint32_t ttl, TimePoint now) {
  if (const auto end = EndOfTtl(now, ttl)) {
    expiry_.Set(subscriber, *end);
  } else {
    expiry_.Remove(subscriber);
  }
}

void SubscriberTable::Acknowledge(Ipv4Address sender, const Entry& entry) {
  Entry answer = AnswerTo(entry, entry.ttl);
  const OfferedService* service = services_.Find(entry.Key());
  const OfferedEventgroup* eventgroup = service == nullptr ? nullptr : FindEventgroup(*service, entry.eventgroup);
  if (eventgroup != nullptr && eventgroup->multicast) {
    answer.options.emplace_back(Ipv4Option{AddressRole::kMulticast, *eventgroup->multicast, TransportProtocol::kUdp});
  }
  outbox_.AddUnicast(sender, std::move(answer));
}

void SubscriberTable::Refuse(const Subscriber& subscriber, const Entry& entry, Refusal reason) {
  outbox_.AddUnicast(subscriber.host, AnswerTo(entry, 0));
  listener_.OnSubscriberRefused(subscriber, reason);
}

/// Some hosts leave the endpoints out: then all with this counter are meant.
void SubscriberTable::Unsubscribe(Ipv4Address sender, const Entry& entry) {
  const Subscriber wanted = SubscriberOf(sender, entry);
  const auto host = byHost_.find(sender);
  if (host == byHost_.end()) {
    return;
  }
  std::vector<Subscriber> ended;
  for (auto at = host->second.lower_bound({wanted.service, wanted.eventgroup, sender, wanted.counter, {}});
       at != host->second.end() && at->service == wanted.service && at->eventgroup == wanted.eventgroup &&
       at->counter == wanted.counter;
       ++at) {
    if (wanted.endpoints == Endpoints{} || at->endpoints == wanted.endpoints) {
      ended.push_back(*at);
    }
  }
  EndThose(ended, SubscriberEnd::kUnsubscribed);
}

void SubscriberTable::EndHost(Ipv4Address host) {
  const auto found = byHost_.find(host);
  if (found != byHost_.end()) {
    EndThose({found->second.begin(), found->second.end()}, SubscriberEnd::kRebooted);
  }
}

void SubscriberTable::EndService(const ServiceKey& service) {
  OfferedService nothing;
  nothing.key = service;
  EndWithoutEventgroup(nothing);
}

void SubscriberTable::EndWithoutEventgroup(const OfferedService& service) {
  std::vector<Subscriber> ended;
  for (auto at = subscribers_.lower_bound({service.key, 0, {}, 0, {}});
       at != subscribers_.end() && at->service == service.key; ++at) {
    if (FindEventgroup(service, at->eventgroup) == nullptr) {
      ended.push_back(*at);
    }
  }
  EndThose(ended, SubscriberEnd::kServiceStopped);
}

void SubscriberTable::OnTime(TimePoint now) {
  while (const auto expired = expiry_.TakeDue(now)) {
    EndThose({*expired}, SubscriberEnd::kExpired);
  }
}

void SubscriberTable::EndThose(const std::vector<Subscriber>& subscribers, SubscriberEnd end) {
  for (const Subscriber& subscriber : subscribers) {
    if (subscribers_.erase(subscriber) == 0) {
      continue;  // ended by a call of the listener
    }
    expiry_.Remove(subscriber);
    const auto host = byHost_.find(subscriber.host);
    host->second.erase(subscriber);
    if (host->second.empty()) {
      byHost_.erase(host);
    }
    listener_.OnSubscriberEnded(subscriber, end);
  }
}

}  // namespace qor::someip::sd
