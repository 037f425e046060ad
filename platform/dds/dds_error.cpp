// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/dds_error.h"

#include <utility>

#include "platform/dds/participant_qos.h"

namespace qor::dds {

using com::TransportError;

ara::core::ErrorCode DdsError(TransportError error, std::string message) {
  return {static_cast<std::int32_t>(error), std::move(message)};
}

ara::core::ErrorCode DomainIdError(std::uint16_t domainId) {
  return DdsError(TransportError::kBadConfig,
                  "the domain id " + std::to_string(domainId) + " is above " + std::to_string(kMaxDomainId));
}

ara::core::ErrorCode NoNetworkError(const std::string& address) {
  return DdsError(TransportError::kNoNetwork, "'" + address + "' is not an IPv4 address of this host");
}

ara::core::ErrorCode NoParticipantError(std::uint16_t domainId, const std::string& address) {
  return DdsError(TransportError::kLibrary, "Fast DDS could not create a participant in domain " +
                                                std::to_string(domainId) + " on '" + address + "'");
}

}  // namespace qor::dds
