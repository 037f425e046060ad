// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_CLIENT_REQUESTS_H
#define QOR_SOMEIP_CLIENT_REQUESTS_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "platform/someip/callback_gate.h"
#include "platform/someip/message.h"
#include "platform/someip/pending_requests.h"

namespace qor::someip {

/// Ends the requests of a client: with their answers, when their time is over, or because they could not be sent or
/// their connection is lost. Any thread; handlers are called on the loop's, with no lock held, while the gate is open.
class ClientRequests : public std::enable_shared_from_this<ClientRequests> {  // shared with what the loop holds
 public:
  ClientRequests(asio::io_context& loop, std::shared_ptr<CallbackGate> gate);

  /// The session id of a new request; nothing when there are too many.
  std::optional<std::uint16_t> Add(std::uint16_t methodId, bool isReliable, std::chrono::milliseconds timeout,
                                   AnswerHandler onAnswer);
  /// A session id for a message without an answer.
  std::uint16_t NextSession();

  /// The loop's thread. An answer that nobody waits for is ignored.
  void OnAnswer(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable);
  /// A request that was added could not be sent.
  void EndUnsent(std::uint16_t methodId, std::uint16_t sessionId, bool isReliable);
  /// Those that were sent by TCP: their connection is lost.
  void EndReliable();
  /// Calls handlers of requests that were not added or wait no longer; later, from the loop.
  void EndLater(std::vector<AnswerHandler> handlers, Answer::Status status);
  /// Forgets all, without a call of their handlers.
  void Close();

 private:
  void CallUnlessClosed(const AnswerHandler& handler, const Answer& answer) const;
  void ArmTimerLocked();
  void OnTimer();

  asio::io_context& loop_;
  const std::shared_ptr<CallbackGate> gate_;  // shared with the client

  std::mutex mutex_;  // guards all that follows
  PendingRequests pending_;
  asio::steady_timer timer_;
  std::optional<PendingRequests::TimePoint> armedFor_;  // nothing: the timer does not run
};

}  // namespace qor::someip

#endif
