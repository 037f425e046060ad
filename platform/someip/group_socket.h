// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_GROUP_SOCKET_H
#define QOR_SOMEIP_GROUP_SOCKET_H

#include <asio/ip/udp.hpp>

#include "platform/someip/endpoint.h"

namespace qor::someip {

/// Opens a socket that takes what is sent to a multicast group and port, and nothing else, once it has joined the
/// group. Any number of sockets of a host can be open for the same.
asio::error_code OpenGroupSocket(asio::ip::udp::socket& socket, const Endpoint& group);

}  // namespace qor::someip

#endif
