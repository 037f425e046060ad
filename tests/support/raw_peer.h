// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RAW_PEER_H
#define QOR_TESTS_SUPPORT_RAW_PEER_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/ipc/unique_fd.h"
#include "platform/someip/message.h"
#include "src/common/records/codec.h"

namespace qor::test {

/// A peer of the daemon that can misbehave: it sends what it is told and reads when it is told. Waits ten seconds at
/// most.
class RawPeer {
 public:
  using Bytes = std::vector<std::uint8_t>;
  struct Message {
    someip::MessageHeader header;
    Bytes payload;
    std::string Text() const { return {payload.begin(), payload.end()}; }
  };

  static Bytes RequestBytes(std::uint16_t service, std::uint16_t method, const Bytes& payload);

  /// To a socket, or by TCP as ipc/stream_address.h says. Tries again while the daemon is behind with accepting.
  explicit RawPeer(const std::string& address);

  bool IsConnected() const { return static_cast<bool>(socket_); }
  /// False when the other side has closed.
  bool Send(std::span<const std::uint8_t> bytes);
  /// The next message; nothing at the end of the connection or after the time.
  std::optional<Message> Receive();
  /// True when the other side has closed, whatever was sent before.
  bool IsClosedByPeer();

  std::optional<Message> Call(std::uint16_t service, std::uint16_t method, const Bytes& payload) {
    return Send(RequestBytes(service, method, payload)) ? Receive() : std::nullopt;
  }
  /// Calls an operation: "ok", or the reason of the refusal.
  template <class Service, class Operation>
  std::string Ask(const typename Operation::Request& request) {
    const auto answer = Call(Service::ServiceIdentifier, Operation::kMethodId, maintaind::Encode(request));
    if (!answer) {
      return "no answer";
    }
    return answer->header.type == someip::MessageType::kResponse ? "ok" : answer->Text();
  }

 private:
  bool ReadExactly(std::uint8_t* to, std::size_t size);

  ipc::UniqueFd socket_;
};

}  // namespace qor::test

#endif
