// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/remote_daemon_board.h"

#include <algorithm>
#include <utility>

namespace qor::maintaind {
namespace {

constexpr std::uint32_t kLogIntervalMs = 5000;

}  // namespace

void RemoteDaemonBoard::Set(Daemons daemons) {
  std::sort(daemons.begin(), daemons.end());
  daemons.erase(std::unique(daemons.begin(), daemons.end()), daemons.end());
  if (daemons.size() > kMaxDaemons) {
    log_.Warn("RemoteDaemonBoard_Set", kLogIntervalMs)
        << "There are " << daemons.size() << " daemons on other hosts; tools are told of " << kMaxDaemons << ".";
    daemons.resize(kMaxDaemons);
  }
  if (daemons == daemons_) {
    return;
  }
  daemons_ = std::move(daemons);
  for (const ConnectionId watcher : watchers_) {
    tell_(watcher, daemons_);
  }
}

const RemoteDaemonBoard::Daemons& RemoteDaemonBoard::Watch(ConnectionId connection) {
  watchers_.insert(connection);
  return daemons_;
}

}  // namespace qor::maintaind
