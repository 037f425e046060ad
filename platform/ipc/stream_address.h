// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_STREAM_ADDRESS_H
#define QOR_IPC_STREAM_ADDRESS_H

#include <optional>
#include <string_view>

#include "platform/someip/endpoint.h"

namespace qor::ipc {

/// Stream connections are addressed by texts: an IPv4 address and a port, such as "10.77.0.1:40123", mean TCP, anything
/// else is the path of a Unix-domain socket. This returns the TCP endpoint; nothing for a path.
std::optional<someip::Endpoint> TcpEndpointOf(std::string_view address);

}  // namespace qor::ipc

#endif
