// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_MESSAGE_H
#define QOR_SOMEIP_MESSAGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// The SOME/IP message header (AUTOSAR SOME/IP protocol): 16 bytes, big-endian.
namespace qor::someip {

inline constexpr std::size_t kHeaderSize = 16;
/// The length field counts from the request id, so it is never below this.
inline constexpr std::uint32_t kLengthOverhead = 8;
inline constexpr std::uint8_t kProtocolVersion = 1;
/// In the type of a message that is a segment of a larger one (SOME/IP-TP).
inline constexpr std::uint8_t kSegmentFlag = 0x20;
/// Service discovery and magic cookies have this service id.
inline constexpr std::uint16_t kReservedServiceId = 0xFFFF;

enum class MessageType : std::uint8_t {
  kRequest = 0x00,
  kRequestNoReturn = 0x01,
  kNotification = 0x02,
  kResponse = 0x80,
  kError = 0x81,
};

enum class ReturnCode : std::uint8_t {
  kOk = 0x00,
  kNotOk = 0x01,
  kUnknownService = 0x02,
  kUnknownMethod = 0x03,
  kNotReady = 0x04,
  kNotReachable = 0x05,
  kTimeout = 0x06,
  kWrongProtocolVersion = 0x07,
  kWrongInterfaceVersion = 0x08,
  kMalformedMessage = 0x09,
  kWrongMessageType = 0x0A,
};

struct MessageHeader {
  std::uint16_t serviceId = 0;
  std::uint16_t methodId = 0;
  std::uint32_t length = kLengthOverhead;  ///< bytes that follow the length field: 8 more of header, then the payload
  std::uint16_t clientId = 0;
  std::uint16_t sessionId = 0;
  std::uint8_t protocolVersion = kProtocolVersion;
  std::uint8_t interfaceVersion = 1;
  MessageType type = MessageType::kRequest;
  ReturnCode returnCode = ReturnCode::kOk;

  std::uint32_t PayloadSize() const { return length - kLengthOverhead; }
  void SetPayloadSize(std::size_t size) { length = kLengthOverhead + static_cast<std::uint32_t>(size); }
  /// Without the segment flag.
  MessageType WholeType() const { return static_cast<MessageType>(static_cast<std::uint8_t>(type) & ~kSegmentFlag); }
  bool IsSegment() const { return (static_cast<std::uint8_t>(type) & kSegmentFlag) != 0; }
  /// A mark between messages, which says nothing: of a client (method 0) or of a server (method 0x8000).
  bool IsMagicCookie() const { return serviceId == kReservedServiceId && (methodId == 0x0000 || methodId == 0x8000); }
};

std::array<std::uint8_t, kHeaderSize> EncodeHeader(const MessageHeader& header);

/// Nothing when fewer than kHeaderSize bytes are given or the length field is below its minimum. The other fields are
/// returned as they stand; the caller judges them.
std::optional<MessageHeader> DecodeHeader(std::span<const std::uint8_t> bytes);

}  // namespace qor::someip

#endif
