// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SERVICE_FINDER_H
#define QOR_SOMEIP_SD_SERVICE_FINDER_H

#include <map>
#include <optional>

#include "platform/someip/sd/deadline_queue.h"
#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/remote_services.h"
#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/send_phases.h"

namespace qor::someip::sd {

/// The services that are required, and when finds for them go out: after an initial delay and some times more, unless
/// a matching one is offered. Part of an agent.
class ServiceFinder {
 public:
  ServiceFinder(const SdTiming& timing, RandomSource& random, const RemoteServices& services, Outbox& outbox)
      : timing_(timing), random_(random), services_(services), outbox_(outbox) {}

  void Require(const ServiceFilter& filter, TimePoint now);
  void Release(const ServiceFilter& filter);
  void Clear();
  void Restart(TimePoint now);

  /// A service ended without a word, so that its host might not say when it is back.
  void OnLost(const RemoteService& service, TimePoint now);

  std::optional<TimePoint> Next() const { return due_.Next(); }
  void OnTime(TimePoint now);

 private:
  void StartPhases(const ServiceFilter& filter, TimePoint now);

  const SdTiming timing_;
  RandomSource& random_;
  const RemoteServices& services_;
  Outbox& outbox_;
  std::map<ServiceFilter, SendPhases> required_;
  DeadlineQueue<ServiceFilter> due_;
  std::optional<TimePoint> initialEnd_;  ///< of the latest initial wait, which others can share
};

}  // namespace qor::someip::sd

#endif
