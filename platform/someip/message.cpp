// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/message.h"

namespace qor::someip {
namespace {

void Put(std::uint8_t* at, std::uint32_t value, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i) {
    at[i] = static_cast<std::uint8_t>(value >> (8 * (width - 1 - i)));
  }
}

std::uint32_t Get(const std::uint8_t* at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value = value << 8U | at[i];
  }
  return value;
}

}  // namespace

std::array<std::uint8_t, kHeaderSize> EncodeHeader(const MessageHeader& header) {
  std::array<std::uint8_t, kHeaderSize> bytes{};
  Put(&bytes[0], header.serviceId, 2);
  Put(&bytes[2], header.methodId, 2);
  Put(&bytes[4], header.length, 4);
  Put(&bytes[8], header.clientId, 2);
  Put(&bytes[10], header.sessionId, 2);
  bytes[12] = header.protocolVersion;
  bytes[13] = header.interfaceVersion;
  bytes[14] = static_cast<std::uint8_t>(header.type);
  bytes[15] = static_cast<std::uint8_t>(header.returnCode);
  return bytes;
}

std::optional<MessageHeader> DecodeHeader(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kHeaderSize) {
    return std::nullopt;
  }
  MessageHeader header;
  header.serviceId = static_cast<std::uint16_t>(Get(&bytes[0], 2));
  header.methodId = static_cast<std::uint16_t>(Get(&bytes[2], 2));
  header.length = Get(&bytes[4], 4);
  header.clientId = static_cast<std::uint16_t>(Get(&bytes[8], 2));
  header.sessionId = static_cast<std::uint16_t>(Get(&bytes[10], 2));
  header.protocolVersion = bytes[12];
  header.interfaceVersion = bytes[13];
  header.type = static_cast<MessageType>(bytes[14]);
  header.returnCode = static_cast<ReturnCode>(bytes[15]);
  if (header.length < kLengthOverhead) {
    return std::nullopt;
  }
  return header;
}

}  // namespace qor::someip
