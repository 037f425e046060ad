// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/tcp_listener.h"

#include <chrono>
#include <string>
#include <utility>

#include "platform/log/qor_log.h"
#include "platform/someip/asio_endpoint.h"
#include "platform/someip/free_bind.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

using asio::ip::tcp;

constexpr QorLog kLog("SOMEIP");
constexpr std::uint32_t kLogIntervalMs = 5000;
/// When no connection can be accepted, for want of descriptors for example.
constexpr std::chrono::milliseconds kAcceptRetry{100};

}  // namespace

ara::core::Result<std::shared_ptr<TcpListener>> TcpListener::Open(asio::io_context& loop, const Endpoint& local,
                                                                  bool mayBindEarly) {
  tcp::acceptor acceptor(loop);
  asio::error_code error;
  const auto failed = [&](const char* what) {
    return MakeError(WireError::kSocket, std::string(what) + " TCP " + local.Text() + ": " + error.message());
  };
  acceptor.open(tcp::v4(), error);
  if (error) {
    return failed("cannot open a socket for");
  }
  acceptor.set_option(asio::socket_base::reuse_address(true), error);  // also right after the last server ended
  if (mayBindEarly) {
    AllowFreeBind(acceptor.native_handle());
  }
  acceptor.bind(ToAsio<tcp>(local), error);
  if (error) {
    return failed("cannot bind to");
  }
  acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    return failed("cannot listen on");
  }
  const auto bound = acceptor.local_endpoint(error);
  if (error) {
    return failed("cannot find out the port of");
  }
  return std::make_shared<TcpListener>(std::move(acceptor), FromAsio(bound));
}

TcpListener::TcpListener(tcp::acceptor acceptor, const Endpoint& local)
    : local_(local), acceptor_(std::move(acceptor)), retry_(acceptor_.get_executor()) {}

void TcpListener::Accept(AcceptHandler handler) {
  handler_ = std::move(handler);
  Next();
}

void TcpListener::Next() {
  const std::lock_guard lock(mutex_);
  if (!acceptor_.is_open()) {
    return;
  }
  acceptor_.async_accept([self = shared_from_this()](const asio::error_code& error, tcp::socket socket) {
    if (!error) {
      self->handler_(std::move(socket));
      self->Next();
    } else if (error != asio::error::operation_aborted) {
      kLog.Warn("TcpListener_" + self->local_.Text(), kLogIntervalMs)
          << "Cannot accept a connection on TCP " << self->local_.Text() << ": " << error.message();
      self->Retry();
    }
  });
}

void TcpListener::Retry() {
  const std::lock_guard lock(mutex_);
  retry_.expires_after(kAcceptRetry);
  retry_.async_wait([self = shared_from_this()](const asio::error_code& aborted) {
    if (!aborted) {
      self->Next();
    }
  });
}

void TcpListener::Close() {
  const std::lock_guard lock(mutex_);
  asio::error_code ignored;
  acceptor_.close(ignored);
  retry_.cancel();
}

}  // namespace qor::someip
