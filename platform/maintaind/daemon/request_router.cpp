// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/request_router.h"

#include <string>

#include "platform/maintaind/service/node_service.h"

namespace qor::maintaind {
namespace {

constexpr std::uint8_t kInterfaceVersion = 1;

}  // namespace

std::optional<ServiceAnswer> RequestRouter::OnRequest(ConnectionId connection, const PeerInfo& peer,
                                                      const someip::MessageHeader& header,
                                                      std::span<const std::uint8_t> payload) {
  ServiceAnswer answer = Answer(connection, peer, header, payload);
  return filter_ == nullptr ? std::optional(std::move(answer)) : filter_(header, std::move(answer));
}

ServiceAnswer RequestRouter::Answer(ConnectionId connection, const PeerInfo& peer, const someip::MessageHeader& header,
                                    std::span<const std::uint8_t> payload) {
  if (header.interfaceVersion != kInterfaceVersion) {
    return ErrorAnswer(
        someip::ReturnCode::kWrongInterfaceVersion,
        "the interface version must be 1, not " + std::to_string(static_cast<unsigned>(header.interfaceVersion)));
  }
  switch (header.serviceId) {
    case QORMaintaindToolsService::ServiceIdentifier:
      return toolsService_.Answer(header.methodId, payload);
    case NodeService::ServiceIdentifier:
      return nodeService_.Answer(connection, peer, header.methodId, payload);
    default:
      return ErrorAnswer(someip::ReturnCode::kUnknownService,
                         "the daemon has no service " + std::to_string(header.serviceId));
  }
}

}  // namespace qor::maintaind
