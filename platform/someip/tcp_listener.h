// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TCP_LISTENER_H
#define QOR_SOMEIP_TCP_LISTENER_H

#include <functional>
#include <memory>
#include <mutex>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"

namespace qor::someip {

/// Accepts TCP connections on one address and port. The handler runs on the loop's thread; Close is for any thread.
class TcpListener : public std::enable_shared_from_this<TcpListener> {  // shared with the accepting that the loop holds
 public:
  using AcceptHandler = std::function<void(asio::ip::tcp::socket socket)>;

  /// Port 0 takes any. The address must be one that the host has now, unless it may be bound early. Error: kSocket.
  static ara::core::Result<std::shared_ptr<TcpListener>> Open(asio::io_context& loop, const Endpoint& local,
                                                              bool mayBindEarly);
  TcpListener(asio::ip::tcp::acceptor acceptor, const Endpoint& local);

  /// Call it once.
  void Accept(AcceptHandler handler);
  /// Frees the port. A handler that is running goes on.
  void Close();

  const Endpoint& Local() const { return local_; }

 private:
  void Next();
  void Retry();

  const Endpoint local_;
  AcceptHandler handler_;  // set before the first accepting
  std::mutex mutex_;
  asio::ip::tcp::acceptor acceptor_;  // guarded by mutex_
  asio::steady_timer retry_;          // guarded by mutex_
};

}  // namespace qor::someip

#endif
