// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_ENDPOINT_H
#define QOR_SOMEIP_ENDPOINT_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qor::someip {

struct Ipv4Address {
  std::uint32_t value = 0;  ///< in the host's byte order: 127.0.0.1 is 0x7F000001

  /// From four decimal numbers with dots, nothing else.
  static std::optional<Ipv4Address> FromText(std::string_view text);
  std::string Text() const;

  bool IsMulticast() const { return value >> 28U == 0xE; }
  /// Whether one host can have it: not 0.x.x.x, not multicast or above.
  bool IsHost() const { return value >> 24U != 0 && value >> 28U < 0xE; }

  auto operator<=>(const Ipv4Address&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool
};

inline constexpr Ipv4Address kLoopbackAddress{0x7F000001};

/// An address and a port. Whether UDP or TCP is meant is said where it is used.
struct Endpoint {
  Ipv4Address address;
  std::uint16_t port = 0;

  /// As "127.0.0.1:30490".
  std::string Text() const;

  auto operator<=>(const Endpoint&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool
};

/// Where a service or a subscriber is reached: at most once over each protocol.
struct Endpoints {
  std::optional<Endpoint> udp;
  std::optional<Endpoint> tcp;

  auto operator<=>(const Endpoints&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool
};

}  // namespace qor::someip

#endif
