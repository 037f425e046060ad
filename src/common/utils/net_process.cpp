// SPDX-License-Identifier: Apache-2.0
#include "src/common/utils/net_process.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace qor::qortools::utils {
namespace {

/// One IPv4 or IPv6 address, or a mask of the same family, in network byte order.
struct Address {
  int family = AF_UNSPEC;
  std::size_t size = 0;  // bytes
  std::array<std::uint8_t, 16> bytes{};
};

std::optional<Address> ParseAddress(const std::string& text) {
  Address address;
  if (::inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1) {
    address.family = AF_INET;
    address.size = 4;
    return address;
  }
  if (::inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1) {
    address.family = AF_INET6;
    address.size = 16;
    return address;
  }
  return std::nullopt;
}

std::optional<Address> MaskOfPrefixLength(const std::string& text, const Address& like) {
  unsigned bits = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits);
  if (error != std::errc() || end != text.data() + text.size() || bits > like.size * 8) {
    return std::nullopt;
  }
  Address mask{like.family, like.size, {}};
  for (unsigned bit = 0; bit < bits; ++bit) {
    mask.bytes[bit / 8] = static_cast<std::uint8_t>(mask.bytes[bit / 8] | (0x80U >> (bit % 8)));
  }
  return mask;
}

std::optional<Address> ParseMask(const std::string& text, const Address& like) {
  if (const auto mask = ParseAddress(text); mask.has_value() && mask->family == like.family) {
    return mask;
  }
  return MaskOfPrefixLength(text, like);
}

}  // namespace

std::string NetProcess::TransToNetSegment(const std::string& ip, const std::string& mask) {
  std::optional<Address> segment = ParseAddress(ip);
  if (!segment.has_value()) {
    return ip;
  }
  if (const auto bits = ParseMask(mask, *segment); bits.has_value()) {
    for (std::size_t i = 0; i < segment->size; ++i) {
      segment->bytes[i] = static_cast<std::uint8_t>(segment->bytes[i] & bits->bytes[i]);
    }
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  return ::inet_ntop(segment->family, segment->bytes.data(), text.data(), text.size());
}

}  // namespace qor::qortools::utils
