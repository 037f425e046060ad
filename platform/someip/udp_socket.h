// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_UDP_SOCKET_H
#define QOR_SOMEIP_UDP_SOCKET_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <shared_mutex>
#include <span>

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"

namespace qor::someip {

/// A datagram that arrived.
struct IncomingDatagram {
  std::span<const std::uint8_t> bytes;
  Endpoint source;
};

/// A datagram to be sent, in two pieces that are joined on the way.
struct OutgoingDatagram {
  Endpoint destination;
  std::span<const std::uint8_t> head;
  std::span<const std::uint8_t> body;
};

/// A UDP socket that takes and gives datagrams in batches. Datagrams are received on the loop's thread, into buffers
/// that all sockets of the thread share; Send, Close and the counts are for any thread.
class UdpSocket : public std::enable_shared_from_this<UdpSocket> {  // shared with the waiting that the loop holds
 public:
  /// The datagrams are valid during the call.
  using BatchHandler = std::function<void(std::span<const IncomingDatagram> batch)>;

  /// Datagrams of one call of the handler, and of one call of the system.
  static constexpr std::size_t kBatch = 64;

  /// Binds to `local`; port 0 takes any. The address must be one that the host has now, unless it may be bound early.
  /// The receive buffer is as large as asked for when the process may do that, else as large as the system lets it.
  /// Error: kSocket.
  static ara::core::Result<std::shared_ptr<UdpSocket>> Open(asio::io_context& loop, const Endpoint& local,
                                                            std::size_t receiveBuffer, bool mayBindEarly);
  /// For what is sent to a multicast group and port on the interface that has this address. Any number of sockets of a
  /// host can take the same. The membership stays while the interface is down or without address, and ends when the
  /// interface is removed. Error: kSocket.
  static ara::core::Result<std::shared_ptr<UdpSocket>> OpenGroup(asio::io_context& loop, const Endpoint& group,
                                                                 Ipv4Address interface, std::size_t receiveBuffer);
  UdpSocket(asio::ip::udp::socket socket, const Endpoint& local);

  /// For the socket of a group: leaves it and joins it again, on the interface that has this address now. What comes in
  /// between is lost. Error: kSocket.
  ara::core::Result<void> RenewMembership(Ipv4Address interface);

  /// Call it once. The handler may close the socket.
  void Receive(BatchHandler handler);
  /// Sends in order and returns how many were taken. When the send buffer is full it waits up to 20 ms for room; what
  /// still does not fit, or is refused, is counted as unsent.
  std::size_t Send(std::span<const OutgoingDatagram> datagrams);
  /// Frees the port. Datagrams that were not handed out are lost.
  void Close();

  const Endpoint& Local() const { return local_; }
  std::uint64_t KernelDrops() const { return kernelDrops_.load(std::memory_order_relaxed); }
  std::uint64_t Unsent() const { return unsent_.load(std::memory_order_relaxed); }

 private:
  class ReceiveBatch;
  static ReceiveBatch& ThreadBatch();

  void Wait();
  void OnReadable();
  std::size_t ReceiveOnce(ReceiveBatch& batch);
  std::size_t SendChunk(std::span<const OutgoingDatagram> datagrams);

  const Endpoint local_;
  BatchHandler handler_;  // set before the first waiting
  std::atomic<std::uint64_t> kernelDrops_{0};
  std::atomic<std::uint64_t> unsent_{0};
  std::shared_mutex useMutex_;    // shared while the descriptor is used, alone to close it
  asio::ip::udp::socket socket_;  // guarded by useMutex_
};

}  // namespace qor::someip

#endif
