// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_UDP_MESSAGE_H
#define QOR_SOMEIP_UDP_MESSAGE_H

#include <cstdint>
#include <span>

#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/tp.h"
#include "platform/someip/udp_socket.h"

namespace qor::someip {

/// Sends one message to each destination: in one datagram when its payload is not above kMaxUdpPayload, else in
/// segments (`tp` must be given then), pausing between their bursts. Segments of two messages of one stream must not
/// mix, which is the caller's care. False when a datagram could not be sent.
bool SendUdpMessage(UdpSocket& socket, MessageHeader header, std::span<const std::uint8_t> payload,
                    std::span<const Endpoint> destinations, const TpSettings* tp);

}  // namespace qor::someip

#endif
