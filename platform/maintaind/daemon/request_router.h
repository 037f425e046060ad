// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_REQUEST_ROUTER_H
#define QOR_MAINTAIND_DAEMON_REQUEST_ROUTER_H

#include <functional>
#include <optional>
#include <span>
#include <utility>

#include "platform/maintaind/daemon/node_service_skeleton.h"
#include "platform/maintaind/daemon/registry.h"
#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/maintaind/daemon/server_session.h"
#include "platform/maintaind/service/tools_service_skeleton.h"

namespace qor::maintaind {

/// For tests: sees each answer before it is sent and may take its time, change the answer, or drop it. Runs on the
/// daemon's loop.
using AnswerFilter = std::function<std::optional<ServiceAnswer>(const someip::MessageHeader& request, ServiceAnswer)>;

/// Hands each request to the service that it is for. On the daemon's loop.
class RequestRouter : public RequestHandler {
 public:
  RequestRouter(Registry& registry, ServiceBroker& broker, RemoteDaemonBoard& remoteDaemons,
                NodeServiceSkeleton& nodeService, ToolsServiceSkeleton& toolsService, AnswerFilter filter = nullptr)
      : registry_(registry),
        broker_(broker),
        remoteDaemons_(remoteDaemons),
        nodeService_(nodeService),
        toolsService_(toolsService),
        filter_(std::move(filter)) {}

  std::optional<ServiceAnswer> OnRequest(ConnectionId connection, const PeerInfo& peer,
                                         const someip::MessageHeader& header,
                                         std::span<const std::uint8_t> payload) override;
  void OnClosed(ConnectionId connection) override {
    registry_.Close(connection);
    broker_.Close(connection);
    remoteDaemons_.Close(connection);
  }

 private:
  ServiceAnswer Answer(ConnectionId connection, const PeerInfo& peer, const someip::MessageHeader& header,
                       std::span<const std::uint8_t> payload);

  Registry& registry_;
  ServiceBroker& broker_;
  RemoteDaemonBoard& remoteDaemons_;
  NodeServiceSkeleton& nodeService_;
  ToolsServiceSkeleton& toolsService_;
  const AnswerFilter filter_;
};

}  // namespace qor::maintaind

#endif
