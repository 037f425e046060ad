// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_STREAM_CLIENT_H
#define QOR_IPC_STREAM_CLIENT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/ipc/unique_fd.h"
#include "platform/someip/message.h"

namespace qor::ipc {

/// Errors of a request that got no answer from the peer's program.
inline constexpr std::int32_t kConnectFailed = 0x101;
inline constexpr std::int32_t kConnectionLost = 0x102;

/// The client's end of a stream connection that carries SOME/IP requests and responses, over a Unix-domain socket or by
/// TCP (stream_connector.h). Any thread; handlers run on the io thread and must not block. Destruction closes the
/// connection soon after; requests under way then end with kConnectionLost. A handler can still run after destruction,
/// so it must own what it touches.
class StreamClient {
 public:
  using Payload = std::vector<std::uint8_t>;
  using ResponseHandler = std::function<void(ara::core::Result<Payload>)>;
  using ClosedHandler = std::function<void()>;
  /// A message that the peer sent unasked. The payload is valid during the call.
  using NotificationHandler =
      std::function<void(const someip::MessageHeader& header, std::span<const std::uint8_t> payload)>;

  /// Starts to connect to an address as stream_address.h has them; requests may be made at once. `onClosed` is called
  /// once, when the connection could not be made or has ended from the other side.
  explicit StreamClient(std::string address, ClosedHandler onClosed = nullptr,
                        NotificationHandler onNotification = nullptr);
  /// Takes over a connection to a Unix-domain socket.
  explicit StreamClient(UniqueFd connection, ClosedHandler onClosed = nullptr,
                        NotificationHandler onNotification = nullptr);
  ~StreamClient();
  StreamClient(const StreamClient&) = delete;
  StreamClient& operator=(const StreamClient&) = delete;

  /// `onResponse` is called exactly once: with the response's payload, with the peer's error (its SOME/IP return code
  /// and text), or with one of the errors above.
  void Request(std::uint16_t serviceId, std::uint16_t methodId, const Payload& payload, ResponseHandler onResponse);

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;  // shared with the handlers that the event loop still holds
};

}  // namespace qor::ipc

#endif
