// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/host_interfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>
#include <memory>

namespace qor::dds {
namespace {

std::optional<in_addr> ParseIpv4(const std::string& text) {
  in_addr address{};
  if (::inet_pton(AF_INET, text.c_str(), &address) != 1) {
    return std::nullopt;
  }
  return address;
}

in_addr Ipv4Of(const sockaddr* address) {
  sockaddr_in ipv4{};
  std::memcpy(&ipv4, address, sizeof(ipv4));
  return ipv4.sin_addr;
}

std::string TextOf(in_addr address) {
  char text[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &address, text, sizeof(text));
  return text;
}

struct Interface {
  in_addr address{};
  in_addr mask{};
};

/// The first interface of this host with an IPv4 address and mask that are wanted.
template <class IsWanted>
std::optional<Interface> FindInterface(IsWanted isWanted) {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) {
    return std::nullopt;
  }
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_netmask == nullptr) {
      continue;
    }
    const Interface found{Ipv4Of(entry->ifa_addr), Ipv4Of(entry->ifa_netmask)};
    if (isWanted(found.address, found.mask)) {
      return found;
    }
  }
  return std::nullopt;
}

}  // namespace

bool IsLoopback(const std::string& ip) {
  constexpr std::uint32_t kLoopbackNet = 127;
  if (ip.empty()) {
    return true;
  }
  const auto address = ParseIpv4(ip);
  return address && (ntohl(address->s_addr) >> 24U) == kLoopbackNet;
}

std::optional<std::string> SubnetMaskOf(const std::string& ip) {
  const auto wanted = ParseIpv4(ip);
  const auto found =
      FindInterface([&](in_addr address, in_addr /*mask*/) { return wanted && address.s_addr == wanted->s_addr; });
  return found ? std::optional(TextOf(found->mask)) : std::nullopt;
}

std::optional<std::string> OwnAddressTowards(const std::string& ip) {
  if (SubnetMaskOf(ip)) {
    return ip;
  }
  const auto wanted = ParseIpv4(ip);
  const auto found = FindInterface([&](in_addr address, in_addr mask) {
    return wanted && (address.s_addr & mask.s_addr) == (wanted->s_addr & mask.s_addr);
  });
  return found ? std::optional(TextOf(found->address)) : std::nullopt;
}

}  // namespace qor::dds
