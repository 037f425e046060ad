// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/message.h"

#include "platform/someip/big_endian.h"

namespace qor::someip {

std::array<std::uint8_t, kHeaderSize> EncodeHeader(const MessageHeader& header) {
  std::array<std::uint8_t, kHeaderSize> bytes{};
  SetBigEndian<2>(bytes, 0, header.serviceId);
  SetBigEndian<2>(bytes, 2, header.methodId);
  SetBigEndian<4>(bytes, 4, header.length);
  SetBigEndian<2>(bytes, 8, header.clientId);
  SetBigEndian<2>(bytes, 10, header.sessionId);
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
  header.serviceId = GetBigEndian<2>(bytes, 0);
  header.methodId = GetBigEndian<2>(bytes, 2);
  header.length = GetBigEndian<4>(bytes, 4);
  header.clientId = GetBigEndian<2>(bytes, 8);
  header.sessionId = GetBigEndian<2>(bytes, 10);
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
