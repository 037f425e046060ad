// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/client_connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include <utility>

#include <asio/post.hpp>

#include "platform/log/qor_log.h"
#include "platform/someip/asio_endpoint.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

using asio::ip::tcp;

constexpr QorLog kLog("SOMEIP");
/// Attempts to reach a host that does not answer: with 2 the system gives up after 7 s.
constexpr int kConnectRetries = 2;

ara::core::ErrorCode ConnectError(const Endpoint& server, const asio::error_code& error) {
  return MakeError(WireError::kSocket, "cannot connect to TCP " + server.Text() + ": " + error.message());
}

}  // namespace

ClientConnection::ClientConnection(asio::io_context& loop, std::shared_ptr<CallbackGate> gate,
                                   const ClientConnectionSettings& settings, std::weak_ptr<MessageSink> sink,
                                   std::function<void()> onLost)
    : loop_(loop),
      gate_(std::move(gate)),
      settings_(settings),
      sink_(std::move(sink)),
      onLost_(std::move(onLost)),
      connecting_(loop) {}

void ClientConnection::Connect(const std::optional<Endpoint>& server, ConnectHandler onConnected,
                               ClosedHandler onClosed) {
  ClosedHandler former;  // ends without the lock
  const std::lock_guard lock(mutex_);
  former = EndLocked();
  if (server) {
    BeginLocked(*server, std::move(onConnected), std::move(onClosed));
  } else {
    FailLocked(std::move(onConnected), MakeError(WireError::kNotOpen, "the server's TCP endpoint is not known"));
  }
}

void ClientConnection::Close() {
  ClosedHandler former;  // ends without the lock
  const std::lock_guard lock(mutex_);
  former = EndLocked();
}

std::shared_ptr<TcpConnection> ClientConnection::Current() const {
  const std::lock_guard lock(mutex_);
  return connection_;
}

void ClientConnection::BeginLocked(const Endpoint& server, ConnectHandler onConnected, ClosedHandler onClosed) {
  asio::error_code error;
  connecting_.open(tcp::v4(), error);
  if (!error) {
    (void)::setsockopt(connecting_.native_handle(), IPPROTO_TCP, TCP_SYNCNT, &kConnectRetries, sizeof(kConnectRetries));
    connecting_.bind(ToAsio<tcp>({settings_.localAddress, 0}), error);
  }
  if (error) {
    FailLocked(std::move(onConnected), ConnectError(server, error));
    return;
  }
  connecting_.async_connect(ToAsio<tcp>(server),
                            [self = shared_from_this(), attempt = attempt_, server, connected = std::move(onConnected),
                             closed = std::move(onClosed)](const asio::error_code& result) mutable {
                              self->OnConnect(attempt, server, result, connected, std::move(closed));
                            });
}

ClientConnection::ClosedHandler ClientConnection::EndLocked() {
  ++attempt_;
  asio::error_code ignored;
  connecting_.close(ignored);
  if (connection_ != nullptr) {
    connection_->Close();
    connection_ = nullptr;
    onLost_();
  }
  return std::exchange(onClosed_, nullptr);
}

/// The attempt could not even begin. It is the present one until another call or its handler ends it.
void ClientConnection::FailLocked(ConnectHandler onConnected, const ara::core::ErrorCode& error) {
  asio::error_code ignored;
  connecting_.close(ignored);
  asio::post(loop_, [self = shared_from_this(), attempt = attempt_, connected = std::move(onConnected), error] {
    const auto pass = self->gate_->Enter();
    if (pass && connected && self->IsPresent(attempt)) {
      connected(error);
    }
  });
}

bool ClientConnection::IsPresent(std::uint64_t attempt) const {
  const std::lock_guard lock(mutex_);
  return attempt == attempt_;
}

void ClientConnection::OnConnect(std::uint64_t attempt, const Endpoint& server, const asio::error_code& error,
                                 const ConnectHandler& onConnected, ClosedHandler onClosed) {
  const auto pass = gate_->Enter();
  if (!pass) {
    return;
  }
  std::optional<ara::core::Result<Endpoint>> local;
  {
    const std::lock_guard lock(mutex_);
    if (attempt != attempt_) {
      return;
    }
    if (error) {
      asio::error_code ignored;
      connecting_.close(ignored);
      local.emplace(ConnectError(server, error));
    } else {
      connection_ = std::make_shared<TcpConnection>(std::exchange(connecting_, tcp::socket(loop_)), settings_.limits);
      onClosed_ = std::move(onClosed);
      StartLocked();
      local.emplace(connection_->Local());
    }
  }
  if (onConnected) {
    onConnected(*local);
  }
}

void ClientConnection::StartLocked() {
  const std::weak_ptr<TcpConnection> weakConnection = connection_;
  connection_->Start(
      [gate = gate_, filter = settings_.filter, weak = sink_](const MessageHeader& header,
                                                              std::span<const std::uint8_t> payload) {
        const auto sink = weak.lock();
        const auto pass = gate->Enter();
        if (sink != nullptr && pass && !header.IsSegment() && filter.Takes(header)) {
          sink->OnMessage(header, payload, true);
        }
      },
      [weak = weak_from_this(), weakConnection](TcpEnd /*end*/, const std::string& reason) {
        const auto self = weak.lock();
        const auto from = weakConnection.lock();
        if (self != nullptr && from != nullptr) {
          self->OnClosed(from, reason);
        }
      });
}

void ClientConnection::OnClosed(const Connection& connection, const std::string& reason) {
  const auto pass = gate_->Enter();
  if (!pass) {
    return;
  }
  ClosedHandler onClosed;
  {
    const std::lock_guard lock(mutex_);
    if (connection_ != connection) {
      return;
    }
    connection_ = nullptr;
    onClosed = std::exchange(onClosed_, nullptr);
    onLost_();
  }
  kLog.Info() << "The connection to service " << settings_.filter.serviceId << " at " << connection->Remote().Text()
              << " ended: " << reason;
  if (onClosed) {
    onClosed(reason);
  }
}

}  // namespace qor::someip
