// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_BENCH_BARE_RECEIVER_H
#define QOR_BENCH_BARE_RECEIVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

namespace qor::bench {

/// What a program without the library would write: a UDP socket on 127.0.0.1 that takes datagrams in batches.
class BareReceiver {
 public:
  explicit BareReceiver(int room) : descriptor_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    if (::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room) != 0) {
      static_cast<void>(::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    static_cast<void>(::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), size));
    static_cast<void>(::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size));
    port_ = ntohs(address.sin_port);
    for (std::size_t i = 0; i < kBatch; ++i) {
      parts_[i] = {buffers_[i].data(), buffers_[i].size()};
      messages_[i].msg_hdr.msg_iov = &parts_[i];
      messages_[i].msg_hdr.msg_iovlen = 1;
    }
  }
  ~BareReceiver() { ::close(descriptor_); }
  BareReceiver(const BareReceiver&) = delete;
  BareReceiver& operator=(const BareReceiver&) = delete;

  std::uint16_t Port() const { return port_; }

  /// After this without a datagram, Receive gives up; otherwise it never does.
  void SetPatience(std::chrono::seconds patience) {
    const timeval limit{patience.count(), 0};
    static_cast<void>(::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit));
  }

  /// Waits for datagrams; how many there are, 0 when it gave up.
  std::size_t Receive() {
    const int got = ::recvmmsg(descriptor_, messages_.data(), kBatch, MSG_WAITFORONE, nullptr);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
  }
  /// One of those that came last.
  std::span<const std::uint8_t> Datagram(std::size_t index) const {
    return {buffers_[index].data(), messages_[index].msg_len};
  }

 private:
  static constexpr std::size_t kBatch = 64;
  static constexpr std::size_t kMaxDatagram = 65536;

  const int descriptor_;
  std::uint16_t port_ = 0;
  std::vector<std::array<std::uint8_t, kMaxDatagram>> buffers_{kBatch};
  std::array<iovec, kBatch> parts_{};
  std::array<mmsghdr, kBatch> messages_{};
};

}  // namespace qor::bench

#endif
