// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/endpoint.h"

#include <arpa/inet.h>

namespace qor::someip::sd {

std::optional<Ipv4Address> Ipv4Address::FromText(const std::string& text) {
  in_addr parsed{};
  if (text.find('\0') != std::string::npos || ::inet_pton(AF_INET, text.c_str(), &parsed) != 1) {
    return std::nullopt;
  }
  return Ipv4Address{ntohl(parsed.s_addr)};
}

std::string Ipv4Address::Text() const {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string(value >> static_cast<unsigned>(shift) & 0xFFU) + (shift > 0 ? "." : "");
  }
  return text;
}

}  // namespace qor::someip::sd
