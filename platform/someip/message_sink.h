// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_MESSAGE_SINK_H
#define QOR_SOMEIP_MESSAGE_SINK_H

#include <cstdint>
#include <span>

#include "platform/someip/message.h"

namespace qor::someip {

/// Where the messages go that a client receives: the part of it that its transports know. The loop's thread.
class MessageSink {
 public:
  virtual ~MessageSink() = default;
  /// A whole message that is for this client. The payload is valid during the call.
  virtual void OnMessage(const MessageHeader& header, std::span<const std::uint8_t> payload, bool isReliable) = 0;
};

}  // namespace qor::someip

#endif
