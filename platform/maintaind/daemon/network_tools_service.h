// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_NETWORK_TOOLS_SERVICE_H
#define QOR_MAINTAIND_DAEMON_NETWORK_TOOLS_SERVICE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/maintaind/service/tools_service_skeleton.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/service_server.h"

namespace qor::maintaind {

/// The tools service for other hosts: by TCP what the daemon's socket offers to tools of its own host, and nothing of
/// the node service. A peer has one answer under way; its next request waits until that has left. All on the thread
/// that runs `loop`; before it runs, Open may be called from any.
class NetworkToolsService {
 public:
  static constexpr std::size_t kMaxRequest = 1U << 20U;   ///< bytes of payload
  static constexpr std::size_t kMaxAnswer = 256U << 20U;  ///< bytes of payload
  static constexpr std::size_t kMaxConnections = 256;     ///< further ones are closed
  static constexpr std::size_t kMaxConnectionsOfHost = 32;

  NetworkToolsService(asio::io_context& loop, ToolsServiceSkeleton& tools) : loop_(loop), tools_(tools) {}
  NetworkToolsService(const NetworkToolsService&) = delete;
  NetworkToolsService& operator=(const NetworkToolsService&) = delete;

  /// Listens on any port of this address of the host, and nowhere else any more. The port, or an error of
  /// someip::ServiceServer::Open.
  ara::core::Result<std::uint16_t> Open(const someip::Ipv4Address& address);
  /// Closes the port and all connections.
  void Close() { server_.reset(); }

 private:
  void OnRequest(const someip::MessageHeader& header, std::span<const std::uint8_t> payload,
                 someip::Responder& responder);

  asio::io_context& loop_;
  ToolsServiceSkeleton& tools_;
  std::unique_ptr<someip::ServiceServer> server_;  // null: closed
};

}  // namespace qor::maintaind

#endif
