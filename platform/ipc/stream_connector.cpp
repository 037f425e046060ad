// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_connector.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <chrono>
#include <utility>

#include <asio/ip/tcp.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/stream_address.h"
#include "platform/ipc/unix_connect.h"

namespace qor::ipc {
namespace {

constexpr std::chrono::seconds kTcpLimit{3};
/// Between two attempts to connect to a peer that is behind with accepting.
constexpr std::chrono::milliseconds kBusyRetry{20};

void SetOption(int socket, int level, int name, int value) {
  static_cast<void>(::setsockopt(socket, level, name, &value, sizeof(value)));  // it works without, less well
}

/// Small requests leave at once, and a host that vanishes ends the connection after 5 s, whether it was asked or not.
void SetUpTcp(int socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, 2);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, 1);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, 3);
  SetOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 5000);
}

}  // namespace

StreamConnector::StreamConnector(std::string address, Handler onEnd)
    : address_(std::move(address)), onEnd_(std::move(onEnd)), socket_(IoThread()), timer_(IoThread()) {}

void StreamConnector::Start() {
  if (const auto endpoint = TcpEndpointOf(address_)) {
    ConnectTcp(*endpoint);
  } else {
    ConnectToUnix();
  }
}

void StreamConnector::Stop() {
  onEnd_ = nullptr;
  timer_.cancel();
  asio::error_code ignored;
  socket_.close(ignored);
}

void StreamConnector::ConnectTcp(const someip::Endpoint& endpoint) {
  timer_.expires_after(kTcpLimit);
  timer_.async_wait([self = shared_from_this()](const asio::error_code& cancelled) {
    if (!cancelled) {
      self->Finish(asio::error::timed_out);
    }
  });
  const asio::ip::tcp::endpoint peer(asio::ip::address_v4(endpoint.address.value), endpoint.port);
  socket_.async_connect(peer, [self = shared_from_this()](const asio::error_code& error) {
    if (!error) {
      SetUpTcp(self->socket_.native_handle());
    }
    self->Finish(error);
  });
}

void StreamConnector::ConnectToUnix() {
  ConnectAttempt attempt = ConnectUnix(address_);
  if (attempt.IsBusy()) {
    timer_.expires_after(kBusyRetry);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& cancelled) {
      if (!cancelled && self->onEnd_ != nullptr) {
        self->ConnectToUnix();
      }
    });
    return;
  }
  asio::error_code error(attempt.error, asio::system_category());
  if (!error) {
    socket_.assign({AF_UNIX, 0}, attempt.socket.Get(), error);
  }
  if (!error) {
    static_cast<void>(attempt.socket.Release());  // the socket's now
  }
  Finish(error);
}

void StreamConnector::Finish(const asio::error_code& error) {
  const Handler onEnd = std::exchange(onEnd_, nullptr);
  if (onEnd == nullptr) {
    return;
  }
  timer_.cancel();
  onEnd(error, std::exchange(socket_, Socket(IoThread())));
}

}  // namespace qor::ipc
