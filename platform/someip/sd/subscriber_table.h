// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SUBSCRIBER_TABLE_H
#define QOR_SOMEIP_SD_SUBSCRIBER_TABLE_H

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <variant>
#include <vector>

#include "platform/someip/sd/deadline_queue.h"
#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/own_services.h"
#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/sd_listener.h"

namespace qor::someip::sd {

/// Other hosts' subscriptions of own eventgroups: whether they are accepted, and when they end. Part of an agent.
class SubscriberTable {
 public:
  SubscriberTable(const SdLimits& limits, const OwnServices& services, Outbox& outbox, SdListener& listener)
      : limits_(limits), services_(services), outbox_(outbox), listener_(listener) {}

  /// A subscribe entry that came by unicast; time to live 0 ends a subscription.
  void OnEntry(Ipv4Address sender, const Entry& entry, TimePoint now);
  /// One whose options cannot be read.
  void OnInvalidEntry(Ipv4Address sender, const Entry& entry);

  /// Its connection has ended. Without effect when it is not there.
  void End(const Subscriber& subscriber) { EndThose({subscriber}, SubscriberEnd::kConnectionLost); }
  void EndHost(Ipv4Address host);
  void EndService(const ServiceKey& service);
  /// Those whose eventgroup the service has no longer.
  void EndWithoutEventgroup(const OfferedService& service);

  std::optional<TimePoint> Next() const { return expiry_.Next(); }
  void OnTime(TimePoint now);

  std::size_t Count() const { return subscribers_.size(); }
  std::vector<Subscriber> All() const { return {subscribers_.begin(), subscribers_.end()}; }

 private:
  std::variant<Subscriber, Refusal> Check(Ipv4Address sender, const Entry& entry) const;
  std::optional<Refusal> CheckLimits(const Subscriber& subscriber) const;
  std::optional<Refusal> Admit(const Subscriber& subscriber, std::uint32_t ttl, TimePoint now);
  void SetExpiry(const Subscriber& subscriber, std::uint32_t ttl, TimePoint now);
  void Acknowledge(Ipv4Address sender, const Entry& entry);
  void Refuse(const Subscriber& subscriber, const Entry& entry, Refusal reason);
  void Unsubscribe(Ipv4Address sender, const Entry& entry);
  void EndThose(const std::vector<Subscriber>& subscribers, SubscriberEnd end);

  const SdLimits limits_;
  const OwnServices& services_;
  Outbox& outbox_;
  SdListener& listener_;
  std::set<Subscriber> subscribers_;
  std::map<Ipv4Address, std::set<Subscriber>> byHost_;
  DeadlineQueue<Subscriber> expiry_;
};

}  // namespace qor::someip::sd

#endif
