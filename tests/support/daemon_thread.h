// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_DAEMON_THREAD_H
#define QOR_TESTS_SUPPORT_DAEMON_THREAD_H

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/maintaind/daemon/daemon.h"
#include "platform/maintaind/service/node_service.h"
#include "platform/maintaind/service/tools_service_proxy.h"
#include "tests/support/raw_peer.h"
#include "tests/support/registrations.h"

namespace qor::test {

/// Options of a daemon that joins no DDS domain.
inline maintaind::DaemonOptions QuietDaemon(std::uint16_t instance = 0) {
  maintaind::DaemonOptions options;
  options.instance = instance;
  options.dds.domains.emplace();
  return options;
}

/// A daemon that runs on a thread of the test's process, and what a tool sees of it.
class DaemonThread {
 public:
  using Proxy = maintaind::proxy::QORMaintaindToolsServiceProxy;

  explicit DaemonThread(maintaind::DaemonOptions options) : daemon_(std::move(options)) {
    const auto started = daemon_.Start();
    EXPECT_TRUE(started) << (started ? "" : started.Error().Message());
  }

  void Stop() { daemon_.Stop(); }
  void Names(std::vector<maintaind::RemoteDaemon> remoteDaemons) { daemon_.SetRemoteDaemons(std::move(remoteDaemons)); }
  const std::string& SocketPath() const { return daemon_.SocketPath(); }
  Proxy Tool() const { return Proxy({0, SocketPath()}); }
  std::vector<maintaind::EventInfoWithPubSub> Events() const {
    return Tool().QueryEventInfo("ALL").GetResult().Value();
  }
  /// The nodes and what each provides (>) and uses (<): "/a >speed <gear; /b;".
  std::string Nodes() const {
    const auto nodes = Tool().QueryNodeInfo("ALL").GetResult();
    std::string text;
    for (const auto& node : nodes.Value()) {
      text += text.empty() ? node.nodeName : " " + node.nodeName;
      for (const auto& entity : node.entities) {
        text += (entity.role == maintaind::EntityRole::kProvider ? " >" : " <") + entity.name;
      }
      text += ";";
    }
    return text;
  }

 private:
  maintaind::Daemon daemon_;
};

/// An application of the daemon, by its wire: one node.
class RawApplication {
 public:
  RawApplication(const std::string& socketPath, const std::string& node) : peer(socketPath) {
    EXPECT_EQ(Ask<maintaind::node_operation::Hello>({2, "app"}), "ok");
    EXPECT_EQ(Ask<maintaind::node_operation::RegisterNode>(node), "ok");
  }

  template <class Operation>
  std::string Ask(const typename Operation::Request& request) {
    return peer.Ask<maintaind::NodeService, Operation>(request);
  }

  RawPeer peer;
};

}  // namespace qor::test

#endif
