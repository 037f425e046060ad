// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_ASIO_ENDPOINT_H
#define QOR_SOMEIP_ASIO_ENDPOINT_H

#include <asio/ip/address_v4.hpp>
#include <asio/ip/basic_endpoint.hpp>

#include "platform/someip/endpoint.h"

namespace qor::someip {

template <class Protocol>
asio::ip::basic_endpoint<Protocol> ToAsio(const Endpoint& endpoint) {
  return {asio::ip::address_v4(endpoint.address.value), endpoint.port};
}

/// With address 0.0.0.0 unless it is an IPv4 one.
template <class Protocol>
Endpoint FromAsio(const asio::ip::basic_endpoint<Protocol>& endpoint) {
  const bool isV4 = endpoint.address().is_v4();
  return {isV4 ? Ipv4Address{endpoint.address().to_v4().to_uint()} : Ipv4Address{}, endpoint.port()};
}

}  // namespace qor::someip

#endif
