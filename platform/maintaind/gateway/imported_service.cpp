// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/imported_service.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/com/someip/service_records.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/gateway/service_key.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SomeipGateway");
constexpr std::uint32_t kLogIntervalMs = 5000;

}  // namespace

Result<std::unique_ptr<ImportedService>> ImportedService::Open(const GatewayLoops& loops, ServiceBroker& broker,
                                                               RemoteSubscriptions& subscriptions,
                                                               const Network& network,
                                                               const someip::sd::RemoteService& remote) {
  EventRelay::Options options;
  options.service = IndexOf(remote.key);
  options.sourceAddress = network.address;
  if (remote.endpoints.udp) {
    options.server.udpPort = std::uint16_t{0};
  }
  if (remote.endpoints.tcp) {
    options.server.tcpPort = std::uint16_t{0};
  }
  auto relay = EventRelay::Open(loops, options);
  if (!relay) {
    return relay.Error();
  }
  auto service = std::make_unique<ImportedService>(broker, subscriptions, network, std::move(relay).Value(), remote);
  if (const auto offered = service->Offer(); !offered) {
    return offered.Error();
  }
  return service;
}

ImportedService::ImportedService(ServiceBroker& broker, RemoteSubscriptions& subscriptions, const Network& network,
                                 std::shared_ptr<EventRelay> relay, const someip::sd::RemoteService& remote)
    : broker_(broker),
      subscriptions_(subscriptions),
      network_(network),
      key_(remote.key),
      relay_(std::move(relay)),
      remote_(remote.endpoints) {
  const auto portOf = [](const auto& endpoint) { return endpoint ? endpoint->port : std::uint16_t{0}; };
  offer_.service = IndexOf(key_);
  offer_.minorVersion = remote.minor;
  offer_.address = someip::kLoopbackAddress.Text();
  offer_.udpPort = portOf(relay_->Server().UdpEndpoint());
  offer_.tcpPort = portOf(relay_->Server().TcpEndpoint());
  relay_->SetChangeHandler([this] { UpdateSubscriptions(); });
  relay_->SetProvider(remote_);
}

ImportedService::~ImportedService() {
  relay_->SetChangeHandler(nullptr);
  for (const auto& [id, group] : eventgroups_) {
    subscriptions_.Unsubscribe(key_, id);
  }
  (void)broker_.StopOffer(kGatewayConnection, offer_.service);  // it fails when an application offers it now
}

Result<void> ImportedService::Offer() { return broker_.Offer(kGatewayConnection, offer_); }

bool ImportedService::Update(const someip::sd::RemoteService& remote) {
  const auto transports = [](const someip::Endpoints& endpoints) {
    return std::pair(endpoints.udp.has_value(), endpoints.tcp.has_value());
  };
  if (transports(remote.endpoints) != transports(remote_)) {
    return false;
  }
  remote_ = remote.endpoints;
  relay_->SetProvider(remote_);
  UpdateSubscriptions();
  return true;
}

void ImportedService::OnSubscriberChange(const SubscriberChange& change) {
  const EventgroupSubscription& subscription = change.subscription;
  const auto address = someip::Ipv4Address::FromText(subscription.address);
  if (!address || subscription.port == 0) {
    return;
  }
  const Taker taker{{*address, subscription.port}, subscription.isReliable};
  if (change.isSubscribed) {
    AddEvents(subscription);
    eventgroups_[subscription.eventGroupId].takers.insert(taker);
    const auto added = relay_->Server().AddSubscriber(subscription.eventGroupId, taker.first, taker.second);
    if (!added) {
      kLog.Warn("ImportedService_AddSubscriber", kLogIntervalMs)
          << "A subscriber of " << com::Text(offer_.service) << " gets nothing: " << added.Error().Message();
    }
  } else if (const auto group = eventgroups_.find(subscription.eventGroupId); group != eventgroups_.end()) {
    relay_->Server().RemoveSubscriber(subscription.eventGroupId, taker.first, taker.second);
    group->second.takers.erase(taker);
  }
  UpdateSubscriptions();
}

/// Applications may expect an event in different eventgroups; each that is taken counts. Large messages must pass,
/// however they came.
void ImportedService::AddEvents(const EventgroupSubscription& subscription) {
  for (OfferedEvent event : subscription.events) {
    const auto known = events_.find(event.eventId);
    if (known == events_.end()) {
      event.eventGroupIds = {subscription.eventGroupId};
      event.tp = {};
      event.tp.isEnabled = !event.isReliable;
      relay_->SetEvent(events_.emplace(event.eventId, std::move(event)).first->second);
      continue;
    }
    if (known->second.isReliable != event.isReliable) {
      kLog.Warn("ImportedService_Transports", kLogIntervalMs)
          << "Event " << event.eventId << " of " << com::Text(offer_.service)
          << " is expected by TCP and by UDP; who came first gets it.";
    }
    if (auto& groups = known->second.eventGroupIds;
        std::ranges::find(groups, subscription.eventGroupId) == groups.end()) {
      groups.push_back(subscription.eventGroupId);
      relay_->SetEvent(known->second);
    }
  }
}

/// Those of eventgroups that nobody takes any more: a field's last value would grow old.
void ImportedService::ForgetEvents() {
  std::erase_if(events_, [this](const auto& entry) {
    const bool isTaken = std::ranges::any_of(entry.second.eventGroupIds,
                                             [this](std::uint16_t group) { return eventgroups_.contains(group); });
    if (!isTaken) {
      relay_->RemoveEvent(entry.first);
    }
    return !isTaken;
  });
}

bool ImportedService::Takes(bool isReliable) const {
  return std::ranges::any_of(eventgroups_, [&](const auto& entry) {
    return std::ranges::any_of(entry.second.takers, [&](const Taker& taker) { return taker.second == isReliable; });
  });
}

void ImportedService::UpdateSubscriptions() {
  relay_->Need(Takes(false), Takes(true));
  for (auto& [id, group] : eventgroups_) {
    Ask(id, group);
  }
  std::erase_if(eventgroups_, [](const auto& entry) { return entry.second.takers.empty(); });
  ForgetEvents();
}

/// Subscribes with the transports that the takers need, the other host has, and are open; a first attempt to connect is
/// waited for. Without takers the subscription ends.
void ImportedService::Ask(std::uint16_t id, Eventgroup& group) {
  someip::Endpoints local;
  for (const auto& [endpoint, isReliable] : group.takers) {
    if (!isReliable) {
      local.udp = remote_.udp ? relay_->Local().udp : std::nullopt;
      continue;
    }
    local.tcp = relay_->Local().tcp;
    if (!local.tcp && relay_->IsTcpUnderWay() && group.asked == someip::Endpoints{}) {
      return;
    }
  }
  if (local == group.asked) {
    return;
  }
  group.asked = local;
  if (local == someip::Endpoints{}) {
    SetMulticast(group, std::nullopt);
    subscriptions_.Unsubscribe(key_, id);
    return;
  }
  someip::sd::Subscription subscription;
  subscription.service = key_;
  subscription.eventgroup = id;
  subscription.local = local;
  subscription.ttl = network_.ttl;
  subscriptions_.Subscribe(subscription);
}

void ImportedService::OnSubscriptionState(const someip::sd::Subscription& subscription) {
  using State = someip::sd::Subscription::State;
  const auto group = eventgroups_.find(subscription.eventgroup);
  if (group == eventgroups_.end()) {
    return;
  }
  if (subscription.state == State::kRefused) {
    kLog.Warn("ImportedService_Refused", kLogIntervalMs)
        << "The subscription of eventgroup " << subscription.eventgroup << " of " << com::Text(offer_.service)
        << " was refused by its host.";
  }
  SetMulticast(group->second, subscription.state == State::kAcknowledged ? subscription.multicast : std::nullopt);
}

void ImportedService::SetMulticast(Eventgroup& group, const std::optional<someip::Endpoint>& multicast) {
  if (group.multicast != multicast) {
    const auto before = std::exchange(group.multicast, multicast);
    if (before && !IsMulticastUsed(*before)) {
      relay_->Client().LeaveMulticast(*before);
      joined_.erase(*before);
    }
  }
  if (multicast && !joined_.contains(*multicast)) {
    Join(*multicast);
  }
}

bool ImportedService::IsMulticastUsed(const someip::Endpoint& multicast) const {
  return std::ranges::any_of(eventgroups_, [&](const auto& entry) { return entry.second.multicast == multicast; });
}

void ImportedService::Join(const someip::Endpoint& multicast) {
  if (const auto joined = relay_->Client().JoinMulticast(multicast); !joined) {
    joined_.erase(multicast);
    kLog.Warn("ImportedService_Join", kLogIntervalMs)
        << "The messages of " << com::Text(offer_.service) << " to " << multicast.Text()
        << " cannot be received: " << joined.Error().Message();
    return;
  }
  joined_.insert(multicast);
}

void ImportedService::OnNetworkUp() {
  std::set<someip::Endpoint> used;
  for (const auto& [id, group] : eventgroups_) {
    if (group.multicast) {
      used.insert(*group.multicast);
    }
  }
  for (const someip::Endpoint& multicast : used) {
    Join(multicast);
  }
}

void ImportedService::Retry() {
  for (auto& [id, group] : eventgroups_) {
    SetMulticast(group, group.multicast);
  }
  if (Takes(false) && !relay_->Local().udp) {
    UpdateSubscriptions();
  }
}

void ImportedService::ReportLost() {
  const std::uint64_t lost = relay_->Client().Counts().Lost();
  if (lost == offer_.lost) {
    return;
  }
  kLog.Warn("ImportedService_Lost_" + com::Text(offer_.service), kLogIntervalMs)
      << lost << " messages of " << com::Text(offer_.service) << " were lost since it is offered.";
  offer_.lost = lost;
  (void)Offer();  // it fails when an application offers it now
}

}  // namespace qor::maintaind
