// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_MESSAGE_FILTER_H
#define QOR_SOMEIP_MESSAGE_FILTER_H

#include <cstdint>

#include "platform/someip/message.h"

namespace qor::someip {

/// Which messages of a server are for a client.
struct MessageFilter {
  std::uint16_t serviceId = 0;
  std::uint8_t majorVersion = 0;

  /// An answer may come from a server of another version, which says so.
  bool Takes(const MessageHeader& header) const {
    const bool isAnswer = (static_cast<std::uint8_t>(header.type) & 0x80U) != 0;
    return header.serviceId == serviceId && header.protocolVersion == kProtocolVersion &&
           (header.interfaceVersion == majorVersion || isAnswer);
  }
};

}  // namespace qor::someip

#endif
