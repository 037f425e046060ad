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
  ifaddrs* list = nullptr;
  if (!wanted || ::getifaddrs(&list) != 0) {
    return std::nullopt;
  }
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || entry->ifa_netmask == nullptr ||
        Ipv4Of(entry->ifa_addr).s_addr != wanted->s_addr) {
      continue;
    }
    const in_addr mask = Ipv4Of(entry->ifa_netmask);
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &mask, text, sizeof(text));
    return text;
  }
  return std::nullopt;
}

}  // namespace qor::dds
