// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/exported_service.h"

#include <algorithm>
#include <optional>
#include <tuple>

#include "platform/com/someip/service_records.h"
#include "platform/log/qor_log.h"

namespace qor::maintaind {
namespace {

using ara::core::Result;

constexpr QorLog kLog("SomeipGateway");

/// What the ports depend on; other values need other ports.
auto PortsOf(const ServiceOffer& offer) {
  return std::tuple(offer.udpPort != 0, offer.tcpPort != 0, offer.publicUdpPort, offer.publicTcpPort);
}

someip::Endpoints ProviderOf(const ServiceOffer& offer) {
  someip::Endpoints endpoints;
  const auto address = someip::Ipv4Address::FromText(offer.address);
  if (address && offer.udpPort != 0) {
    endpoints.udp = someip::Endpoint{*address, offer.udpPort};
  }
  if (address && offer.tcpPort != 0) {
    endpoints.tcp = someip::Endpoint{*address, offer.tcpPort};
  }
  return endpoints;
}

}  // namespace

Result<std::unique_ptr<ExportedService>> ExportedService::Open(const GatewayLoops& loops, ServiceBroker& broker,
                                                               someip::Ipv4Address address, const ServiceOffer& offer) {
  EventRelay::Options options;
  options.service = offer.service;
  options.sourceAddress = someip::kLoopbackAddress;
  options.server.address = address;
  const auto [hasUdp, hasTcp, udpPort, tcpPort] = PortsOf(offer);
  if (hasUdp) {
    options.server.udpPort = udpPort;
  }
  if (hasTcp) {
    options.server.tcpPort = tcpPort;
  }
  auto relay = EventRelay::Open(loops, options);
  if (!relay) {
    return relay.Error();
  }
  return std::make_unique<ExportedService>(broker, std::move(relay).Value(), offer);
}

ExportedService::ExportedService(ServiceBroker& broker, std::shared_ptr<EventRelay> relay, ServiceOffer offer)
    : broker_(broker), offer_(std::move(offer)), relay_(std::move(relay)) {
  relay_->SetChangeHandler([this] { UpdateSubscriptions(); });
  relay_->SetProvider(ProviderOf(offer_));
  SetEvents();
}

ExportedService::~ExportedService() {
  relay_->SetChangeHandler(nullptr);
  for (const auto& [group, subscription] : taken_) {
    Untake(subscription);
  }
}

bool ExportedService::Update(const ServiceOffer& offer) {
  if (PortsOf(offer) != PortsOf(offer_)) {
    return false;
  }
  offer_ = offer;
  relay_->SetProvider(ProviderOf(offer));
  SetEvents();
  UpdateSubscriptions();
  return true;
}

/// A field that nobody takes here is not kept at the relay: its last value would grow old.
void ExportedService::SetEvents() {
  std::map<std::uint16_t, OfferedEvent> events;
  for (const OfferedEvent& event : offer_.events) {
    events.emplace(event.eventId, event);
  }
  for (const auto& [id, event] : relayed_) {
    const auto known = events.find(id);
    if (known == events.end() || (known->second.isFieldNotifier && !IsTaken(known->second))) {
      relay_->RemoveEvent(id);
    }
  }
  std::map<std::uint16_t, OfferedEvent> relayed;
  for (const auto& [id, event] : events) {
    if (event.isFieldNotifier && !IsTaken(event)) {
      continue;
    }
    relayed.emplace(id, event);
    const auto known = relayed_.find(id);
    if (known == relayed_.end() || !(known->second == event)) {
      relay_->SetEvent(event);
    }
  }
  events_ = std::move(events);
  relayed_ = std::move(relayed);
}

someip::sd::OfferedService ExportedService::Offered() const {
  someip::sd::OfferedService service;
  service.key = {offer_.service.serviceId, offer_.service.instanceId, offer_.service.majorVersion};
  service.minor = offer_.minorVersion;
  service.endpoints = {relay_->Server().UdpEndpoint(), relay_->Server().TcpEndpoint()};
  std::map<std::uint16_t, someip::sd::OfferedEventgroup> groups;
  for (const auto& [id, event] : events_) {
    for (const std::uint16_t group : event.eventGroupIds) {
      auto& described = groups.try_emplace(group, someip::sd::OfferedEventgroup{group, false, false, {}}).first->second;
      (event.isReliable ? described.needsTcp : described.needsUdp) = true;
    }
  }
  for (auto& [id, group] : groups) {
    service.eventgroups.push_back(std::move(group));
  }
  return service;
}

void ExportedService::AddSubscriber(const someip::sd::Subscriber& subscriber) {
  subscribers_[subscriber.eventgroup].insert(subscriber);
  const auto add = [&](const std::optional<someip::Endpoint>& endpoint, bool isReliable) {
    if (!endpoint) {
      return;
    }
    if (const auto added = relay_->Server().AddSubscriber(subscriber.eventgroup, *endpoint, isReliable); !added) {
      kLog.Warn("ExportedService_AddSubscriber", 1000)
          << "A subscriber of " << com::Text(offer_.service) << " gets nothing: " << added.Error().Message();
    }
  };
  add(subscriber.endpoints.udp, false);
  add(subscriber.endpoints.tcp, true);
  UpdateSubscriptions();
}

void ExportedService::RemoveSubscriber(const someip::sd::Subscriber& subscriber) {
  const auto group = subscribers_.find(subscriber.eventgroup);
  if (group == subscribers_.end() || group->second.erase(subscriber) == 0) {
    return;
  }
  const auto remove = [&](std::optional<someip::Endpoint> someip::Endpoints::*endpoint, bool isReliable) {
    const auto& left = subscriber.endpoints.*endpoint;
    const bool isStillUsed = std::ranges::any_of(
        group->second, [&](const someip::sd::Subscriber& other) { return other.endpoints.*endpoint == left; });
    if (left && !isStillUsed) {
      relay_->Server().RemoveSubscriber(subscriber.eventgroup, *left, isReliable);
    }
  };
  remove(&someip::Endpoints::udp, false);
  remove(&someip::Endpoints::tcp, true);
  if (group->second.empty()) {
    subscribers_.erase(group);
  }
  UpdateSubscriptions();
}

/// What the application is asked for, as far as the transports are open.
std::map<ExportedService::Group, EventgroupSubscription> ExportedService::Wanted() const {
  std::map<Group, EventgroupSubscription> wanted;
  for (const auto& [id, event] : events_) {
    const auto& local = event.isReliable ? relay_->Local().tcp : relay_->Local().udp;
    for (const std::uint16_t group : event.eventGroupIds) {
      if (!local || !subscribers_.contains(group)) {
        continue;
      }
      EventgroupSubscription& subscription = wanted[{group, event.isReliable}];
      subscription.service = offer_.service;
      subscription.eventGroupId = group;
      subscription.address = local->address.Text();
      subscription.port = local->port;
      subscription.isReliable = event.isReliable;
    }
  }
  return wanted;
}

void ExportedService::UpdateSubscriptions() {
  const auto isAsked = [this](bool isReliable) {
    return std::ranges::any_of(events_, [&](const auto& entry) {
      const OfferedEvent& event = entry.second;
      return event.isReliable == isReliable &&
             std::ranges::any_of(event.eventGroupIds, [this](auto group) { return subscribers_.contains(group); });
    });
  };
  relay_->Need(isAsked(false), isAsked(true));
  const auto before = std::exchange(taken_, Wanted());
  for (const auto& [group, subscription] : before) {
    if (const auto now = taken_.find(group); now == taken_.end() || now->second.port != subscription.port) {
      Untake(subscription);
    }
  }
  SetEvents();
  for (const auto& [group, subscription] : taken_) {
    if (const auto then = before.find(group); then == before.end() || then->second.port != subscription.port) {
      (void)broker_.Subscribe(kGatewayConnection, subscription);  // the gateway has no limit
    }
  }
}

bool ExportedService::IsTaken(const OfferedEvent& event) const {
  return std::ranges::any_of(event.eventGroupIds, [&](auto group) {
    return taken_.contains({group, event.isReliable});
  });
}

void ExportedService::Untake(const EventgroupSubscription& subscription) {
  (void)broker_.Unsubscribe(kGatewayConnection, subscription);  // it was subscribed
}

}  // namespace qor::maintaind
