// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_ANSWER_SINK_H
#define QOR_SOMEIP_ANSWER_SINK_H

#include <cstdint>
#include <memory>
#include <span>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"

namespace qor::someip {

class TcpConnection;

/// Where answers leave: the part of a server that its responders know. Any thread.
class AnswerSink {
 public:
  virtual ~AnswerSink() = default;
  /// By TCP when there is a connection, else by UDP. Sets the header's length. Errors: kTooLarge, kNotSent.
  virtual ara::core::Result<void> SendAnswer(MessageHeader header, std::span<const std::uint8_t> payload,
                                             const Endpoint& peer, TcpConnection* connection) = 0;
};

}  // namespace qor::someip

#endif
