// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/client_requests.h"

#include <algorithm>
#include <utility>

#include <asio/post.hpp>

namespace qor::someip {
namespace {

/// So that a deadline does not overflow.
constexpr std::chrono::milliseconds kMaxTimeout = std::chrono::hours(24 * 365);

}  // namespace

ClientRequests::ClientRequests(asio::io_context& loop, std::shared_ptr<CallbackGate> gate)
    : loop_(loop), gate_(std::move(gate)), timer_(loop) {}

std::optional<std::uint16_t> ClientRequests::Add(std::uint16_t methodId, bool isReliable,
                                                 std::chrono::milliseconds timeout, AnswerHandler onAnswer) {
  const auto deadline = std::chrono::steady_clock::now() + std::min(timeout, kMaxTimeout);
  const std::lock_guard lock(mutex_);
  const auto session = pending_.Add(methodId, isReliable, deadline, std::move(onAnswer));
  ArmTimerLocked();
  return session;
}

std::uint16_t ClientRequests::NextSession() {
  const std::lock_guard lock(mutex_);
  return pending_.NextSession();
}

void ClientRequests::OnAnswer(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable) {
  AnswerHandler handler;
  {
    const std::lock_guard lock(mutex_);
    handler = pending_.Take(header.methodId, header.sessionId, isReliable);
  }
  const bool isOk = header.type == MessageType::kResponse && header.returnCode == ReturnCode::kOk;
  if (handler) {
    handler({isOk ? Answer::Status::kOk : Answer::Status::kError, header.returnCode, payload});
  }
}

void ClientRequests::EndUnsent(std::uint16_t methodId, std::uint16_t sessionId, bool isReliable) {
  const std::lock_guard lock(mutex_);
  EndLater({pending_.Take(methodId, sessionId, isReliable)}, Answer::Status::kNotSent);
}

void ClientRequests::EndReliable() {
  const std::lock_guard lock(mutex_);
  EndLater(pending_.TakeReliable(), Answer::Status::kConnectionLost);
}

void ClientRequests::EndLater(std::vector<AnswerHandler> handlers, Answer::Status status) {
  if (handlers.empty()) {
    return;
  }
  asio::post(loop_, [self = shared_from_this(), status, ended = std::move(handlers)] {
    const auto pass = self->gate_->Enter();
    for (const AnswerHandler& handler : ended) {
      self->CallUnlessClosed(handler, {status, ReturnCode::kNotReachable, {}});
    }
  });
}

void ClientRequests::Close() {
  PendingRequests forgotten;  // handlers end without the lock
  const std::lock_guard lock(mutex_);
  std::swap(forgotten, pending_);
  timer_.cancel();
}

void ClientRequests::CallUnlessClosed(const AnswerHandler& handler, const Answer& answer) const {
  if (handler && !gate_->IsClosed()) {
    handler(answer);
  }
}

void ClientRequests::ArmTimerLocked() {
  const auto next = pending_.NextDeadline();
  if (!next || (armedFor_ && *armedFor_ <= *next)) {
    return;
  }
  armedFor_ = next;
  timer_.expires_at(*next);
  timer_.async_wait([self = shared_from_this()](const asio::error_code& replaced) {
    if (!replaced) {
      self->OnTimer();
    }
  });
}

void ClientRequests::OnTimer() {
  const auto pass = gate_->Enter();
  if (!pass) {
    return;
  }
  std::vector<AnswerHandler> late;
  {
    const std::lock_guard lock(mutex_);
    armedFor_.reset();
    late = pending_.TakeExpired(std::chrono::steady_clock::now());
    ArmTimerLocked();
  }
  for (const AnswerHandler& handler : late) {
    CallUnlessClosed(handler, {Answer::Status::kTimeout, ReturnCode::kTimeout, {}});
  }
}

}  // namespace qor::someip
