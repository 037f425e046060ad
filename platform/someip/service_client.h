// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SERVICE_CLIENT_H
#define QOR_SOMEIP_SERVICE_CLIENT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/event_handlers.h"
#include "platform/someip/message.h"
#include "platform/someip/pending_requests.h"
#include "platform/someip/service_client_counts.h"
#include "platform/someip/tp.h"

namespace qor::someip {

struct ServiceClientOptions {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;  ///< not on this wire; for log lines
  std::uint8_t majorVersion = 1;
  Ipv4Address localAddress = kLoopbackAddress;
  bool mayBindEarly = false;                ///< the UDP socket can be opened while no interface has the local address
  std::uint16_t clientId = 0;               ///< must be unique among the clients of the server
  std::size_t maxMessageSize = 16U << 20U;  ///< bytes; larger payloads are dropped or refused
  std::size_t maxUnfinished = 64U << 20U;   ///< bytes of segmented messages that are not whole yet, of each socket
  std::size_t maxQueued = 64U << 20U;       ///< as TcpLimits says
  std::chrono::milliseconds halfMessage{5000};  ///< as TcpLimits says; 0: no limit
  std::size_t receiveBuffer = 8U << 20U;        ///< bytes asked for each UDP socket
  TpSettings requestTp;                         ///< for requests by UDP that need more than one datagram
};

/// The consumer's side of one service instance: one UDP socket and one TCP connection of its own, multicast groups,
/// event handlers, and requests with their answers and time-outs. To find the server and to subscribe is service
/// discovery's business: open the transport first, then subscribe with the endpoint that it has; join the group that
/// the server acknowledges with.
///
/// All methods may be called from any thread. Handlers run on the thread that runs the io_context (one thread), with no
/// lock held. The destructor waits for a handler that is running, unless it is called from one; requests without an
/// answer are forgotten, their handlers are not called. The io_context must outlive the client.
class ServiceClient {
 public:
  /// The endpoint is the connection's local one.
  using ConnectHandler = std::function<void(const ara::core::Result<Endpoint>& local)>;
  using ClosedHandler = std::function<void(const std::string& reason)>;

  ServiceClient(asio::io_context& loop, const ServiceClientOptions& options);
  ~ServiceClient();
  ServiceClient(const ServiceClient&) = delete;
  ServiceClient& operator=(const ServiceClient&) = delete;

  /// Where the server is, as far as it is known. Messages by UDP are taken from the server's address only, once that is
  /// known: its UDP endpoint's, else its TCP endpoint's. A TCP connection to a former endpoint stays until ConnectTcp
  /// or CloseTcp.
  void SetServer(const Endpoints& server);

  /// Opens the UDP socket on any free port, or says which endpoint it has when it is open. Error: kSocket.
  ara::core::Result<Endpoint> OpenUdp();
  /// Receives also what the server sends to this group and port, on the interface that has the local address; from then
  /// on events come both ways. The membership stays while the interface is down or without address, and ends when the
  /// interface is removed. Joining a group again renews the membership, which can lose what comes meanwhile; one call
  /// leaves it, however often it was joined. A failed call leaves it not joined. Errors: kBadArgument, kSocket.
  ara::core::Result<void> JoinMulticast(const Endpoint& group);
  /// What has arrived before can still be handed out.
  void LeaveMulticast(const Endpoint& group);
  /// Connects anew to the server's TCP endpoint; an earlier connection or attempt ends without a call of its handlers.
  /// `onConnected` is called once; `onClosed` once, when a connection that was made ends by itself. An attempt to reach
  /// a host that does not answer takes some seconds; TcpConnection says when a connection to one that vanishes ends.
  void ConnectTcp(ConnectHandler onConnected, ClosedHandler onClosed);
  /// Without a call of the closed handler. Requests on their way end with kConnectionLost.
  void CloseTcp();

  /// Replaces the handler of this event. The header is the whole message's; the payload is valid during the call.
  void SetEventHandler(std::uint16_t eventId, EventHandler handler);
  /// For the next message there is none; one that runs is not waited for.
  void RemoveEventHandler(std::uint16_t eventId);

  /// Sends a request. The handler is called exactly once, on the loop's thread, whatever happens, unless the client
  /// ends before. By UDP this opens the socket, and a segmented request keeps the caller for the pauses between its
  /// bursts; by TCP the connection must be there.
  void Request(std::uint16_t methodId, std::span<const std::uint8_t> payload, bool isReliable,
               std::chrono::milliseconds timeout, AnswerHandler onAnswer);
  /// Sends a message that has no answer. Errors: kNotOpen, kTooLarge, kNotSent.
  ara::core::Result<void> FireAndForget(std::uint16_t methodId, std::span<const std::uint8_t> payload, bool isReliable);

  ServiceClientCounts Counts() const;

 private:
  class Core;
  std::shared_ptr<Core> core_;  // shared with handlers that the loop still holds
};

}  // namespace qor::someip

#endif
