// SPDX-License-Identifier: Apache-2.0
#include "tests/support/sd_tap.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>

#include "platform/someip/sd/sd_socket.h"

namespace qor::test {
namespace {

/// What follows the headers of IP and UDP.
std::span<const std::uint8_t> PayloadOf(std::span<const std::uint8_t> packet) {
  const std::size_t headers = std::size_t{packet.empty() ? 0U : packet[0] & 0xFU} * 4 + sizeof(udphdr);
  return packet.subspan(std::min(headers, packet.size()));
}

/// Lets the kernel drop all else, so that the socket's buffer holds what matters.
void TakeSdOnly(int descriptor) {
  std::array<sock_filter, 7> program{{
      BPF_STMT(BPF_LD | BPF_B | BPF_ABS, offsetof(iphdr, protocol)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 4),
      BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),
      BPF_STMT(BPF_LD | BPF_H | BPF_IND, offsetof(udphdr, dest)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, someip::sd::kSdPort, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0xFFFF),
      BPF_STMT(BPF_RET | BPF_K, 0),
  }};
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  if (::setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof(filter)) != 0) {
    throw std::runtime_error(std::string("cannot filter packets: ") + std::strerror(errno));
  }
}

}  // namespace

SdTap::SdTap(const TestHosts& hosts, std::size_t host) {
  hosts.RunOn(host, [this] {
    socket_ = ipc::UniqueFd(::socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_IP)));
  });
  if (!socket_) {
    throw std::runtime_error(std::string("cannot open a packet socket: ") + std::strerror(errno));
  }
  TakeSdOnly(socket_.Get());
}

std::vector<someip::sd::Entry> SdTap::Take() {
  std::vector<someip::sd::Entry> entries;
  std::array<std::uint8_t, 65536> buffer;
  ssize_t size = 0;
  while ((size = ::recv(socket_.Get(), buffer.data(), buffer.size(), 0)) > 0) {
    const auto packet = std::span(buffer).first(static_cast<std::size_t>(size));
    const auto decoded = someip::sd::DecodeSdMessage(PayloadOf(packet));
    if (const auto* message = std::get_if<someip::sd::SdMessage>(&decoded)) {
      entries.insert(entries.end(), message->entries.begin(), message->entries.end());
    }
  }
  return entries;
}

}  // namespace qor::test
