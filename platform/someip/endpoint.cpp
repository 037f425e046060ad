// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/endpoint.h"

#include <arpa/inet.h>

namespace qor::someip {

std::optional<std::uint32_t> ParseAddress(std::string_view text) {
  in_addr address{};
  if (::inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) {
    return std::nullopt;
  }
  return ntohl(address.s_addr);
}

std::string AddressToText(std::uint32_t address) {
  std::string text;
  for (unsigned shift = 32; shift > 0;) {
    shift -= 8;
    text += std::to_string(address >> shift & 0xFFU);
    text += shift > 0 ? "." : "";
  }
  return text;
}

std::string ToText(const Endpoint& endpoint) {
  return AddressToText(endpoint.address) + ":" + std::to_string(endpoint.port);
}

}  // namespace qor::someip
