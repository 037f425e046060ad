// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/responder.h"

#include "platform/someip/answer_sink.h"
#include "platform/someip/tcp_connection.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {

Responder::~Responder() { (void)Fail(ReturnCode::kNotOk); }

Responder& Responder::operator=(Responder&& other) noexcept {
  if (this != &other) {
    (void)Fail(ReturnCode::kNotOk);
    wantsAnswer_ = std::exchange(other.wantsAnswer_, false);
    sink_ = std::move(other.sink_);
    request_ = other.request_;
    peer_ = other.peer_;
    isReliable_ = other.isReliable_;
    connection_ = std::move(other.connection_);
  }
  return *this;
}

ara::core::Result<void> Responder::Answer(std::span<const std::uint8_t> payload) {
  return Send(MessageType::kResponse, ReturnCode::kOk, payload);
}

ara::core::Result<void> Responder::Fail(ReturnCode code, std::span<const std::uint8_t> payload) {
  return Send(MessageType::kError, code, payload);
}

ara::core::Result<void> Responder::Send(MessageType type, ReturnCode code, std::span<const std::uint8_t> payload) {
  if (!wantsAnswer_) {
    return {};
  }
  const auto sink = sink_.lock();
  const auto connection = connection_.lock();
  if (sink == nullptr || (isReliable_ && connection == nullptr)) {
    wantsAnswer_ = false;
    return MakeError(WireError::kNotSent, "the answer to " + peer_.Text() + " has nowhere to go");
  }
  MessageHeader header = request_;
  header.type = type;
  header.returnCode = code;
  auto sent = sink->SendAnswer(header, payload, peer_, connection.get());
  wantsAnswer_ = !sent && sent.Error().Value() == static_cast<std::int32_t>(WireError::kTooLarge);
  return sent;
}

}  // namespace qor::someip
