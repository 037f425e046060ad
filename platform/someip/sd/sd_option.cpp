// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_option.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/someip/big_endian.h"

namespace qor::someip::sd {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

constexpr std::uint8_t kConfigurationType = 0x01;
constexpr std::uint8_t kLoadBalancingType = 0x02;
constexpr std::uint8_t kIpv4Type = 0x04;
constexpr std::uint8_t kIpv6Type = 0x06;

// Sizes of the content, the reserved byte included.
constexpr std::size_t kLoadBalancingSize = 5;
constexpr std::size_t kIpv4Size = 9;
constexpr std::size_t kIpv6Size = 21;

Bytes Begin(std::uint8_t type, std::size_t contentSize) {
  Bytes bytes;
  bytes.reserve(kOptionHeaderSize + contentSize);
  AppendBigEndian<2>(bytes, static_cast<std::uint32_t>(contentSize));
  bytes.push_back(type);
  bytes.push_back(0);
  return bytes;
}

std::uint8_t AddressType(std::uint8_t family, AddressRole role) {
  return static_cast<std::uint8_t>(family | static_cast<std::uint8_t>(role));
}

void PutPort(Bytes& bytes, TransportProtocol protocol, std::uint16_t port) {
  bytes.push_back(0);
  bytes.push_back(static_cast<std::uint8_t>(protocol));
  AppendBigEndian<2>(bytes, port);
}

std::optional<Bytes> Encode(const Ipv4Option& option) {
  Bytes bytes = Begin(AddressType(kIpv4Type, option.role), kIpv4Size);
  AppendBigEndian<4>(bytes, option.endpoint.address.value);
  PutPort(bytes, option.protocol, option.endpoint.port);
  return bytes;
}

std::optional<Bytes> Encode(const Ipv6Option& option) {
  Bytes bytes = Begin(AddressType(kIpv6Type, option.role), kIpv6Size);
  bytes.insert(bytes.end(), option.address.begin(), option.address.end());
  PutPort(bytes, option.protocol, option.port);
  return bytes;
}

std::optional<Bytes> Encode(const LoadBalancingOption& option) {
  Bytes bytes = Begin(kLoadBalancingType, kLoadBalancingSize);
  AppendBigEndian<2>(bytes, option.priority);
  AppendBigEndian<2>(bytes, option.weight);
  return bytes;
}

/// The items, each after its length, and a length of zero.
std::optional<Bytes> Encode(const ConfigurationOption& option) {
  if (option.items.size() > kMaxConfigurationItems) {
    return std::nullopt;
  }
  std::string texts;
  for (const auto& [key, value] : option.items) {
    const std::string item = value ? key + "=" + *value : key;
    if (key.empty() || key.find('=') != std::string::npos || item.size() > 0xFF) {
      return std::nullopt;
    }
    texts += static_cast<char>(item.size());
    texts += item;
  }
  Bytes bytes = Begin(kConfigurationType, 1 + texts.size() + 1);
  bytes.insert(bytes.end(), texts.begin(), texts.end());
  bytes.push_back(0);
  return bytes;
}

DecodedOption DecodeIpv4(AddressRole role, ByteView content) {
  if (content.size() != kIpv4Size) {
    return MalformedOption{};
  }
  return Ipv4Option{role,
                    {Ipv4Address{GetBigEndian<4>(content, 1)}, GetBigEndian<2>(content, 7)},
                    static_cast<TransportProtocol>(content[6])};
}

DecodedOption DecodeIpv6(AddressRole role, ByteView content) {
  if (content.size() != kIpv6Size) {
    return MalformedOption{};
  }
  Ipv6Option option;
  option.role = role;
  std::copy_n(content.begin() + 1, option.address.size(), option.address.begin());
  option.protocol = static_cast<TransportProtocol>(content[18]);
  option.port = GetBigEndian<2>(content, 19);
  return option;
}

DecodedOption DecodeLoadBalancing(ByteView content) {
  if (content.size() != kLoadBalancingSize) {
    return MalformedOption{};
  }
  return LoadBalancingOption{GetBigEndian<2>(content, 1), GetBigEndian<2>(content, 3)};
}

/// An item without a key says nothing and is left out.
DecodedOption DecodeConfiguration(ByteView content) {
  ConfigurationOption option;
  ByteView rest = content.subspan(std::min<std::size_t>(content.size(), 1));
  while (!rest.empty() && rest[0] != 0) {
    const std::size_t length = rest[0];
    if (length >= rest.size() || option.items.size() == kMaxConfigurationItems) {
      return MalformedOption{};
    }
    const std::string item(rest.begin() + 1, rest.begin() + 1 + static_cast<std::ptrdiff_t>(length));
    const std::size_t equals = item.find('=');
    if (equals == std::string::npos) {
      option.items.push_back({item, std::nullopt});
    } else if (equals > 0) {
      option.items.push_back({item.substr(0, equals), item.substr(equals + 1)});
    }
    rest = rest.subspan(1 + length);
  }
  return option;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> EncodeOption(const Option& option) {
  return std::visit([](const auto& kind) { return Encode(kind); }, option);
}

DecodedOption DecodeOption(std::uint8_t type, std::span<const std::uint8_t> content) {
  switch (type) {
    case kConfigurationType:
      return DecodeConfiguration(content);
    case kLoadBalancingType:
      return DecodeLoadBalancing(content);
    default:
      break;
  }
  const std::uint8_t role = type & 0xF0U;
  if (role <= static_cast<std::uint8_t>(AddressRole::kSdEndpoint)) {
    if ((type & 0x0FU) == kIpv4Type) {
      return DecodeIpv4(static_cast<AddressRole>(role), content);
    }
    if ((type & 0x0FU) == kIpv6Type) {
      return DecodeIpv6(static_cast<AddressRole>(role), content);
    }
  }
  return UnknownOption{};
}

}  // namespace qor::someip::sd
