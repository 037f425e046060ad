// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TP_H
#define QOR_SOMEIP_TP_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/someip/message.h"

/// SOME/IP-TP: a message that is too large for a datagram goes as several segments. A segment is a SOME/IP message with
/// the segment flag in its type, whose payload begins with four bytes: the offset in the message (upper 28 bits, in
/// units of 16 bytes, which is the byte offset with its lower four bits left out) and, in bit 0, whether more follow.
namespace qor::someip {

inline constexpr std::size_t kTpHeaderSize = 4;
inline constexpr std::size_t kTpUnit = 16;
inline constexpr std::size_t kMaxSegmentLength = 1392;
/// What one datagram may carry without segmentation.
inline constexpr std::size_t kMaxUdpPayload = 1400;

struct TpHeader {
  std::uint32_t offset = 0;  ///< bytes, a multiple of kTpUnit
  bool hasMore = false;
};

std::array<std::uint8_t, kTpHeaderSize> EncodeTpHeader(const TpHeader& header);
/// Nothing when fewer than kTpHeaderSize bytes are given. Reserved bits are ignored.
std::optional<TpHeader> DecodeTpHeader(std::span<const std::uint8_t> bytes);

/// How a message is cut and how fast its segments go out. Receivers have small socket buffers unless they may enlarge
/// them, so that a long message pauses between bursts.
struct TpSettings {
  std::size_t maxSegmentLength = kMaxSegmentLength;  ///< bytes; a multiple of 16, 16 to 1392
  std::size_t burstLength = 32;                      ///< segments sent without a pause, 1 to 64
  std::chrono::microseconds separation{100};         ///< the pause between two bursts; 0: none

  /// What is wrong, or an empty text.
  std::string Check() const;
};

/// One segment of a message, as it is sent: a head of its own, and a piece of the message's payload.
struct TpSegment {
  std::array<std::uint8_t, kHeaderSize + kTpHeaderSize> head{};
  std::span<const std::uint8_t> piece;
};

/// Segment `index` of a message. `header` is the whole message's, without the segment flag; its length is not used.
TpSegment MakeSegment(const MessageHeader& header, std::span<const std::uint8_t> payload, std::size_t maxSegmentLength,
                      std::size_t index);
/// At least one.
std::size_t SegmentCount(std::size_t payloadSize, std::size_t maxSegmentLength);

}  // namespace qor::someip

#endif
