// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/tp.h"

#include <algorithm>

#include "platform/someip/big_endian.h"

namespace qor::someip {
namespace {

constexpr std::uint32_t kOffsetMask = 0xFFFFFFF0;
constexpr std::uint32_t kMoreBit = 1;
constexpr std::size_t kMaxBurst = 64;

}  // namespace

std::array<std::uint8_t, kTpHeaderSize> EncodeTpHeader(const TpHeader& header) {
  std::array<std::uint8_t, kTpHeaderSize> bytes{};
  SetBigEndian<kTpHeaderSize>(bytes, 0, (header.offset & kOffsetMask) | (header.hasMore ? kMoreBit : 0));
  return bytes;
}

std::optional<TpHeader> DecodeTpHeader(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kTpHeaderSize) {
    return std::nullopt;
  }
  const std::uint32_t word = GetBigEndian<kTpHeaderSize>(bytes, 0);
  return TpHeader{word & kOffsetMask, (word & kMoreBit) != 0};
}

std::string TpSettings::Check() const {
  if (maxSegmentLength == 0 || maxSegmentLength > kMaxSegmentLength || maxSegmentLength % kTpUnit != 0) {
    return "a segment's length must be a multiple of 16 from 16 to 1392, not " + std::to_string(maxSegmentLength);
  }
  if (burstLength == 0 || burstLength > kMaxBurst) {
    return "a burst must have 1 to 64 segments, not " + std::to_string(burstLength);
  }
  if (separation.count() < 0) {
    return "the separation of bursts must not be negative";
  }
  return {};
}

TpSegment MakeSegment(const MessageHeader& header, std::span<const std::uint8_t> payload, std::size_t maxSegmentLength,
                      std::size_t index) {
  const std::size_t offset = index * maxSegmentLength;
  TpSegment segment;
  segment.piece = payload.subspan(offset, std::min(maxSegmentLength, payload.size() - offset));
  MessageHeader own = header;
  own.type = static_cast<MessageType>(static_cast<std::uint8_t>(header.type) | kSegmentFlag);
  own.SetPayloadSize(kTpHeaderSize + segment.piece.size());
  const auto ownBytes = EncodeHeader(own);
  const auto tpBytes =
      EncodeTpHeader({static_cast<std::uint32_t>(offset), offset + segment.piece.size() < payload.size()});
  std::copy(tpBytes.begin(), tpBytes.end(), std::copy(ownBytes.begin(), ownBytes.end(), segment.head.begin()));
  return segment;
}

std::size_t SegmentCount(std::size_t payloadSize, std::size_t maxSegmentLength) {
  return std::max<std::size_t>(1, (payloadSize + maxSegmentLength - 1) / maxSegmentLength);
}

}  // namespace qor::someip
