// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/network_tools_service.h"

#include <utility>

#include "platform/maintaind/service/service_answer.h"
#include "platform/maintaind/service/tools_service.h"

namespace qor::maintaind {
namespace {

/// What may wait beside an answer. Answers go out one by one, so that nothing does; were it otherwise, a peer that does
/// not read would not cost much.
constexpr std::size_t kMaxQueued = 256U << 10U;

}  // namespace

ara::core::Result<std::uint16_t> NetworkToolsService::Open(const someip::Ipv4Address& address) {
  Close();
  someip::ServiceServerOptions options;
  options.serviceId = QORMaintaindToolsService::ServiceIdentifier;
  options.address = address;
  options.tcpPort = 0;
  options.maxMessageSize = kMaxAnswer;
  options.maxRequestSize = kMaxRequest;
  options.maxQueued = kMaxQueued;
  options.answersInTurn = true;
  options.maxConnections = kMaxConnections;
  options.maxConnectionsOfHost = kMaxConnectionsOfHost;
  auto opened =
      someip::ServiceServer::Open(loop_, options,
                                  [this](const someip::MessageHeader& header, std::span<const std::uint8_t> payload,
                                         someip::Responder responder) { OnRequest(header, payload, responder); });
  if (!opened) {
    return opened.Error();
  }
  server_ = std::move(opened).Value();
  return server_->TcpEndpoint()->port;
}

void NetworkToolsService::OnRequest(const someip::MessageHeader& header, std::span<const std::uint8_t> payload,
                                    someip::Responder& responder) {
  ServiceAnswer answer = tools_.Answer(header.methodId, payload);
  if (answer.payload->size() > kMaxAnswer) {
    answer = ErrorAnswer(someip::ReturnCode::kNotOk,
                         "the answer has " + std::to_string(answer.payload->size()) + " bytes, too many to be sent");
  }
  // A peer that has gone meanwhile needs no answer.
  if (answer.code == someip::ReturnCode::kOk) {
    static_cast<void>(responder.Answer(*answer.payload));
  } else {
    static_cast<void>(responder.Fail(answer.code, *answer.payload));
  }
}

}  // namespace qor::maintaind
