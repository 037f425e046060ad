// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/imported_service.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/com/someip/service_records.h"
#include "platform/log/qor_log.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SomeipGateway");
constexpr std::uint32_t kLogIntervalMs = 5000;

ServiceIndex IndexOf(const someip::sd::ServiceKey& key) {
  return {.serviceId = key.service, .instanceId = key.instance, .majorVersion = key.major};
}

}  // namespace

Result<std::unique_ptr<ImportedService>> ImportedService::Open(const GatewayLoops& loops, ServiceBroker& broker,
                                                               someip::sd::SdRunner& discovery, const Network& network,
                                                               const someip::sd::RemoteService& remote) {
  EventRelay::Options options;
  options.service = IndexOf(remote.key);
  options.sourceAddress = network.address;
  options.clientId = broker.NewClientId();
  if (remote.endpoints.udp) {
    options.server.udpPort = std::uint16_t{0};
  }
  if (remote.endpoints.tcp) {
    options.server.tcpPort = std::uint16_t{0};
  }
  auto relay = EventRelay::Open(loops.control, loops.events, options);
  if (!relay) {
    return relay.Error();
  }
  auto service = std::make_unique<ImportedService>(broker, discovery, network, std::move(relay).Value(), remote);
  if (const auto offered = service->Offer(); !offered) {
    return offered.Error();
  }
  return service;
}

ImportedService::ImportedService(ServiceBroker& broker, someip::sd::SdRunner& discovery, const Network& network,
                                 std::shared_ptr<EventRelay> relay, const someip::sd::RemoteService& remote)
    : broker_(broker),
      discovery_(discovery),
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
    discovery_.Agent().Unsubscribe(key_, id);
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
    SetEvents(subscription.events);
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

/// Applications may expect an event differently; the first one is followed. Large messages must pass, however they
/// came.
void ImportedService::SetEvents(const std::vector<OfferedEvent>& events) {
  for (OfferedEvent event : events) {
    if (!event.isReliable) {
      event.tp = {};
      event.tp.isEnabled = true;
    }
    if (events_.emplace(event.eventId, event).second) {
      relay_->SetEvent(event);
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

/// Subscribes once the transports are there that the takers need and the other host has; ends it without takers.
void ImportedService::Ask(std::uint16_t id, Eventgroup& group) {
  someip::Endpoints local;
  for (const auto& [endpoint, isReliable] : group.takers) {
    if (isReliable ? !remote_.tcp : !remote_.udp) {
      continue;
    }
    auto& needed = isReliable ? local.tcp : local.udp;
    needed = isReliable ? relay_->Local().tcp : relay_->Local().udp;
    if (!needed) {
      local = {};
      break;
    }
  }
  if (local == group.asked) {
    return;
  }
  group.asked = local;
  if (local == someip::Endpoints{}) {
    SetMulticast(group, std::nullopt);
    discovery_.Agent().Unsubscribe(key_, id);
    return;
  }
  someip::sd::Subscription subscription;
  subscription.service = key_;
  subscription.eventgroup = id;
  subscription.local = local;
  subscription.ttl = network_.ttl;
  discovery_.Agent().Subscribe(subscription);
  if (discovery_.Socket().IsListenOnly()) {
    kLog.Warn("ImportedService_Ask", kLogIntervalMs)
        << "Eventgroup " << id << " of " << com::Text(offer_.service)
        << " cannot be subscribed: another program speaks "
        << "SOME/IP service discovery on " << network_.address.Text() << ".";
  }
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
  if (group.multicast == multicast) {
    return;
  }
  const auto before = group.multicast;
  group.multicast = multicast;
  const bool isShared =
      before && std::ranges::any_of(eventgroups_, [&](const auto& entry) { return entry.second.multicast == before; });
  if (before && !isShared) {
    relay_->Client().LeaveMulticast(*before);
  }
  if (!multicast) {
    return;
  }
  if (const auto joined = relay_->Client().JoinMulticast(*multicast); !joined) {
    kLog.Warn("ImportedService_Multicast", kLogIntervalMs)
        << "The messages of " << com::Text(offer_.service) << " to " << multicast->Text()
        << " cannot be received: " << joined.Error().Message();
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
