// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_NODE_SERVICE_SKELETON_H
#define QOR_MAINTAIND_DAEMON_NODE_SERVICE_SKELETON_H

#include <cstdint>
#include <span>

#include "platform/maintaind/daemon/peer_info.h"
#include "platform/maintaind/daemon/registry.h"
#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/service/service_answer.h"

namespace qor::maintaind {

/// The server's end of the node service: hands what requests say to the registry, the broker and the board. One thread.
class NodeServiceSkeleton {
 public:
  NodeServiceSkeleton(Registry& registry, ServiceBroker& broker, RemoteDaemonBoard& remoteDaemons,
                      std::uint16_t instance)
      : registry_(registry), broker_(broker), remoteDaemons_(remoteDaemons), instance_(instance) {}

  ServiceAnswer Answer(ConnectionId connection, const PeerInfo& peer, std::uint16_t methodId,
                       std::span<const std::uint8_t> payload);

 private:
  ServiceAnswer AnswerSomeip(ConnectionId connection, std::uint16_t methodId, std::span<const std::uint8_t> payload);
  ServiceAnswer Hello(ConnectionId connection, const PeerInfo& peer, std::span<const std::uint8_t> payload);
  template <class Operation>
  ServiceAnswer Register(ConnectionId connection, std::span<const std::uint8_t> payload);

  Registry& registry_;
  ServiceBroker& broker_;
  RemoteDaemonBoard& remoteDaemons_;
  const std::uint16_t instance_;
};

}  // namespace qor::maintaind

#endif
