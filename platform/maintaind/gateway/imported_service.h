// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_IMPORTED_SERVICE_H
#define QOR_MAINTAIND_GATEWAY_IMPORTED_SERVICE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/gateway/event_relay.h"
#include "platform/maintaind/gateway/gateway_loops.h"
#include "platform/someip/sd/services.h"

namespace qor::maintaind {

/// Through which own subscriptions reach other hosts: service discovery, or what a test puts in its place.
class RemoteSubscriptions {
 public:
  virtual ~RemoteSubscriptions() = default;
  /// As someip::sd::SdAgent has them.
  virtual void Subscribe(const someip::sd::Subscription& subscription) = 0;
  virtual void Unsubscribe(const someip::sd::ServiceKey& service, std::uint16_t eventgroup) = 0;
};

/// A service instance of another host as the applications of this one see it: ports on loopback, offered through the
/// broker. Each eventgroup is subscribed at the other host once, however many take it here. On the daemon's loop.
class ImportedService {
 public:
  struct Network {
    someip::Ipv4Address address;  ///< the own one
    std::uint32_t ttl = 3;        ///< seconds, of the subscriptions
  };

  /// Opens the ports and offers the service. Errors: those of someip::ServiceServer and of ServiceBroker::Offer.
  static ara::core::Result<std::unique_ptr<ImportedService>> Open(const GatewayLoops& loops, ServiceBroker& broker,
                                                                  RemoteSubscriptions& subscriptions,
                                                                  const Network& network,
                                                                  const someip::sd::RemoteService& remote);
  ImportedService(ServiceBroker& broker, RemoteSubscriptions& subscriptions, const Network& network,
                  std::shared_ptr<EventRelay> relay, const someip::sd::RemoteService& remote);
  /// Takes the offer and the subscriptions back.
  ~ImportedService();
  ImportedService(const ImportedService&) = delete;
  ImportedService& operator=(const ImportedService&) = delete;

  /// The other host offers it otherwise than before. False, and nothing done, when it has another transport: then it
  /// has to be opened anew.
  bool Update(const someip::sd::RemoteService& remote);
  void OnSubscriberChange(const SubscriberChange& change);
  void OnSubscriptionState(const someip::sd::Subscription& subscription);
  /// The own interface may be a new one: memberships of multicast groups have gone with the old one.
  void OnNetworkUp();
  /// Opens and joins what could not be before.
  void Retry();
  /// Tells those who use the service how many messages did not arrive here.
  void ReportLost();

 private:
  /// Where an application takes an eventgroup, and whether over TCP.
  using Taker = std::pair<someip::Endpoint, bool>;
  struct Eventgroup {
    std::set<Taker> takers;
    someip::Endpoints asked;                    ///< the own endpoints in the subscription; none: not subscribed
    std::optional<someip::Endpoint> multicast;  ///< where its messages come besides
  };

  ara::core::Result<void> Offer();
  void AddEvents(const EventgroupSubscription& subscription);
  void ForgetEvents();
  void UpdateSubscriptions();
  void Ask(std::uint16_t id, Eventgroup& group);
  void SetMulticast(Eventgroup& group, const std::optional<someip::Endpoint>& multicast);
  bool IsMulticastUsed(const someip::Endpoint& multicast) const;
  void Join(const someip::Endpoint& multicast);
  bool Takes(bool isReliable) const;

  ServiceBroker& broker_;
  RemoteSubscriptions& subscriptions_;
  const Network network_;
  const someip::sd::ServiceKey key_;
  const std::shared_ptr<EventRelay> relay_;  // shared with its handlers
  someip::Endpoints remote_;
  ServiceOffer offer_;  ///< on this host
  std::map<std::uint16_t, OfferedEvent> events_;
  std::map<std::uint16_t, Eventgroup> eventgroups_;
  std::set<someip::Endpoint> joined_;  ///< multicast groups
};

}  // namespace qor::maintaind

#endif
