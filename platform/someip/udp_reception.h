// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_UDP_RECEPTION_H
#define QOR_SOMEIP_UDP_RECEPTION_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/callback_gate.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message_filter.h"
#include "platform/someip/message_reader.h"
#include "platform/someip/message_sink.h"
#include "platform/someip/service_client_counts.h"
#include "platform/someip/udp_socket.h"

namespace qor::someip {

struct UdpReceptionSettings {
  MessageFilter filter;
  Ipv4Address localAddress;
  bool mayBindEarly = false;
  std::size_t receiveBuffer = 0;  ///< bytes asked for a socket
  TpReassemblerOptions segments;
};

/// What a client receives by UDP: from datagrams to the messages that are for it. Any thread; messages go to the sink
/// on the loop's, with no lock held, while the gate is open.
class UdpReception : public std::enable_shared_from_this<UdpReception> {  // shared with what the loop holds
 public:
  UdpReception(asio::io_context& loop, std::shared_ptr<CallbackGate> gate, const UdpReceptionSettings& settings,
               std::weak_ptr<MessageSink> sink);

  /// The client's socket, which is opened on any free port when it is not open yet. Error: kSocket.
  ara::core::Result<std::shared_ptr<UdpSocket>> Open();
  /// What ServiceClient::JoinMulticast and LeaveMulticast say.
  ara::core::Result<void> Join(const Endpoint& group);
  void Leave(const Endpoint& group);
  /// Messages from other hosts are foreign; 0.0.0.0: from none.
  void SetSource(Ipv4Address source) { source_.store(source, std::memory_order_relaxed); }
  void Close();

  ServiceClientCounts Counts() const;

 private:
  struct Visitor;
  /// A socket, and its datagrams on their way to messages: what comes by different sockets is not in order, so that the
  /// segments of each are put together apart.
  struct Channel {
    std::shared_ptr<UdpSocket> socket;      // shared with the loop and with senders
    std::shared_ptr<MessageReader> reader;  // the loop's thread; shared with the socket's handler

    void AddTo(ServiceClientCounts& counts) const;
  };
  using Groups = std::map<Endpoint, Channel>;

  Channel Receive(std::shared_ptr<UdpSocket> socket);
  void OnBatch(MessageReader& reader, std::span<const IncomingDatagram> batch);
  bool Accept(const MessageHeader& header, Ipv4Address source);
  void LeaveLocked(Groups::iterator group);

  asio::io_context& loop_;
  const std::shared_ptr<CallbackGate> gate_;  // shared with the client
  const UdpReceptionSettings settings_;
  const std::weak_ptr<MessageSink> sink_;
  std::atomic<Ipv4Address> source_{};
  std::atomic<std::uint64_t> foreign_{0};

  mutable std::mutex mutex_;    // guards all that follows
  std::optional<Channel> own_;  // nothing: not opened
  Groups groups_;               // that are joined
  ServiceClientCounts left_;    // of groups that were left
};

}  // namespace qor::someip

#endif
