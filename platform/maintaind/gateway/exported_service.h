// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_EXPORTED_SERVICE_H
#define QOR_MAINTAIND_GATEWAY_EXPORTED_SERVICE_H

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/gateway/event_relay.h"
#include "platform/maintaind/gateway/gateway_loops.h"
#include "platform/someip/sd/services.h"

namespace qor::maintaind {

/// A service instance of an application of this host as other hosts see it: ports on the host's own address. Takes an
/// eventgroup from the application as long as another host takes it from here. On the daemon's loop.
class ExportedService {
 public:
  /// Opens the ports, those that the offer names when they are free. Errors: those of someip::ServiceServer.
  static ara::core::Result<std::unique_ptr<ExportedService>> Open(const GatewayLoops& loops, ServiceBroker& broker,
                                                                  someip::Ipv4Address address,
                                                                  const ServiceOffer& offer);
  ExportedService(ServiceBroker& broker, std::shared_ptr<EventRelay> relay, ServiceOffer offer);
  ~ExportedService();
  ExportedService(const ExportedService&) = delete;
  ExportedService& operator=(const ExportedService&) = delete;

  /// The same service with other events, or at another place on this host. False, and nothing done, when other ports
  /// are wanted: then it has to be opened anew.
  bool Update(const ServiceOffer& offer);
  /// For service discovery.
  someip::sd::OfferedService Offered() const;

  /// Another host's subscription, which service discovery has accepted.
  void AddSubscriber(const someip::sd::Subscriber& subscriber);
  void RemoveSubscriber(const someip::sd::Subscriber& subscriber);

 private:
  /// Eventgroup and whether it is taken over TCP.
  using Group = std::pair<std::uint16_t, bool>;

  void SetEvents();
  void UpdateSubscriptions();
  std::map<Group, EventgroupSubscription> Wanted() const;
  bool IsTaken(const OfferedEvent& event) const;
  void Untake(const EventgroupSubscription& subscription);

  ServiceBroker& broker_;
  ServiceOffer offer_;
  const std::shared_ptr<EventRelay> relay_;                                // shared with its handlers
  std::map<std::uint16_t, OfferedEvent> events_;                           ///< of the offer
  std::map<std::uint16_t, OfferedEvent> relayed_;                          ///< those that pass on
  std::map<std::uint16_t, std::set<someip::sd::Subscriber>> subscribers_;  ///< by eventgroup
  std::map<Group, EventgroupSubscription> taken_;                          ///< from the application
};

}  // namespace qor::maintaind

#endif
