// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_ENDPOINT_H
#define QOR_SOMEIP_ENDPOINT_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qor::someip {

/// An IPv4 address and a port, both in host byte order. Whether UDP or TCP is meant is said where it is used.
struct Endpoint {
  std::uint32_t address = 0;
  std::uint16_t port = 0;

  auto operator<=>(const Endpoint&) const = default;
};

inline constexpr std::uint32_t kLoopbackAddress = 0x7F000001;

/// Nothing unless the text is four decimal numbers with dots.
std::optional<std::uint32_t> ParseAddress(std::string_view text);
std::string AddressToText(std::uint32_t address);
/// As "127.0.0.1:30490".
std::string ToText(const Endpoint& endpoint);

}  // namespace qor::someip

#endif
