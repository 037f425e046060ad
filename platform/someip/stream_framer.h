// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_STREAM_FRAMER_H
#define QOR_SOMEIP_STREAM_FRAMER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "platform/someip/message.h"

namespace qor::someip {

/// Cuts a byte stream into SOME/IP messages. Not synchronised; one per connection.
class StreamFramer {
 public:
  using Handler = std::function<void(const MessageHeader&, std::span<const std::uint8_t> payload)>;
  /// What is done with messages of another protocol version: they end the stream, or are handed over like others.
  enum class OtherVersions : std::uint8_t { kRefuse, kDeliver };

  /// A message whose payload is larger than this is a fault of the peer.
  explicit StreamFramer(std::size_t maxPayload, OtherVersions others = OtherVersions::kRefuse)
      : maxPayload_(maxPayload), others_(others) {}

  /// Takes the next bytes of the stream and calls the handler for each message that is now whole. False when the stream
  /// cannot be a SOME/IP stream (wrong protocol version, impossible or oversized length); it is of no use afterwards.
  [[nodiscard]] bool Feed(std::span<const std::uint8_t> bytes, const Handler& onMessage);

  /// Called from the handler: the messages behind this one are kept for the next Feed(), which may bring nothing new.
  void Pause() { isPaused_ = true; }
  /// True from Pause() to the next Feed().
  bool IsPaused() const { return isPaused_; }

  /// True while a message has begun and is not whole, or is kept.
  bool IsInMessage() const { return !buffer_.empty(); }
  /// Bytes of that message so far.
  std::size_t Begun() const { return buffer_.size(); }

 private:
  bool Cut(std::span<const std::uint8_t>& rest, const Handler& onMessage) const;

  std::vector<std::uint8_t> buffer_;
  std::size_t maxPayload_;
  OtherVersions others_;
  bool isPaused_ = false;
};

}  // namespace qor::someip

#endif
