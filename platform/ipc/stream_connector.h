// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_STREAM_CONNECTOR_H
#define QOR_IPC_STREAM_CONNECTOR_H

#include <functional>
#include <memory>
#include <string>

#include <asio/generic/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "platform/someip/endpoint.h"

namespace qor::ipc {

/// Makes one stream connection, by TCP or to a Unix-domain socket as the address says (stream_address.h). A Unix-domain
/// peer that is behind with accepting is tried until it takes the connection; one by TCP has 3 s. Its connection ends
/// when the peer's host has vanished for 5 s, or has not taken for as long what was sent. On the io thread.
class StreamConnector : public std::enable_shared_from_this<StreamConnector> {  // shared with what the loop holds
 public:
  using Socket = asio::generic::stream_protocol::socket;
  /// With a connected socket, or with the reason why there is none.
  using Handler = std::function<void(const asio::error_code& error, Socket socket)>;

  StreamConnector(std::string address, Handler onEnd);

  /// The handler is called once; perhaps before the return.
  void Start();
  /// The handler is not called any more.
  void Stop();

 private:
  void ConnectTcp(const someip::Endpoint& endpoint);
  void ConnectToUnix();
  void Finish(const asio::error_code& error);

  const std::string address_;
  Handler onEnd_;  // null: ended
  Socket socket_;
  asio::steady_timer timer_;
};

}  // namespace qor::ipc

#endif
