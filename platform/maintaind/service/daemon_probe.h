// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_DAEMON_PROBE_H
#define QOR_MAINTAIND_SERVICE_DAEMON_PROBE_H

#include <functional>
#include <memory>
#include <vector>

#include "platform/ipc/stream_client.h"
#include "platform/ipc/unique_fd.h"
#include "src/common/records/remote_daemon.h"

namespace qor::maintaind::proxy {

/// A search's open connection to one daemon of this host. It ends with the daemon, and over it the daemon tells which
/// daemons of other hosts it knows. On the io thread.
class DaemonProbe {
 public:
  using Handler = std::function<void()>;

  /// Takes over a connection to the daemon. `onEnd` is called once, when it has ended from the daemon's side, `onNews`
  /// whenever the daemon has named the remote ones; neither after the probe is gone.
  DaemonProbe(ipc::UniqueFd connection, Handler onEnd, Handler onNews);

  /// As the daemon named them last.
  const std::vector<RemoteDaemon>& RemoteDaemons() const;

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the handlers of the client, which may outlive it
  ipc::StreamClient client_;
};

}  // namespace qor::maintaind::proxy

#endif
