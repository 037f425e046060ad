// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_EVENT_RELAY_H
#define QOR_MAINTAIND_GATEWAY_EVENT_RELAY_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <asio/steady_timer.hpp>

#include "platform/ara/core/result.h"
#include "platform/maintaind/gateway/gateway_loops.h"
#include "platform/someip/service_client.h"
#include "platform/someip/service_server.h"
#include "src/common/records/someip_link.h"

namespace qor::maintaind {

/// Takes the events of a service instance on one network, as its client, and gives them out on another, as a server:
/// payloads pass unchanged, whole. Who subscribes on either side is its owner's business. All on the thread of the
/// control loop; events pass on that of the event loop, those that pause between segments on that of the paced one. The
/// ports on the other side have a loop too, so that nobody's pauses hold up TCP peers.
class EventRelay : public std::enable_shared_from_this<EventRelay> {
 public:
  struct Options {
    ServiceIndex service;
    someip::Ipv4Address sourceAddress;      ///< the own one on the provider's side
    someip::ServiceServerOptions server{};  ///< of the other side
  };
  /// The transports to the provider have changed.
  using ChangeHandler = std::function<void()>;
  using PeerGoneHandler = std::function<void(const someip::Endpoint& peer)>;

  /// Opens the server's ports; where one that is asked for is taken, any others. Errors: those of ServiceServer.
  static ara::core::Result<std::shared_ptr<EventRelay>> Open(const GatewayLoops& loops, Options options);
  EventRelay(const GatewayLoops& loops, const Options& options, std::shared_ptr<someip::ServiceServer> server);
  EventRelay(const EventRelay&) = delete;
  EventRelay& operator=(const EventRelay&) = delete;

  void SetChangeHandler(ChangeHandler onChange) { onChange_ = std::move(onChange); }
  /// For TCP peers of the server whose connection has ended.
  void SetPeerGoneHandler(PeerGoneHandler onPeerGone) { onPeerGone_ = std::move(onPeerGone); }
  /// Where the provider is.
  void SetProvider(const someip::Endpoints& provider);
  /// Opens the transports to the provider that are needed, and keeps them open.
  void Need(bool udp, bool tcp);
  /// The own endpoints of those that are open.
  const someip::Endpoints& Local() const { return local_; }
  /// The first attempt to connect has not ended yet.
  bool IsTcpUnderWay() const { return isConnecting_ && !hasTcpFailed_; }

  /// New, or in the place of the one with this id.
  void SetEvent(const OfferedEvent& event);
  /// What still comes of it goes nowhere; the last payload of a field is forgotten.
  void RemoveEvent(std::uint16_t eventId);

  someip::ServiceServer& Server() { return *server_; }
  someip::ServiceClient& Client() { return client_; }

 private:
  void OpenUdp();
  void ConnectTcp();
  void OnTcpConnected(const ara::core::Result<someip::Endpoint>& local);
  void OnTcpClosed(const std::string& reason);
  void CloseTcp();
  void Changed();

  const GatewayLoops loops_;
  const ServiceIndex service_;
  ChangeHandler onChange_;
  PeerGoneHandler onPeerGone_;
  someip::Endpoints provider_;
  someip::Endpoints local_;
  bool needsTcp_ = false;
  bool isConnecting_ = false;
  bool hasTcpFailed_ = false;  ///< since the provider is there
  std::uint64_t attempt_ = 0;  ///< of ConnectTcp; the news of earlier ones are not looked at
  asio::steady_timer retry_;
  const std::shared_ptr<someip::ServiceServer> server_;  // only its handlers share it, weakly
  someip::ServiceClient client_;                         // ends first: no handler runs any more
};

}  // namespace qor::maintaind

#endif
