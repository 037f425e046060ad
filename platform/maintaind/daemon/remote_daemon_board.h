// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_REMOTE_DAEMON_BOARD_H
#define QOR_MAINTAIND_DAEMON_REMOTE_DAEMON_BOARD_H

#include <cstddef>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "platform/log/qor_log.h"
#include "platform/maintaind/daemon/peer_info.h"
#include "src/common/records/remote_daemon.h"

namespace qor::maintaind {

/// Which daemons of other hosts there are, and the connections that want to know. There are as many watchers as
/// connections at most. One thread; no sockets.
class RemoteDaemonBoard {
 public:
  using Daemons = std::vector<RemoteDaemon>;
  /// Sends the list to one connection; must not call the board.
  using Tell = std::function<void(ConnectionId connection, const Daemons& daemons)>;

  static constexpr std::size_t kMaxDaemons = 1024;

  explicit RemoteDaemonBoard(Tell tell) : tell_(std::move(tell)) {}

  /// All that there are now, in any order, named once or more. Tells every watcher when that is a change. Those beyond
  /// the limit are left out.
  void Set(Daemons daemons);
  /// From now on the connection is told. The list as it is now, ordered.
  const Daemons& Watch(ConnectionId connection);
  void Close(ConnectionId connection) { watchers_.erase(connection); }

 private:
  const QorLog log_{"RemoteDaemonBoard"};
  const Tell tell_;
  Daemons daemons_;
  std::set<ConnectionId> watchers_;
};

}  // namespace qor::maintaind

#endif
