// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/endpoint.h"

#include <arpa/inet.h>

namespace qor::someip {

std::optional<Ipv4Address> Ipv4Address::FromText(std::string_view text) {
  in_addr parsed{};
  if (text.find('\0') != std::string_view::npos || ::inet_pton(AF_INET, std::string(text).c_str(), &parsed) != 1) {
    return std::nullopt;
  }
  return Ipv4Address{ntohl(parsed.s_addr)};
}

std::string Ipv4Address::Text() const {
  std::string text;
  for (unsigned shift = 32; shift > 0;) {
    shift -= 8;
    text += std::to_string(value >> shift & 0xFFU);
    text += shift > 0 ? "." : "";
  }
  return text;
}

std::string Endpoint::Text() const { return address.Text() + ":" + std::to_string(port); }

}  // namespace qor::someip
