// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/udp_socket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include <asio/ip/multicast.hpp>

#include "platform/someip/asio_endpoint.h"
#include "platform/someip/free_bind.h"
#include "platform/someip/group_socket.h"
#include "platform/someip/iovec.h"
#include "platform/someip/wire_error.h"

namespace qor::someip {
namespace {

/// More than the largest datagram, and so that the buffers' beginnings do not all fall on one line of the cache.
constexpr std::size_t kBufferStride = (64U << 10U) + 64;
/// Batches that one socket may hand out before the loop looks at others.
constexpr int kBatchesInARow = 8;
constexpr int kSendWaitMs = 20;

sockaddr_in ToSockaddr(const Endpoint& endpoint) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(endpoint.port);
  address.sin_addr.s_addr = htonl(endpoint.address.value);
  return address;
}

Endpoint FromSockaddr(const sockaddr_in& address) {
  return {Ipv4Address{ntohl(address.sin_addr.s_addr)}, ntohs(address.sin_port)};
}

void PrepareReception(int descriptor, std::size_t size) {
  const int on = 1;
  (void)::setsockopt(descriptor, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof(on));
  const int wanted = static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max() / 2));
  if (::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof(wanted)) != 0) {
    (void)::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof(wanted));
  }
}

asio::error_code JoinGroup(asio::ip::udp::socket& socket, Ipv4Address group, Ipv4Address interface) {
  asio::error_code error;
  socket.set_option(asio::ip::multicast::join_group(ToAsio(group), ToAsio(interface)), error);
  return error;
}

ara::core::ErrorCode JoinError(const Endpoint& group, Ipv4Address interface, const asio::error_code& error) {
  return MakeError(WireError::kSocket,
                   "cannot receive from " + group.Text() + " on " + interface.Text() + ": " + error.message());
}

}  // namespace

/// What recvmmsg fills. Half of the 4 MB are never touched, because datagrams are small.
class UdpSocket::ReceiveBatch {
 public:
  ReceiveBatch() : bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(kBatch * kBufferStride)) {
    for (std::size_t i = 0; i < kBatch; ++i) {
      parts_[i] = {bytes_.get() + i * kBufferStride, kBufferStride};
      messages_[i].msg_hdr.msg_name = &sources_[i];
      messages_[i].msg_hdr.msg_namelen = sizeof(sources_[i]);
      messages_[i].msg_hdr.msg_iov = &parts_[i];
      messages_[i].msg_hdr.msg_iovlen = 1;
      messages_[i].msg_hdr.msg_control = controls_[i].data();
      messages_[i].msg_hdr.msg_controllen = controls_[i].size();
    }
  }

  std::span<const IncomingDatagram> Receive(int descriptor) {
    int count = 0;
    do {
      count = ::recvmmsg(descriptor, messages_.data(), kBatch, MSG_DONTWAIT, nullptr);
    } while (count < 0 && errno == EINTR);
    for (int i = 0; i < count; ++i) {
      mmsghdr& message = messages_[static_cast<std::size_t>(i)];
      datagrams_[static_cast<std::size_t>(i)] = {
          {static_cast<const std::uint8_t*>(message.msg_hdr.msg_iov->iov_base), message.msg_len},
          FromSockaddr(sources_[static_cast<std::size_t>(i)])};
      ReadDrops(message.msg_hdr);
      message.msg_hdr.msg_namelen = sizeof(sockaddr_in);
      message.msg_hdr.msg_controllen = kControlSize;
    }
    return std::span(datagrams_).first(static_cast<std::size_t>(std::max(count, 0)));
  }

  /// The socket's count of drops so far, when the last batch said something about it.
  std::uint32_t TakeDrops() { return std::exchange(drops_, 0); }

 private:
  static constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(std::uint32_t));

  void ReadDrops(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
      if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SO_RXQ_OVFL) {
        std::memcpy(&drops_, CMSG_DATA(part), sizeof(drops_));
      }
    }
  }

  std::unique_ptr<std::uint8_t[]> bytes_;
  std::array<mmsghdr, kBatch> messages_{};
  std::array<iovec, kBatch> parts_{};
  std::array<sockaddr_in, kBatch> sources_{};
  struct alignas(cmsghdr) Control : std::array<std::uint8_t, kControlSize> {};
  std::array<Control, kBatch> controls_{};
  std::array<IncomingDatagram, kBatch> datagrams_{};
  std::uint32_t drops_ = 0;
};

UdpSocket::ReceiveBatch& UdpSocket::ThreadBatch() {
  static thread_local ReceiveBatch batch;
  return batch;
}

ara::core::Result<std::shared_ptr<UdpSocket>> UdpSocket::Open(asio::io_context& loop, const Endpoint& local,
                                                              std::size_t receiveBuffer, bool mayBindEarly) {
  asio::ip::udp::socket socket(loop);
  asio::error_code error;
  const auto failed = [&](const char* what) {
    return MakeError(WireError::kSocket, std::string(what) + " UDP " + local.Text() + ": " + error.message());
  };
  socket.open(asio::ip::udp::v4(), error);
  if (error) {
    return failed("cannot open a socket for");
  }
  PrepareReception(socket.native_handle(), receiveBuffer);
  if (mayBindEarly) {
    AllowFreeBind(socket.native_handle());
  }
  socket.bind(ToAsio<asio::ip::udp>(local), error);
  if (error) {
    return failed("cannot bind to");
  }
  const auto bound = socket.local_endpoint(error);
  if (error) {
    return failed("cannot find out the port of");
  }
  return std::make_shared<UdpSocket>(std::move(socket), FromAsio(bound));
}

ara::core::Result<std::shared_ptr<UdpSocket>> UdpSocket::OpenGroup(asio::io_context& loop, const Endpoint& group,
                                                                   Ipv4Address interface, std::size_t receiveBuffer) {
  asio::ip::udp::socket socket(loop);
  asio::error_code error = OpenGroupSocket(socket, group);
  if (!error) {
    PrepareReception(socket.native_handle(), receiveBuffer);
    error = JoinGroup(socket, group.address, interface);
  }
  if (error) {
    return JoinError(group, interface, error);
  }
  return std::make_shared<UdpSocket>(std::move(socket), group);
}

UdpSocket::UdpSocket(asio::ip::udp::socket socket, const Endpoint& local) : local_(local), socket_(std::move(socket)) {}

ara::core::Result<void> UdpSocket::RenewMembership(Ipv4Address interface) {
  const std::shared_lock lock(useMutex_);
  asio::error_code ignored;  // of an interface that is not there
  socket_.set_option(asio::ip::multicast::leave_group(ToAsio(local_.address), ToAsio(interface)), ignored);
  if (const asio::error_code error = JoinGroup(socket_, local_.address, interface)) {
    return JoinError(local_, interface, error);
  }
  return {};
}

void UdpSocket::Receive(BatchHandler handler) {
  handler_ = std::move(handler);
  Wait();
}

void UdpSocket::Wait() {
  const std::shared_lock lock(useMutex_);
  if (socket_.is_open()) {
    socket_.async_wait(asio::ip::udp::socket::wait_read, [self = shared_from_this()](const asio::error_code& error) {
      if (!error) {
        self->OnReadable();
      }
    });
  }
}

void UdpSocket::OnReadable() {
  ReceiveBatch& batch = ThreadBatch();
  for (int i = 0; i < kBatchesInARow; ++i) {
    if (ReceiveOnce(batch) < kBatch) {
      break;  // nothing was left; the waiting looks again
    }
  }
  Wait();
}

std::size_t UdpSocket::ReceiveOnce(ReceiveBatch& batch) {
  std::span<const IncomingDatagram> datagrams;
  {
    const std::shared_lock lock(useMutex_);
    if (!socket_.is_open()) {
      return 0;
    }
    datagrams = batch.Receive(socket_.native_handle());
  }
  if (const std::uint32_t drops = batch.TakeDrops(); drops != 0) {
    kernelDrops_.store(drops, std::memory_order_relaxed);
  }
  if (!datagrams.empty()) {
    handler_(datagrams);
  }
  return datagrams.size();
}

std::size_t UdpSocket::Send(std::span<const OutgoingDatagram> datagrams) {
  const std::shared_lock lock(useMutex_);
  std::size_t sent = 0;
  if (socket_.is_open()) {
    for (std::size_t at = 0; at < datagrams.size(); at += kBatch) {
      sent += SendChunk(datagrams.subspan(at, std::min(kBatch, datagrams.size() - at)));
    }
  }
  unsent_.fetch_add(datagrams.size() - sent, std::memory_order_relaxed);
  return sent;
}

/// At most kBatch datagrams, with useMutex_ shared.
std::size_t UdpSocket::SendChunk(std::span<const OutgoingDatagram> datagrams) {
  // NOLINTBEGIN(cppcoreguidelines-pro-type-member-init): 7 KB, filled as far as they are used
  std::array<mmsghdr, kBatch> messages;
  std::array<std::array<iovec, 2>, kBatch> parts;
  std::array<sockaddr_in, kBatch> destinations;
  // NOLINTEND(cppcoreguidelines-pro-type-member-init)
  for (std::size_t i = 0; i < datagrams.size(); ++i) {
    destinations[i] = ToSockaddr(datagrams[i].destination);
    parts[i] = {ToIovec(datagrams[i].head), ToIovec(datagrams[i].body)};
    messages[i] = {};
    messages[i].msg_hdr.msg_name = &destinations[i];
    messages[i].msg_hdr.msg_namelen = sizeof(destinations[i]);
    messages[i].msg_hdr.msg_iov = parts[i].data();
    messages[i].msg_hdr.msg_iovlen = parts[i].size();
  }
  std::size_t sent = 0;
  bool mayWait = true;
  for (std::size_t at = 0; at < datagrams.size();) {
    const int count = ::sendmmsg(socket_.native_handle(), &messages[at], static_cast<unsigned>(datagrams.size() - at),
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
      at += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN && mayWait) {
      pollfd writable{socket_.native_handle(), POLLOUT, 0};
      mayWait = ::poll(&writable, 1, kSendWaitMs) > 0;
    } else if (errno == EAGAIN) {
      break;
    } else if (errno != EINTR) {
      ++at;  // this one is refused, for its destination or its size; others may go
    }
  }
  return sent;
}

void UdpSocket::Close() {
  const std::unique_lock lock(useMutex_);
  asio::error_code ignored;
  socket_.close(ignored);
}

}  // namespace qor::someip
