// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SERVICE_SERVER_H
#define QOR_SOMEIP_SERVICE_SERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/notifier.h"
#include "platform/someip/responder.h"
#include "platform/someip/tp.h"

namespace qor::someip {

struct ServiceServerOptions {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;  ///< not on this wire; for log lines
  std::uint8_t majorVersion = 1;
  Ipv4Address address = kLoopbackAddress;       ///< the local address that is listened on
  bool mayBindEarly = false;                    ///< the ports can be opened while no interface has the address
  std::optional<std::uint16_t> udpPort;         ///< nothing: no UDP; 0: any port
  std::optional<std::uint16_t> tcpPort;         ///< nothing: no TCP; 0: any port
  std::size_t maxMessageSize = 16U << 20U;      ///< bytes; larger payloads are refused in both directions
  std::optional<std::size_t> maxRequestSize;    ///< bytes; nothing: maxMessageSize is the limit of requests too
  std::size_t maxQueued = 64U << 20U;           ///< of a TCP connection, as TcpLimits says
  std::chrono::milliseconds halfMessage{5000};  ///< of a TCP connection, as TcpLimits says; 0: no limit
  /// A TCP peer's next request is taken when the answers that were given up to then wait no more.
  bool answersInTurn = false;
  std::size_t maxConnections = 64;        ///< further TCP connections are closed at once
  std::size_t maxConnectionsOfHost = 0;   ///< the same, of one address; 0: no limit of its own
  std::size_t receiveBuffer = 4U << 20U;  ///< bytes asked for the UDP socket
  TpSettings answerTp;                    ///< for answers by UDP that need more than one datagram
};

struct ServiceServerCounts {
  std::uint64_t unsent = 0;       ///< datagrams that the operating system did not take
  std::uint64_t kernelDrops = 0;  ///< datagrams that found the receive buffer full
  std::uint64_t malformed = 0;    ///< datagrams and streams that are no SOME/IP
  std::uint64_t tpDropped = 0;    ///< segmented requests that did not become whole
};

/// The provider's side of one service instance on one address: its UDP and TCP ports, the subscribers of its
/// eventgroups, notifications, and requests with their answers. Who may subscribe, and for how long, is service
/// discovery's business.
///
/// All methods may be called from any thread. Handlers run on the thread that runs the io_context (one thread), with no
/// lock held. The destructor closes the ports and waits for a handler that is running, unless it is called from one.
/// The io_context must outlive the server.
class ServiceServer {
 public:
  /// For requests and fire-and-forget messages of this service and version. The payload is valid during the call.
  using RequestHandler =
      std::function<void(const MessageHeader& header, std::span<const std::uint8_t> payload, Responder responder)>;
  /// A TCP peer has gone; its subscriptions are removed already.
  using DisconnectHandler = std::function<void(const Endpoint& peer)>;

  /// Opens the ports. Errors: kBadArgument, kSocket. A server without a request handler answers kUnknownMethod.
  static ara::core::Result<std::unique_ptr<ServiceServer>> Open(asio::io_context& loop,
                                                                const ServiceServerOptions& options,
                                                                RequestHandler onRequest = nullptr,
                                                                DisconnectHandler onDisconnect = nullptr);
  /// The same, but in place of a port that cannot be had it takes any. What it took is told by the endpoints.
  static ara::core::Result<std::unique_ptr<ServiceServer>> OpenNear(asio::io_context& loop,
                                                                    const ServiceServerOptions& options,
                                                                    RequestHandler onRequest = nullptr,
                                                                    DisconnectHandler onDisconnect = nullptr);
  ~ServiceServer();
  ServiceServer(const ServiceServer&) = delete;
  ServiceServer& operator=(const ServiceServer&) = delete;

  /// With the actual port; nothing when that transport is not open.
  std::optional<Endpoint> UdpEndpoint() const;
  std::optional<Endpoint> TcpEndpoint() const;

  /// Replaces an event of the same id and forgets its last payload. Errors: kBadArgument; kNotOpen when the event's
  /// transport is not open.
  ara::core::Result<void> AddEvent(const EventSettings& event);
  void RemoveEvent(std::uint16_t eventId);
  /// Sends to everybody who has subscribed one of the event's eventgroups, once each. Messages of one event leave in
  /// the order of the calls; a segmented one keeps the caller for the pauses between its bursts. Nothing is allocated
  /// once warm. Errors: kUnknownEvent, kTooLarge, kNotSent (somebody may have got it all the same).
  ara::core::Result<void> Notify(std::uint16_t eventId, std::span<const std::uint8_t> payload);

  /// Returns at once. When the subscription is new, the last payloads of the eventgroup's fields follow from the loop's
  /// thread, unless a newer one has been sent to the subscriber until then. A reliable subscriber is the remote
  /// endpoint of a TCP connection; one whose connection is not here yet gets everything once it is. Error: kNotOpen.
  ara::core::Result<void> AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  /// False when there is no such subscriber.
  bool RemoveSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  /// From all eventgroups, reliable and not.
  void RemoveAllSubscribers(const Endpoint& subscriber);
  /// Whether a TCP connection from this remote endpoint is here.
  bool HasConnection(const Endpoint& peer) const;
  /// Subscriptions: a peer that takes both transports of one eventgroup counts twice.
  std::size_t SubscriberCount(std::uint16_t eventgroupId) const;

  ServiceServerCounts Counts() const;

 private:
  class Core;
  enum class Ports : std::uint8_t { kExact, kNear };
  static ara::core::Result<std::unique_ptr<ServiceServer>> OpenAt(Ports ports, asio::io_context& loop,
                                                                  const ServiceServerOptions& options,
                                                                  RequestHandler onRequest,
                                                                  DisconnectHandler onDisconnect);
  explicit ServiceServer(std::shared_ptr<Core> core);

  std::shared_ptr<Core> core_;  // shared with handlers that the loop still holds and with responders
};

}  // namespace qor::someip

#endif
