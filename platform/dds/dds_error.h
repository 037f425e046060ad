// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DDS_ERROR_H
#define QOR_DDS_DDS_ERROR_H

#include <cstdint>
#include <string>
#include <utility>

#include "platform/ara/core/result.h"
#include "platform/com/transport.h"

namespace qor::dds {

inline ara::core::ErrorCode DdsError(com::TransportError error, std::string message) {
  return {static_cast<std::int32_t>(error), std::move(message)};
}

}  // namespace qor::dds

#endif
