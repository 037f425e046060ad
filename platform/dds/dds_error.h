// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DDS_ERROR_H
#define QOR_DDS_DDS_ERROR_H

#include <cstdint>
#include <string>

#include "platform/ara/core/result.h"
#include "platform/com/transport.h"

/// Errors of this wire, with the texts that more than one place needs.
namespace qor::dds {

ara::core::ErrorCode DdsError(com::TransportError error, std::string message);

ara::core::ErrorCode DomainIdError(std::uint16_t domainId);
ara::core::ErrorCode NoNetworkError(const std::string& address);
ara::core::ErrorCode NoParticipantError(std::uint16_t domainId, const std::string& address);

}  // namespace qor::dds

#endif
