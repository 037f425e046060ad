// SPDX-License-Identifier: Apache-2.0
#include "tests/support/sd_speaker.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "platform/someip/sd/sd_socket.h"

namespace qor::test {
namespace {

sockaddr_in PortAt(someip::Ipv4Address address) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = htonl(address.value);
  result.sin_port = htons(someip::sd::kSdPort);
  return result;
}

}  // namespace

SdSpeaker::SdSpeaker(const TestHosts& hosts, std::size_t host) {
  hosts.RunOn(host, [this, host] {
    socket_ = ipc::UniqueFd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in local = PortAt(*someip::Ipv4Address::FromText(TestHosts::Address(host)));
    if (::bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0 ||
        ::setsockopt(socket_.Get(), IPPROTO_IP, IP_MULTICAST_IF, &local.sin_addr, sizeof(local.sin_addr)) != 0) {
      throw std::runtime_error(std::string("cannot speak service discovery: ") + std::strerror(errno));
    }
  });
}

void SdSpeaker::Say(const std::vector<someip::sd::Entry>& entries) {
  someip::sd::SdMessageWriter writer;
  const auto flush = [&] { SendBytes(writer.Finish(++session_, true)); };
  for (const auto& entry : entries) {
    if (!writer.Add(entry)) {
      flush();
      if (!writer.Add(entry)) {
        throw std::runtime_error("an entry that cannot be said");
      }
    }
  }
  flush();
}

void SdSpeaker::SendBytes(std::span<const std::uint8_t> bytes, someip::Ipv4Address to) const {
  const sockaddr_in destination = PortAt(to);
  (void)::sendto(socket_.Get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&destination),
                 sizeof(destination));
}

std::vector<std::uint8_t> SdSpeaker::Take() const {
  std::vector<std::uint8_t> bytes(65536);
  const ssize_t size = ::recv(socket_.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

}  // namespace qor::test
