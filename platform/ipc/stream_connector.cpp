// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_connector.h"

#include <chrono>
#include <utility>

#include <asio/ip/tcp.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/stream_address.h"
#include "platform/ipc/unix_connect.h"
#include "platform/someip/tcp_options.h"

namespace qor::ipc {
namespace {

constexpr std::chrono::seconds kTcpLimit{3};
/// Between two attempts to connect to a peer that is behind with accepting.
constexpr std::chrono::milliseconds kBusyRetry{20};

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
      someip::SetUpTcp(self->socket_.native_handle());
      someip::LimitUntaken(self->socket_.native_handle());
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
