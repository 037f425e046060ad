// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_SERVICE_BROKER_H
#define QOR_MAINTAIND_DAEMON_SERVICE_BROKER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/peer_info.h"
#include "src/common/records/someip_link.h"

namespace qor::maintaind {

/// Where the broker's news go: to the connection of an application.
class BrokerPeers {
 public:
  virtual ~BrokerPeers() = default;
  virtual void OnServiceState(ConnectionId connection, const ServiceState& state) = 0;
  virtual void OnSubscriberChange(ConnectionId connection, const SubscriberChange& change) = 0;
};

/// Where services of other hosts come from, and the services of this host go to. The calls come from inside the
/// broker's methods; they must not call it back.
class BrokerGateway {
 public:
  virtual ~BrokerGateway() = default;
  /// An application of this host offers a service, or offers it otherwise than before.
  virtual void OnOffered(const ServiceOffer& offer) = 0;
  virtual void OnOfferEnded(const ServiceIndex& service) = 0;
  /// Applications of this host look for a service, or none does any more.
  virtual void OnWanted(const ServiceIndex& service, bool isWanted) = 0;
  /// For a service that the gateway itself offers here; with the events that the subscriber expects.
  virtual void OnSubscriberChange(const SubscriberChange& change) = 0;
};

/// The gateway's place among the connections.
inline constexpr ConnectionId kGatewayConnection = 0;

/// Brings the providers and the users of SOME/IP service instances on this host together: users learn where a provider
/// listens, providers who has subscribed. What they send each other does not pass here. One provider an instance; the
/// first one keeps it, but the gateway makes room for an application. One thread; no sockets.
class ServiceBroker {
 public:
  struct Limits {
    std::size_t services = 1024;        ///< offered, or looked for, by one connection
    std::size_t subscriptions = 16384;  ///< of one connection
  };

  explicit ServiceBroker(BrokerPeers& peers) : ServiceBroker(peers, Limits{}) {}
  ServiceBroker(BrokerPeers& peers, Limits limits);

  /// At the start, before any other call.
  void SetGateway(BrokerGateway* gateway) { gateway_ = gateway; }

  // Applications, and the gateway as kGatewayConnection. The errors are SOME/IP return codes with the reason.

  /// An instance that the connection offers already is changed.
  ara::core::Result<void> Offer(ConnectionId connection, const ServiceOffer& offer);
  ara::core::Result<void> StopOffer(ConnectionId connection, const ServiceIndex& service);
  ara::core::Result<void> Find(ConnectionId connection, const ServiceIndex& service);
  ara::core::Result<void> StopFind(ConnectionId connection, const ServiceIndex& service);
  /// The same endpoint again changes only the events that are expected.
  ara::core::Result<void> Subscribe(ConnectionId connection, EventgroupSubscription subscription);
  ara::core::Result<void> Unsubscribe(ConnectionId connection, const EventgroupSubscription& subscription);
  /// For the requests of one application: no two of this host that run have the same, until all are used up.
  std::uint16_t NewClientId();
  /// Ends everything that the connection offered, looked for and subscribed.
  void Close(ConnectionId connection);

 private:
  struct Subscription {
    ConnectionId connection = 0;
    EventgroupSubscription what;
  };
  struct Service {
    std::optional<ConnectionId> provider;
    ServiceOffer offer;  ///< of the provider
    std::set<ConnectionId> finders;
    std::vector<Subscription> subscriptions;

    bool IsUnused() const { return !provider && finders.empty() && subscriptions.empty(); }
  };
  using Services = std::map<ServiceIndex, Service>;

  static ServiceState StateOf(const ServiceIndex& index, const Service& service);
  void TellFinders(const ServiceIndex& index, const Service& service);
  void TellProvider(const Service& service, const EventgroupSubscription& subscription, bool isSubscribed);
  void EndOffer(const ServiceIndex& index, Service& service);
  void RemoveFinder(ConnectionId connection, const ServiceIndex& index, Service& service);
  bool HasRoomForService(ConnectionId connection) const;
  ara::core::ErrorCode TooManyServices() const;
  std::size_t CountOf(ConnectionId connection) const;
  std::size_t SubscriptionsOf(ConnectionId connection) const;

  BrokerPeers& peers_;
  BrokerGateway* gateway_ = nullptr;  ///< none: this host only
  const Limits limits_;
  Services services_;
  std::uint16_t lastClientId_;
};

}  // namespace qor::maintaind

#endif
