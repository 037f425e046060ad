// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/service_broker.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "platform/com/someip/service_records.h"
#include "platform/someip/message.h"

namespace qor::maintaind {
namespace {

using VoidResult = ara::core::Result<void>;

ara::core::ErrorCode Refuse(std::string reason) {
  return {static_cast<std::int32_t>(someip::ReturnCode::kNotOk), std::move(reason)};
}

/// Applications keep their ids over a restart of the daemon, so each start begins somewhere else.
std::uint16_t FirstClientId() { return static_cast<std::uint16_t>(std::random_device()()); }

using com::Text;

bool IsSameSubscriber(const EventgroupSubscription& a, const EventgroupSubscription& b) {
  return a.eventGroupId == b.eventGroupId && a.port == b.port && a.isReliable == b.isReliable && a.address == b.address;
}

}  // namespace

ServiceBroker::ServiceBroker(BrokerPeers& peers, Limits limits)
    : peers_(peers), limits_(limits), lastClientId_(FirstClientId()) {}

std::uint16_t ServiceBroker::NewClientId() {
  if (++lastClientId_ == 0) {
    ++lastClientId_;
  }
  return lastClientId_;
}

ara::core::ErrorCode ServiceBroker::TooManyServices() const {
  return Refuse("an application can offer and look for " + std::to_string(limits_.services) + " services at most");
}

VoidResult ServiceBroker::Offer(ConnectionId connection, const ServiceOffer& offer) {
  const auto known = services_.find(offer.service);
  const auto provider = known == services_.end() ? std::nullopt : known->second.provider;
  const bool isOwn = provider == connection;
  if (provider && !isOwn && provider != kGatewayConnection) {
    return Refuse(Text(offer.service) + " is offered by another application of this host");
  }
  if (!isOwn && !HasRoomForService(connection)) {
    return TooManyServices();
  }
  Service& service = services_[offer.service];
  const ServiceState before = StateOf(offer.service, service);
  service.provider = connection;
  service.offer = offer;
  const ServiceState now = StateOf(offer.service, service);
  if (std::tie(before.isAvailable, before.address, before.udpPort, before.tcpPort, before.lost) !=
      std::tie(now.isAvailable, now.address, now.udpPort, now.tcpPort, now.lost)) {
    TellFinders(offer.service, service);
  }
  if (!isOwn) {
    for (const Subscription& subscription : service.subscriptions) {
      TellProvider(service, subscription.what, true);
    }
  }
  if (gateway_ != nullptr && connection != kGatewayConnection) {
    gateway_->OnOffered(offer);
  }
  return {};
}

VoidResult ServiceBroker::StopOffer(ConnectionId connection, const ServiceIndex& index) {
  const auto found = services_.find(index);
  if (found == services_.end() || found->second.provider != connection) {
    return Refuse(Text(index) + " is not offered by this application");
  }
  EndOffer(index, found->second);
  if (found->second.IsUnused()) {
    services_.erase(found);
  }
  return {};
}

VoidResult ServiceBroker::Find(ConnectionId connection, const ServiceIndex& index) {
  if (!HasRoomForService(connection)) {
    return TooManyServices();
  }
  Service& service = services_[index];
  const bool isFirst = service.finders.empty();
  service.finders.insert(connection);
  peers_.OnServiceState(connection, StateOf(index, service));
  if (isFirst && gateway_ != nullptr) {
    gateway_->OnWanted(index, true);
  }
  return {};
}

VoidResult ServiceBroker::StopFind(ConnectionId connection, const ServiceIndex& index) {
  const auto found = services_.find(index);
  if (found == services_.end() || !found->second.finders.contains(connection)) {
    return Refuse(Text(index) + " is not looked for by this application");
  }
  RemoveFinder(connection, index, found->second);
  if (found->second.IsUnused()) {
    services_.erase(found);
  }
  return {};
}

VoidResult ServiceBroker::Subscribe(ConnectionId connection, EventgroupSubscription subscription) {
  if (connection != kGatewayConnection && SubscriptionsOf(connection) >= limits_.subscriptions) {
    return Refuse("an application can have " + std::to_string(limits_.subscriptions) + " subscriptions at most");
  }
  Service& service = services_[subscription.service];
  const auto known = std::ranges::find_if(service.subscriptions, [&](const Subscription& candidate) {
    return IsSameSubscriber(candidate.what, subscription);
  });
  if (known != service.subscriptions.end()) {
    known->what.events = std::move(subscription.events);
    if (service.provider == kGatewayConnection) {
      TellProvider(service, known->what, true);
    }
    return {};
  }
  service.subscriptions.push_back({connection, std::move(subscription)});
  TellProvider(service, service.subscriptions.back().what, true);
  return {};
}

VoidResult ServiceBroker::Unsubscribe(ConnectionId connection, const EventgroupSubscription& subscription) {
  const auto found = services_.find(subscription.service);
  if (found == services_.end()) {
    return Refuse(Text(subscription.service) + " is not subscribed");
  }
  Service& service = found->second;
  const auto known = std::ranges::find_if(service.subscriptions, [&](const Subscription& candidate) {
    return candidate.connection == connection && IsSameSubscriber(candidate.what, subscription);
  });
  if (known == service.subscriptions.end()) {
    return Refuse("eventgroup " + std::to_string(subscription.eventGroupId) + " of " + Text(subscription.service) +
                  " is not subscribed by this application");
  }
  TellProvider(service, known->what, false);
  service.subscriptions.erase(known);
  if (service.IsUnused()) {
    services_.erase(found);
  }
  return {};
}

void ServiceBroker::Close(ConnectionId connection) {
  for (auto entry = services_.begin(); entry != services_.end();) {
    Service& service = entry->second;
    if (service.finders.contains(connection)) {
      RemoveFinder(connection, entry->first, service);
    }
    if (service.provider == connection) {
      EndOffer(entry->first, service);
    }
    std::erase_if(service.subscriptions, [&](const Subscription& subscription) {
      if (subscription.connection != connection) {
        return false;
      }
      TellProvider(service, subscription.what, false);
      return true;
    });
    entry = service.IsUnused() ? services_.erase(entry) : std::next(entry);
  }
}

ServiceState ServiceBroker::StateOf(const ServiceIndex& index, const Service& service) {
  if (!service.provider) {
    return {.service = index, .isAvailable = false, .address = {}, .udpPort = 0, .tcpPort = 0, .lost = 0};
  }
  return {.service = index,
          .isAvailable = true,
          .address = service.offer.address,
          .udpPort = service.offer.udpPort,
          .tcpPort = service.offer.tcpPort,
          .lost = service.offer.lost};
}

void ServiceBroker::TellFinders(const ServiceIndex& index, const Service& service) {
  const ServiceState state = StateOf(index, service);
  for (const ConnectionId finder : service.finders) {
    peers_.OnServiceState(finder, state);
  }
}

void ServiceBroker::TellProvider(const Service& service, const EventgroupSubscription& subscription,
                                 bool isSubscribed) {
  if (!service.provider) {
    return;
  }
  SubscriberChange change{.subscription = subscription, .isSubscribed = isSubscribed};
  if (service.provider == kGatewayConnection) {
    gateway_->OnSubscriberChange(change);
    return;
  }
  change.subscription.events.clear();
  peers_.OnSubscriberChange(*service.provider, change);
}

void ServiceBroker::EndOffer(const ServiceIndex& index, Service& service) {
  const bool isOfApplication = service.provider != kGatewayConnection;
  service.provider.reset();
  service.offer = {};
  TellFinders(index, service);
  if (isOfApplication && gateway_ != nullptr) {
    gateway_->OnOfferEnded(index);
  }
}

void ServiceBroker::RemoveFinder(ConnectionId connection, const ServiceIndex& index, Service& service) {
  service.finders.erase(connection);
  if (service.finders.empty() && gateway_ != nullptr) {
    gateway_->OnWanted(index, false);
  }
}

bool ServiceBroker::HasRoomForService(ConnectionId connection) const {
  return connection == kGatewayConnection || CountOf(connection) < limits_.services;
}

std::size_t ServiceBroker::CountOf(ConnectionId connection) const {
  return static_cast<std::size_t>(std::ranges::count_if(services_, [connection](const auto& entry) {
    return entry.second.provider == connection || entry.second.finders.contains(connection);
  }));
}

std::size_t ServiceBroker::SubscriptionsOf(ConnectionId connection) const {
  std::size_t count = 0;
  for (const auto& [index, service] : services_) {
    count += static_cast<std::size_t>(std::ranges::count(service.subscriptions, connection, &Subscription::connection));
  }
  return count;
}

}  // namespace qor::maintaind
