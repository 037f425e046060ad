// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_LIVE_EVENTS_H
#define QOR_QORBAG_LIVE_EVENTS_H

#include <cstdint>
#include <set>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/qorbag/played_event.h"

namespace qor::qorbag {

/// What the daemons say of the running system: which events are offered already, and how they are protected. A plain
/// value.
class LiveEvents {
 public:
  /// Asks the daemons, which takes 200 ms and more; a daemon that does not answer several times. With a line in the log
  /// when there is none, or one has not answered.
  static LiveEvents Query();

  LiveEvents() = default;
  explicit LiveEvents(std::vector<maintaind::EventInfoWithPubSub> records) : records_(std::move(records)) {}

  /// Whether there is a daemon.
  bool HasDaemon() const { return hasDaemon_; }
  /// Whether every daemon has answered; true without any.
  bool IsWhole() const { return isWhole_; }
  /// Whether a publisher is online.
  bool IsOffered(const PlayedEvent& event) const;
  /// Protects the events as the daemons know them to be.
  void QueryE2EConfigInfoForAll(std::vector<PlayedEvent>& events) const;
  /// Of the SOME/IP services of this host that are online.
  std::set<std::uint16_t> UsedPorts() const;

 private:
  template <class Predicate>
  const maintaind::EventInfo* Find(const PlayedEvent& event, Predicate isWanted) const;

  std::vector<maintaind::EventInfoWithPubSub> records_;
  bool hasDaemon_ = false;
  bool isWhole_ = true;
};

}  // namespace qor::qorbag

#endif
