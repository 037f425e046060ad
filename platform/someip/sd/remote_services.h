// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_REMOTE_SERVICES_H
#define QOR_SOMEIP_SD_REMOTE_SERVICES_H

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "platform/someip/sd/deadline_queue.h"
#include "platform/someip/sd/sd_config.h"

namespace qor::someip::sd {

/// The services of other hosts: those that are offered and the latest that were. A service belongs to the host that
/// offered it first, until that offer ends. Part of an agent.
class RemoteServices {
 public:
  enum class Outcome : std::uint8_t { kNew, kChanged, kRenewed, kOfAnotherHost, kTooMany };

  explicit RemoteServices(const SdLimits& limits) : limits_(limits) {}

  Outcome OnOffer(const RemoteService& offered, TimePoint now);
  /// The service that ended; nothing when this host does not offer it.
  std::optional<RemoteService> OnStopOffer(const ServiceKey& key, Ipv4Address host);
  /// All of a host end.
  std::vector<RemoteService> OnReboot(Ipv4Address host);
  std::optional<RemoteService> TakeExpired(TimePoint now);
  std::optional<TimePoint> Next() const { return expiry_.Next(); }

  /// One that is offered; nullptr when there is none. Valid until the next change.
  const RemoteService* FindOffered(const ServiceKey& key) const;
  std::optional<RemoteService> Find(const ServiceKey& key) const;
  bool HasOffered(const ServiceFilter& filter) const;
  std::vector<RemoteService> All() const;
  std::size_t OfferedCount() const { return offered_.size(); }
  std::size_t EndedCount() const { return ended_.size(); }

 private:
  using Ended = std::list<RemoteService>;  // the longest ended first

  bool HasRoom(Ipv4Address host) const;
  RemoteService End(const ServiceKey& key, RemoteService::State state);
  void Remember(const RemoteService& service);
  void ForgetEnded(const ServiceKey& key);

  const SdLimits limits_;
  std::map<ServiceKey, RemoteService> offered_;
  std::map<Ipv4Address, std::set<ServiceKey>> byHost_;  ///< the keys of offered_
  DeadlineQueue<ServiceKey> expiry_;
  Ended ended_;
  std::map<ServiceKey, Ended::iterator> endedByKey_;
};

}  // namespace qor::someip::sd

#endif
