// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_GATEWAY_LOOPS_H
#define QOR_MAINTAIND_GATEWAY_GATEWAY_LOOPS_H

#include <asio/io_context.hpp>

namespace qor::maintaind {

/// The event loops of the gateway, each run by a thread of its own. They outlive what uses them.
struct GatewayLoops {
  asio::io_context& control;  ///< the daemon's: service discovery, the broker, who takes what
  asio::io_context& events;   ///< passes events on
  asio::io_context& ports;    ///< TCP peers of the ports on either side, last values of fields
  asio::io_context& paced;    ///< the same where a message pauses between its segments
};

}  // namespace qor::maintaind

#endif
