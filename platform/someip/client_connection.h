// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_CLIENT_CONNECTION_H
#define QOR_SOMEIP_CLIENT_CONNECTION_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/callback_gate.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message_filter.h"
#include "platform/someip/message_sink.h"
#include "platform/someip/tcp_connection.h"

namespace qor::someip {

struct ClientConnectionSettings {
  MessageFilter filter;
  Ipv4Address localAddress;
  TcpLimits limits;
};

/// The TCP connection of a client to its server, and the attempt to make one: at any time one of both or none. Any
/// thread; handlers are called on the loop's, with no lock held, while the gate is open.
class ClientConnection : public std::enable_shared_from_this<ClientConnection> {  // shared with what the loop holds
 public:
  using ConnectHandler = std::function<void(const ara::core::Result<Endpoint>& local)>;
  using ClosedHandler = std::function<void(const std::string& reason)>;

  /// `onLost` is called when a connection that was made ends, whoever ends it, before there can be another one. The
  /// lock is held meanwhile.
  ClientConnection(asio::io_context& loop, std::shared_ptr<CallbackGate> gate, const ClientConnectionSettings& settings,
                   std::weak_ptr<MessageSink> sink, std::function<void()> onLost);

  /// What ServiceClient::ConnectTcp says.
  void Connect(const std::optional<Endpoint>& server, ConnectHandler onConnected, ClosedHandler onClosed);
  /// Ends the connection or the attempt, without a call of its handlers.
  void Close();
  /// Null while there is none.
  std::shared_ptr<TcpConnection> Current() const;

 private:
  using Connection = std::shared_ptr<TcpConnection>;  // shared with the loop and with requests that are being sent

  void BeginLocked(const Endpoint& server, ConnectHandler onConnected, ClosedHandler onClosed);
  ClosedHandler EndLocked();
  void FailLocked(ConnectHandler onConnected, const ara::core::ErrorCode& error);
  bool IsPresent(std::uint64_t attempt) const;
  void OnConnect(std::uint64_t attempt, const Endpoint& server, const asio::error_code& error,
                 const ConnectHandler& onConnected, ClosedHandler onClosed);
  void StartLocked();
  void OnClosed(const Connection& connection, const std::string& reason);

  asio::io_context& loop_;
  const std::shared_ptr<CallbackGate> gate_;  // shared with the client
  const ClientConnectionSettings settings_;
  const std::weak_ptr<MessageSink> sink_;
  const std::function<void()> onLost_;

  mutable std::mutex mutex_;          // guards all that follows
  asio::ip::tcp::socket connecting_;  // open while an attempt goes on
  std::uint64_t attempt_ = 0;         // which attempt or connection is the present one
  Connection connection_;             // null: not connected
  ClosedHandler onClosed_;            // of connection_
};

}  // namespace qor::someip

#endif
