// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_SERVER_SESSION_H
#define QOR_MAINTAIND_DAEMON_SERVER_SESSION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/maintaind/daemon/peer_info.h"
#include "platform/maintaind/service/service_answer.h"
#include "platform/someip/message.h"
#include "platform/someip/stream_framer.h"

namespace qor::maintaind {

/// Answers the requests of all connections; implemented by the daemon. Called on its loop.
class RequestHandler {
 public:
  virtual ~RequestHandler() = default;
  /// No answer: none is sent.
  virtual std::optional<ServiceAnswer> OnRequest(ConnectionId connection, const PeerInfo& peer,
                                                 const someip::MessageHeader& header,
                                                 std::span<const std::uint8_t> payload) = 0;
  virtual void OnClosed(ConnectionId connection) = 0;
};

/// One message on its way to a peer.
struct OutgoingMessage {
  std::array<std::uint8_t, someip::kHeaderSize> header{};
  std::shared_ptr<const ServiceAnswer::Payload> payload;  ///< shared: one answer can go to many connections

  std::size_t Size() const { return header.size() + payload->size(); }
};

/// What a connection is besides its socket: from the bytes that arrive to the messages that go out. One thread.
class ServerSession {
 public:
  using Sender = std::function<void(OutgoingMessage)>;

  ServerSession(ConnectionId id, PeerInfo peer, std::size_t maxRequest, RequestHandler& handler, Sender send);
  /// Tells the handler that the connection is closed.
  ~ServerSession();
  ServerSession(const ServerSession&) = delete;
  ServerSession& operator=(const ServerSession&) = delete;

  /// Takes the next bytes of the peer. False: the peer does not keep to the protocol and must go.
  [[nodiscard]] bool Feed(std::span<const std::uint8_t> bytes);
  /// Ignores the rest of what is being fed.
  void Mute() { isMuted_ = true; }

  /// True while a message has begun and is not whole.
  bool IsInMessage() const { return framer_.IsInMessage(); }
  /// How many whole messages came.
  std::uint64_t MessageCount() const { return messageCount_; }
  const PeerInfo& Peer() const { return peer_; }

 private:
  void OnMessage(const someip::MessageHeader& header, std::span<const std::uint8_t> payload);

  const ConnectionId id_;
  const PeerInfo peer_;
  RequestHandler& handler_;
  const Sender send_;
  someip::StreamFramer framer_;
  std::uint64_t messageCount_ = 0;
  bool isMuted_ = false;
};

}  // namespace qor::maintaind

#endif
