// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_framer.h"

namespace qor::ipc {

bool StreamFramer::Feed(std::span<const std::uint8_t> bytes, const Handler& onMessage) {
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  std::span<const std::uint8_t> rest(buffer_);
  while (rest.size() >= someip::kHeaderSize) {
    const auto header = someip::DecodeHeader(rest);
    if (!header || header->protocolVersion != someip::kProtocolVersion || header->PayloadSize() > maxPayload_) {
      return false;
    }
    const std::size_t size = someip::kHeaderSize + header->PayloadSize();
    if (rest.size() < size) {
      break;
    }
    onMessage(*header, rest.subspan(someip::kHeaderSize, header->PayloadSize()));
    rest = rest.subspan(size);
  }
  buffer_.erase(buffer_.begin(), buffer_.end() - static_cast<std::ptrdiff_t>(rest.size()));
  return true;
}

}  // namespace qor::ipc
