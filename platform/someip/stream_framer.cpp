// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/stream_framer.h"

namespace qor::someip {

bool StreamFramer::Feed(std::span<const std::uint8_t> bytes, const Handler& onMessage) {
  isPaused_ = false;
  if (buffer_.empty()) {
    if (!Cut(bytes, onMessage)) {
      return false;
    }
    buffer_.assign(bytes.begin(), bytes.end());
    return true;
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  std::span<const std::uint8_t> rest(buffer_);
  if (!Cut(rest, onMessage)) {
    return false;
  }
  buffer_.erase(buffer_.begin(), buffer_.end() - static_cast<std::ptrdiff_t>(rest.size()));
  return true;
}

/// Leaves in `rest` what is no whole message yet, and what is behind a pause.
bool StreamFramer::Cut(std::span<const std::uint8_t>& rest, const Handler& onMessage) const {
  while (!isPaused_ && rest.size() >= kHeaderSize) {
    const auto header = DecodeHeader(rest);
    if (!header || header->PayloadSize() > maxPayload_ ||
        (header->protocolVersion != kProtocolVersion && others_ == OtherVersions::kRefuse)) {
      return false;
    }
    const std::size_t size = kHeaderSize + header->PayloadSize();
    if (rest.size() < size) {
      break;
    }
    onMessage(*header, rest.subspan(kHeaderSize, header->PayloadSize()));
    rest = rest.subspan(size);
  }
  return true;
}

}  // namespace qor::someip
