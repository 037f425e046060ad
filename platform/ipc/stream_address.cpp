// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/stream_address.h"

#include <charconv>
#include <cstdint>

namespace qor::ipc {

std::optional<someip::Endpoint> TcpEndpointOf(std::string_view address) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  const auto host = someip::Ipv4Address::FromText(address.substr(0, colon));
  const std::string_view digits = address.substr(colon + 1);
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (!host || error != std::errc() || end != digits.data() + digits.size() || port == 0) {
    return std::nullopt;
  }
  return someip::Endpoint{*host, port};
}

}  // namespace qor::ipc
