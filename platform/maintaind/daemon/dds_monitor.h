// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_DDS_MONITOR_H
#define QOR_MAINTAIND_DAEMON_DDS_MONITOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/thread_pool.hpp>

#include "platform/ara/core/result.h"
#include "platform/dds/discovery_watcher.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/daemon/registry.h"

namespace qor::maintaind {

/// One domain being watched; ends with its destruction.
class DomainWatch {
 public:
  virtual ~DomainWatch() = default;
};

/// Starts to watch a domain: DiscoveryWatcher::Create, or what a test puts in its place.
using DomainWatchFactory = std::function<ara::core::Result<std::unique_ptr<DomainWatch>>(
    std::uint16_t domainId, const std::string& interfaceIp, dds::DiscoveryWatcher::Callbacks callbacks)>;
ara::core::Result<std::unique_ptr<DomainWatch>> WatchDomain(std::uint16_t domainId, const std::string& interfaceIp,
                                                            dds::DiscoveryWatcher::Callbacks callbacks);

struct DdsMonitorOptions {
  /// The domains to watch. Nothing: domain 0 and those that applications of this daemon use.
  std::optional<std::vector<std::uint16_t>> domains{};
  std::string interfaceIp{};         ///< besides this host; empty: this host only
  std::size_t maxEndpoints = 16384;  ///< foreign endpoints that are listed
};

/// Puts the DDS endpoints of programs that know no daemon into the registry. Belongs to the daemon's loop: all is
/// called and done there, except that watches are made and destroyed on a thread of the monitor's own, because that
/// takes long, and discovery reports from threads of its own, which is passed on to the loop.
///
/// Participants of the platform say what they are; their endpoints are registered with a daemon and are not foreign.
class DdsMonitor : public RegistryListener {
 public:
  DdsMonitor(asio::io_context& loop, Registry& registry, DdsMonitorOptions options,
             DomainWatchFactory factory = WatchDomain);
  ~DdsMonitor() override;

  void Start();
  /// Ends all watches and waits for that; nothing comes from the monitor afterwards. Any thread while the loop stands
  /// still.
  void Stop();

  void OnDomain(std::uint16_t domainId) override;

 private:
  struct Liveness {};

  void Watch(std::uint16_t domainId);
  dds::DiscoveryWatcher::Callbacks CallbacksFor(std::uint16_t domainId);
  void OnWatch(std::uint16_t domainId, const ara::core::Result<void>& outcome);
  template <class Function>
  auto PostToLoop(Function function);

  void OnEndpoint(std::uint16_t domainId, const dds::DiscoveredEndpoint& endpoint);
  void OnEndpointGone(const std::string& guid);
  void OnParticipantGone(const std::string& guidPrefix);

  asio::io_context& loop_;
  Registry& registry_;
  const DdsMonitorOptions options_;
  const DomainWatchFactory factory_;
  const QorLog log_{"DdsMonitor"};
  asio::thread_pool worker_{1};
  std::set<std::uint16_t> watched_;               ///< domains, those whose watch is still being made among them
  std::map<std::string, std::string> endpoints_;  ///< foreign: GUID -> participant
  std::shared_ptr<Liveness> liveness_;            ///< what was posted before Stop() finds it gone

  std::mutex watchesMutex_;
  std::vector<std::unique_ptr<DomainWatch>> watches_;  // guarded by watchesMutex_
};

}  // namespace qor::maintaind

#endif
