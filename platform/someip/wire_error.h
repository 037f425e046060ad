// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_WIRE_ERROR_H
#define QOR_SOMEIP_WIRE_ERROR_H

#include <cstdint>
#include <string>
#include <utility>

#include "platform/ara/core/result.h"

namespace qor::someip {

/// Codes of the errors that servers and clients return; each comes with a text.
enum class WireError : std::int32_t {
  kBadArgument = 1,   ///< an option or argument makes no sense
  kSocket = 2,        ///< the operating system refused a socket, an address or a port
  kTooLarge = 3,      ///< a payload is larger than the transport takes
  kUnknownEvent = 4,  ///< no such event was added
  kNotOpen = 5,       ///< the transport that this needs is not open, or its peer is not known
  kNotSent = 6,       ///< nothing or not everything could be handed to the operating system
};

inline ara::core::ErrorCode MakeError(WireError code, std::string text) {
  return {static_cast<std::int32_t>(code), std::move(text)};
}

}  // namespace qor::someip

#endif
