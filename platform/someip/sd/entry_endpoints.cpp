// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/entry_endpoints.h"

namespace qor::someip::sd {
namespace {

/// Where an endpoint over this protocol belongs; nullptr for an unknown protocol.
std::optional<Endpoint>* PlaceOf(Endpoints& endpoints, TransportProtocol protocol) {
  switch (protocol) {
    case TransportProtocol::kUdp:
      return &endpoints.udp;
    case TransportProtocol::kTcp:
      return &endpoints.tcp;
  }
  return nullptr;
}

}  // namespace

EntryEndpoints EndpointsOf(const std::vector<Option>& options) {
  EntryEndpoints found;
  for (const Option& option : options) {
    const auto* address = std::get_if<Ipv4Option>(&option);
    if (address == nullptr || address->role != AddressRole::kEndpoint) {
      continue;
    }
    const Endpoint& endpoint = address->endpoint;
    auto* place = PlaceOf(found.endpoints, address->protocol);
    if (place == nullptr || !endpoint.address.IsHost() || endpoint.port == 0 || place->value_or(endpoint) != endpoint) {
      found.isUnfit = true;
    } else {
      *place = endpoint;
    }
  }
  return found;
}

std::vector<Option> OptionsFor(const Endpoints& endpoints) {
  std::vector<Option> options;
  if (endpoints.udp) {
    options.emplace_back(Ipv4Option{AddressRole::kEndpoint, *endpoints.udp, TransportProtocol::kUdp});
  }
  if (endpoints.tcp) {
    options.emplace_back(Ipv4Option{AddressRole::kEndpoint, *endpoints.tcp, TransportProtocol::kTcp});
  }
  return options;
}

std::optional<Endpoint> MulticastOf(const std::vector<Option>& options) {
  for (const Option& option : options) {
    const auto* address = std::get_if<Ipv4Option>(&option);
    if (address != nullptr && address->role == AddressRole::kMulticast && address->endpoint.address.IsMulticast() &&
        address->endpoint.port != 0 && address->protocol == TransportProtocol::kUdp) {
      return address->endpoint;
    }
  }
  return std::nullopt;
}

Configuration ConfigurationOf(const std::vector<Option>& options) {
  for (const Option& option : options) {
    if (const auto* configuration = std::get_if<ConfigurationOption>(&option)) {
      return configuration->items;
    }
  }
  return {};
}

}  // namespace qor::someip::sd
