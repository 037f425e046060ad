// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAY_ROUTES_H
#define QOR_QORBAG_PLAY_ROUTES_H

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/com/node_handle.h"
#include "src/qorbag/message_preparer.h"
#include "src/qorbag/play_code.h"
#include "src/qorbag/played_event.h"
#include "src/qorbag/player_options.h"
#include "src/qorbag/player_publishers.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

class LiveEvents;

/// Which way the messages of each connection go out: finds out whether they may, and makes the publishers. Used by one
/// thread, but for HasDaemon. `node` and `options` outlive it.
class PlayRoutes {
 public:
  /// A connection of a bag on its way out.
  struct Route {
    std::string name;  ///< of the event, as it is played
    MessagePreparer::Kind kind = MessagePreparer::Kind::kNormal;
    com::Publisher* publisher = nullptr;  ///< null: there is none
    bool isTraced = false;
  };

  PlayRoutes(com::NodeHandle& node, const PlayerOptions& options) : options_(options), publishers_(node, options) {}

  /// For all connections of the view. Otherwise what prevents playing.
  std::optional<PlayCode> Prepare(const QorView& view);

  /// Of a connection of the view.
  const Route& At(const Connection& connection) const { return routes_.at(&connection); }
  /// See PlayerPublishers.
  [[nodiscard]] bool WaitForFlush(const std::function<bool()>& isWanted) { return publishers_.WaitForFlush(isWanted); }

  /// Whether a daemon was there to tell what is live. Any thread.
  bool HasDaemon() const { return hasDaemon_; }
  const std::vector<std::string>& LiveEventTexts() const { return liveEvents_; }
  const std::string& MissingPorts() const { return missingPorts_; }
  /// Names of the events that have no publisher.
  std::vector<std::string> UnplayedEvents() const;

 private:
  bool CheckService(const LiveEvents& live);
  bool CheckPorts(const LiveEvents& live);
  void MakeRoutes();

  const PlayerOptions& options_;
  PlayerPublishers publishers_;
  std::vector<PlayedEvent> events_;
  std::map<const Connection*, Route> routes_;
  std::vector<std::string> liveEvents_;
  std::string missingPorts_;
  std::atomic<bool> hasDaemon_{false};
};

}  // namespace qor::qorbag

#endif
