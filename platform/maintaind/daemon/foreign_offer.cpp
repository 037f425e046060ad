// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/foreign_offer.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "src/common/records/foreign_node.h"

namespace qor::maintaind {
namespace {

using someip::Endpoint;
using someip::sd::RemoteService;

/// A host that has been rebooted says nothing of the offers that it made before: they have ended by themselves.
const char* OfferState(RemoteService::State state) {
  switch (state) {
    case RemoteService::State::kOffered:
      return "offered";
    case RemoteService::State::kStopped:
      return "stopped";
    case RemoteService::State::kExpired:
    case RemoteService::State::kRebooted:
      break;
  }
  return "expired";
}

/// `first` and `second` are the endpoints in the order in which they count.
template <class Part>
void SetNetwork(const RemoteService& offer, const std::optional<Endpoint>& first, const std::optional<Endpoint>& second,
                const HostNetwork& own, Part& part) {
  part.networkIp = (first ? first->address : second ? second->address : offer.host).Text();
  part.subnetMask = MaskOf(own, part.networkIp);
}

template <class Part>
void SetVersions(const RemoteService& offer, Part& part) {
  part.majorVersion = offer.key.major;
  part.minorVersion = offer.minor;
}

std::vector<PeerUnicast> UnicastOf(const RemoteService& offer) {
  std::vector<PeerUnicast> peers;
  if (const auto& udp = offer.endpoints.udp) {
    peers.push_back({.address = udp->address.Text(), .port = udp->port, .isReliable = false});
  }
  if (const auto& tcp = offer.endpoints.tcp) {
    peers.push_back({.address = tcp->address.Text(), .port = tcp->port, .isReliable = true});
  }
  return peers;
}

std::uint16_t PortOf(const std::optional<Endpoint>& endpoint) { return endpoint ? endpoint->port : std::uint16_t{0}; }

template <class Info>
Info WithSomeipOnly(const Info& described) {
  Info info = described;
  info.applicationName = "someip";
  std::erase_if(info.bindings, [](const auto& binding) { return binding.first != DriverType::kSomeip; });
  return info;
}

}  // namespace

std::string ForeignNodeName(someip::Ipv4Address host) { return std::string(kForeignSomeipNode) + host.Text(); }

ServiceRegisterInfo UndescribedService(const someip::sd::ServiceKey& key) {
  std::array<char, sizeof("service_0x1234_0x0001")> name{};
  std::snprintf(name.data(), name.size(), "service_0x%04x_0x%04x", unsigned{key.service}, unsigned{key.instance});
  ServiceRegisterInfo info;
  info.serviceName = name.data();
  ServiceInfo& binding = info.bindings[DriverType::kSomeip];
  binding.serviceId = key.service;
  binding.instanceId = key.instance;
  return info;
}

ServiceRegisterInfo ForeignService(const ServiceRegisterInfo& described, const RemoteService& offer,
                                   const HostNetwork& own) {
  ServiceRegisterInfo info = WithSomeipOnly(described);
  ServiceInfo& binding = info.bindings[DriverType::kSomeip];
  SetNetwork(offer, offer.endpoints.udp, offer.endpoints.tcp, own, binding);
  SetVersions(offer, binding);
  binding.offerState = OfferState(offer.state);
  binding.ttl = offer.ttl;
  return info;
}

EventRegisterInfo ForeignEvent(const EventRegisterInfo& described, const RemoteService& offer, const HostNetwork& own) {
  EventRegisterInfo info = WithSomeipOnly(described);
  SomeipEventInfo& someip = info.bindings[DriverType::kSomeip].someip;
  const auto& [udp, tcp] = offer.endpoints;
  SetNetwork(offer, someip.isReliable ? tcp : udp, someip.isReliable ? udp : tcp, own, someip);
  SetVersions(offer, someip);
  someip.udpPort = PortOf(udp);
  someip.tcpPort = PortOf(tcp);
  someip.offerState = OfferState(offer.state);
  someip.offeringHost = offer.host.Text();
  someip.peers.unicast = UnicastOf(offer);
  someip.ttls = {offer.ttl};
  return info;
}

}  // namespace qor::maintaind
