// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYER_PUBLISHERS_H
#define QOR_QORBAG_PLAYER_PUBLISHERS_H

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

#include "platform/com/node_handle.h"
#include "platform/com/publisher.h"
#include "src/qorbag/played_event.h"

namespace qor::qorbag {

/// What a player publishes with: one publisher for each event, however many connections of the bags are of it. Used by
/// one thread. `node` and `options` outlive it.
class PlayerPublishers {
 public:
  PlayerPublishers(com::NodeHandle& node, const PlayerOptions& options) : node_(node), options_(options) {}

  /// Makes publishers for the events; each that cannot be made has a line in the log.
  void AdvertiseEvents(const std::vector<PlayedEvent>& events);

  /// Null when there is none for the event.
  com::Publisher* Find(const PlayedEvent& event);
  std::size_t Count() const { return normal_.size() + raw_.size(); }
  /// Waits until every publisher has sent what it holds, as long as `isWanted`, and ten seconds at most. False: some
  /// of it was not taken.
  [[nodiscard]] bool WaitForFlush(const std::function<bool()>& isWanted);

 private:
  using Publishers = std::map<PlayedEventIndex, com::Publisher>;

  void Advertise(const PlayedEvent& event);
  com::Publisher CreatePublisher(const PlayedEvent& event);
  com::Publisher SOMEIPServiceConfig(const PlayedEvent& event);
  com::Publisher DDSConfig(const PlayedEvent& event);
  com::Publisher AdvertiseAs(const PlayedEvent& event);

  com::NodeHandle& node_;
  const PlayerOptions& options_;
  Publishers normal_;
  Publishers raw_;
  std::size_t made_ = 0;  ///< gives each its own name in the configuration: names of events may repeat
};

}  // namespace qor::qorbag

#endif
