// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/server_session.h"

#include <utility>

namespace qor::maintaind {
namespace {

OutgoingMessage MakeResponse(const someip::MessageHeader& request, const ServiceAnswer& answer) {
  someip::MessageHeader header = request;
  header.protocolVersion = someip::kProtocolVersion;
  header.length = someip::kLengthOverhead + static_cast<std::uint32_t>(answer.payload->size());
  header.type = answer.code == someip::ReturnCode::kOk ? someip::MessageType::kResponse : someip::MessageType::kError;
  header.returnCode = answer.code;
  return {someip::EncodeHeader(header), answer.payload};
}

}  // namespace

ServerSession::ServerSession(ConnectionId id, PeerInfo peer, std::size_t maxRequest, RequestHandler& handler,
                             Sender send)
    : id_(id), peer_(std::move(peer)), handler_(handler), send_(std::move(send)), framer_(maxRequest) {}

ServerSession::~ServerSession() { handler_.OnClosed(id_); }

bool ServerSession::Feed(std::span<const std::uint8_t> bytes) {
  return framer_.Feed(bytes, [this](const someip::MessageHeader& header, std::span<const std::uint8_t> payload) {
    ++messageCount_;
    if (!isMuted_) {
      OnMessage(header, payload);
    }
  });
}

/// Only requests are meant for a server. Anything else is let pass: to answer it could start an endless exchange.
void ServerSession::OnMessage(const someip::MessageHeader& header, std::span<const std::uint8_t> payload) {
  const bool wantsAnswer = header.type == someip::MessageType::kRequest;
  if (!wantsAnswer && header.type != someip::MessageType::kRequestNoReturn) {
    return;
  }
  const std::optional<ServiceAnswer> answer = handler_.OnRequest(id_, peer_, header, payload);
  if (answer && wantsAnswer) {
    send_(MakeResponse(header, *answer));
  }
}

}  // namespace qor::maintaind
