// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_DAEMON_H
#define QOR_MAINTAIND_DAEMON_DAEMON_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/dds_monitor.h"
#include "platform/maintaind/daemon/request_router.h"
#include "platform/maintaind/daemon/stream_server.h"
#include "platform/maintaind/gateway/someip_gateway.h"
#include "src/common/records/remote_daemon.h"

namespace qor::maintaind {

struct DaemonOptions {
  std::uint16_t instance = 0;  ///< 65535 is no instance: it means any
  std::string socketPath;      ///< empty: DaemonSocketPath(instance)
  std::string deploymentDir;   ///< empty: no deployment
  DdsMonitorOptions dds;
  std::optional<SomeipGatewayOptions> someip{};  ///< nothing: SOME/IP on this host only
  StreamServerLimits limits;
  std::size_t maxOffline = 4096;  ///< offline providers that are remembered, in each family
  AnswerFilter answerFilter;      ///< for tests
  DomainWatchFactory domainWatchFactory = WatchDomain;
};

/// One maintaind: its socket, registry, deployment and DDS monitor, on a loop with a thread of its own. Start and Stop
/// belong to one thread.
class Daemon {
 public:
  explicit Daemon(DaemonOptions options);
  ~Daemon();
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  /// Reads the deployment, listens, and answers from now on. Once.
  ara::core::Result<void> Start();
  /// Removes the socket, closes all connections and ends the threads. Without effect when not started.
  void Stop();
  /// For tests: the daemons of other hosts, as long as service discovery says nothing of them. Any thread.
  void SetRemoteDaemons(std::vector<RemoteDaemon> daemons);

  const std::string& SocketPath() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qor::maintaind

#endif
