// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_OPTION_H
#define QOR_SOMEIP_SD_SD_OPTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "platform/someip/sd/services.h"

/// The options of a service discovery message: a length of 2 bytes that counts what follows the type, the type, a
/// reserved byte, and the content.
namespace qor::someip::sd {

inline constexpr std::size_t kOptionHeaderSize = 3;        ///< length and type
inline constexpr std::size_t kMaxConfigurationItems = 64;  ///< of one option

/// The highest digit of the option type; the lowest tells IPv4 from IPv6.
enum class AddressRole : std::uint8_t { kEndpoint = 0x00, kMulticast = 0x10, kSdEndpoint = 0x20 };

/// As in the header of an IP packet; one that is received can have any other value.
enum class TransportProtocol : std::uint8_t { kTcp = 6, kUdp = 17 };

struct Ipv4Option {
  AddressRole role = AddressRole::kEndpoint;
  Endpoint endpoint;
  TransportProtocol protocol = TransportProtocol::kUdp;

  bool operator==(const Ipv4Option&) const = default;
};

/// Known, but not used.
struct Ipv6Option {
  AddressRole role = AddressRole::kEndpoint;
  std::array<std::uint8_t, 16> address{};
  std::uint16_t port = 0;
  TransportProtocol protocol = TransportProtocol::kUdp;

  bool operator==(const Ipv6Option&) const = default;
};

struct LoadBalancingOption {
  std::uint16_t priority = 0;
  std::uint16_t weight = 0;

  bool operator==(const LoadBalancingOption&) const = default;
};

struct ConfigurationOption {
  Configuration items;

  bool operator==(const ConfigurationOption&) const = default;
};

using Option = std::variant<Ipv4Option, Ipv6Option, LoadBalancingOption, ConfigurationOption>;

/// Nothing when it is a configuration that no option can hold.
std::optional<std::vector<std::uint8_t>> EncodeOption(const Option& option);

/// An option of a type that is not known.
struct UnknownOption {};
/// An option of a known type with content that this type cannot have.
struct MalformedOption {};
using DecodedOption = std::variant<Option, UnknownOption, MalformedOption>;

/// `content` is what follows the type, the reserved byte included.
DecodedOption DecodeOption(std::uint8_t type, std::span<const std::uint8_t> content);

}  // namespace qor::someip::sd

#endif
