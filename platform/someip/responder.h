// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_RESPONDER_H
#define QOR_SOMEIP_RESPONDER_H

#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"

namespace qor::someip {

class AnswerSink;
class TcpConnection;

/// The right to answer one request, once, at any time and from any thread. A request whose responder ends unused is
/// answered with kNotOk, so that its sender does not wait in vain; one that wants no answer gets none. It may outlive
/// its server; answers then go nowhere.
class Responder {
 public:
  Responder() = default;
  ~Responder();
  Responder(Responder&& other) noexcept { *this = std::move(other); }
  Responder& operator=(Responder&& other) noexcept;

  /// False for fire-and-forget messages and after the answer.
  bool WantsAnswer() const { return wantsAnswer_; }
  /// Where the request came from.
  const Endpoint& Peer() const { return peer_; }
  bool IsReliable() const { return isReliable_; }

  /// Without effect when no answer is wanted. Errors: kTooLarge, after which another answer can be given; kNotSent,
  /// when the peer or the server has gone or the system refused it. A segmented answer keeps the caller for the pauses
  /// between its bursts.
  ara::core::Result<void> Answer(std::span<const std::uint8_t> payload);
  /// `code` is any but kOk: a general one, or one of the service's own from 0x20 to 0x5E.
  ara::core::Result<void> Fail(ReturnCode code, std::span<const std::uint8_t> payload = {});

 private:
  friend class ServiceServer;
  ara::core::Result<void> Send(MessageType type, ReturnCode code, std::span<const std::uint8_t> payload);

  bool wantsAnswer_ = false;
  std::weak_ptr<AnswerSink> sink_;
  MessageHeader request_;
  Endpoint peer_;
  bool isReliable_ = false;
  std::weak_ptr<TcpConnection> connection_;  // where a reliable request came in
};

}  // namespace qor::someip

#endif
