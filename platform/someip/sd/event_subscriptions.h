// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_EVENT_SUBSCRIPTIONS_H
#define QOR_SOMEIP_SD_EVENT_SUBSCRIPTIONS_H

#include <map>
#include <optional>
#include <utility>

#include "platform/someip/sd/host_batches.h"
#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/sd_listener.h"
#include "platform/someip/sd/send_phases.h"

namespace qor::someip::sd {

/// The own subscriptions of other hosts' eventgroups: when they are sent, and what has become of them. Part of an
/// agent.
class EventSubscriptions {
 public:
  EventSubscriptions(const SdTiming& timing, RandomSource& random, Outbox& outbox, SdListener& listener)
      : timing_(timing), random_(random), outbox_(outbox), listener_(listener) {}

  /// `host`: who offers the service now.
  void Subscribe(const Subscription& subscription, std::optional<Ipv4Address> host, TimePoint now);
  void Unsubscribe(const ServiceKey& service, std::uint16_t eventgroup);
  void UnsubscribeAll();

  void OnOffer(const ServiceKey& service, Ipv4Address host, bool isMulticast, TimePoint now);
  void OnServiceGone(const ServiceKey& service);
  /// Time to live 0 is a refusal.
  void OnAck(Ipv4Address sender, const Entry& entry, TimePoint now);

  std::optional<TimePoint> Next() const;
  void OnTime(TimePoint now);

 private:
  using Key = std::pair<ServiceKey, std::uint16_t>;
  struct Own {
    Subscription subscription;
    Ipv4Address host{};   ///< unless it waits for the service
    bool isSent = false;  ///< the host can know it
  };
  using OwnByKey = std::map<Key, Own>;

  void Request(const Key& key, Own& own, Ipv4Address host, TimePoint due);
  void Withdraw(const Key& key, const Own& own);
  void SendDue(TimePoint now);
  void SetState(Own& own, Subscription::State state, std::optional<Endpoint> multicast);
  OwnByKey::iterator FirstOf(const ServiceKey& service) { return subscriptions_.lower_bound({service, 0}); }

  const SdTiming timing_;
  RandomSource& random_;
  Outbox& outbox_;
  SdListener& listener_;
  OwnByKey subscriptions_;
  HostBatches<Key> requests_;
  DeadlineQueue<Key> renewals_;  ///< when no offer asks for it before
  DeadlineQueue<Key> lapses_;    ///< ends of acknowledgements
};

}  // namespace qor::someip::sd

#endif
