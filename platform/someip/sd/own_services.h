// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_OWN_SERVICES_H
#define QOR_SOMEIP_SD_OWN_SERVICES_H

#include <cstddef>
#include <map>
#include <optional>
#include <set>

#include "platform/someip/sd/host_batches.h"
#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/send_phases.h"

namespace qor::someip::sd {

/// The services that this host offers: when their offers go out, and the answers to finds. Part of an agent.
class OwnServices {
 public:
  OwnServices(const SdConfig& config, RandomSource& random, Outbox& outbox)
      : timing_(config.timing), maxPendingAnswers_(config.limits.pendingAnswers), random_(random), outbox_(outbox) {}

  /// New, or in the place of the one with this key; then it is announced at once.
  void Offer(const OfferedService& service, TimePoint now);
  /// With a message, if it has been offered to anybody. False when there is none.
  bool StopOffer(const ServiceKey& key);
  void Restart(TimePoint now);

  /// nullptr when there is none. Valid until the next change.
  const OfferedService* Find(const ServiceKey& key) const;
  /// In whatever major version.
  bool HasInstance(std::uint16_t service, std::uint16_t instance) const;
  std::vector<ServiceKey> Keys() const;

  void OnFind(Ipv4Address sender, bool isMulticast, const std::set<ServiceFilter>& filters, TimePoint now);

  std::optional<TimePoint> Next() const;
  void OnTime(TimePoint now);
  std::size_t PendingAnswerCount() const { return answers_.HostCount(); }

 private:
  struct Own {
    OfferedService service;
    SendPhases phases{};
    bool isAnnounced = false;  ///< others can know it
  };

  void StartPhases(const ServiceKey& key, Own& own, TimePoint now);
  void Announce(const ServiceKey& key, TimePoint now);
  void AnnounceCycle(TimePoint now);
  void AnswerFinds(TimePoint now);

  const SdTiming timing_;
  const std::size_t maxPendingAnswers_;
  RandomSource& random_;
  Outbox& outbox_;
  std::map<ServiceKey, Own> services_;
  DeadlineQueue<ServiceKey> phaseEnds_;  ///< of services that wait for their first offer or a repetition
  std::optional<TimePoint> initialEnd_;  ///< of the latest initial wait, which others can share
  std::set<ServiceKey> cyclic_;          ///< past their repetitions
  std::optional<TimePoint> nextCycle_;   ///< one for all, so that they share messages
  HostBatches<ServiceKey> answers_;
};

}  // namespace qor::someip::sd

#endif
