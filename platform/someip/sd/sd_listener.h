// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_LISTENER_H
#define QOR_SOMEIP_SD_SD_LISTENER_H

#include <optional>

#include "platform/someip/sd/sd_fault.h"
#include "platform/someip/sd/services.h"

namespace qor::someip::sd {

/// What an agent tells its owner, from inside the agent's methods. The references live until the call returns. The
/// owner may call the agent back, except from OnSubscribe().
class SdListener {
 public:
  virtual ~SdListener() = default;

  /// Another host offers a service that it did not offer before.
  virtual void OnServiceOffered(const RemoteService& service) = 0;
  /// An offer brought another minor version, endpoint, configuration or time to live.
  virtual void OnServiceChanged(const RemoteService& service) = 0;
  /// An offer ended; the state says how.
  virtual void OnServiceGone(const RemoteService& service) = 0;

  /// A host subscribes: nothing accepts, a reason refuses. Renewals are accepted without a call. Initial values are
  /// due once this call and the agent's method around it have returned: then the acknowledgement is under way.
  virtual std::optional<Refusal> OnSubscribe(const Subscriber& subscriber) = 0;
  /// Once for each subscriber that was accepted.
  virtual void OnSubscriberEnded(const Subscriber& subscriber, SubscriberEnd end) = 0;
  /// A subscription that the agent or the owner refused. Can come as fast as messages do.
  virtual void OnSubscriberRefused(const Subscriber& subscriber, Refusal reason) = 0;

  /// An own subscription has got another state, or another multicast endpoint.
  virtual void OnSubscriptionState(const Subscription& subscription) = 0;

  /// Before the calls for what ended thereby.
  virtual void OnReboot(Ipv4Address host) = 0;

  /// `claimant` offers a service that is offered already: by `owner`, or by this agent when there is no owner. The
  /// offer is ignored. Can come as fast as messages do, as can the next.
  virtual void OnConflict(const ServiceKey& key, std::optional<Ipv4Address> owner, Ipv4Address claimant) = 0;
  /// A message, or an entry of it, was ignored.
  virtual void OnFault(Ipv4Address sender, SdFault fault) = 0;
};

}  // namespace qor::someip::sd

#endif
