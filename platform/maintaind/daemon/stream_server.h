// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_STREAM_SERVER_H
#define QOR_MAINTAIND_DAEMON_STREAM_SERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "platform/ara/core/result.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/daemon/listening_socket.h"
#include "platform/maintaind/daemon/server_session.h"

namespace qor::maintaind {

/// What a connection may cost.
struct StreamServerLimits {
  std::size_t maxRequest = 1U << 20U;           ///< bytes of one request's payload
  std::chrono::milliseconds halfMessage{5000};  ///< from the first byte of a message to its last
  std::size_t maxQueued = 64U << 20U;           ///< bytes that wait for a peer that does not read, beside one message
  std::size_t maxConnections = 1024;            ///< further ones wait to be accepted
  std::size_t maxPerProcess = 128;              ///< of one process; further ones are closed
  int backlog = 512;                            ///< connections that wait to be accepted; the system may allow fewer
};

/// The daemon's socket: accepts connections and carries requests and answers. No connection can hold up another:
/// nothing blocks, and one that breaks a limit is closed. All on the thread that runs `loop`.
class StreamServer {
 public:
  StreamServer(asio::io_context& loop, StreamServerLimits limits, RequestHandler& handler);
  ~StreamServer();
  StreamServer(const StreamServer&) = delete;
  StreamServer& operator=(const StreamServer&) = delete;

  /// Starts to listen. The errors are those of ListeningSocket.
  ara::core::Result<void> Start(const std::string& socketPath);
  /// Removes the socket and closes all connections.
  void Stop();
  /// Sends a message that nobody asked for. Without effect when the connection is gone.
  void Send(ConnectionId connection, OutgoingMessage message);

 private:
  class Connection;

  void Accept();
  void OnAccepted(asio::local::stream_protocol::socket socket);
  void Forget(ConnectionId id, std::uint32_t processId);

  asio::io_context& loop_;
  const StreamServerLimits limits_;
  RequestHandler& handler_;
  const QorLog log_{"StreamServer"};
  std::unique_ptr<ListeningSocket> listening_;
  asio::local::stream_protocol::acceptor acceptor_;
  asio::steady_timer acceptRetry_;
  std::unordered_map<ConnectionId, std::shared_ptr<Connection>> connections_;
  std::unordered_map<std::uint32_t, std::size_t> perProcess_;  // connections by process id
  ConnectionId lastId_ = 0;
  bool isAccepting_ = false;
};

}  // namespace qor::maintaind

#endif
