// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_FIND_SERVICE_H
#define QOR_MAINTAIND_SERVICE_FIND_SERVICE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <asio/local/stream_protocol.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include "platform/ara/com/find_service.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/tools_service_proxy.h"

namespace qor::maintaind::proxy {

/// One search for the daemons of this host. A daemon is available while its socket accepts connections: the search
/// holds one open connection, the probe, to each, and the end of the probe is the end of the daemon. A daemon that does
/// not get around to accepting (stopped, or its queue is full) is available all the same.
///
/// The runtime directory is watched; while it does not exist or cannot be watched it is looked at twice a second. All
/// work is done on the io thread. Shared: the event loop holds it while something is under way.
class FindService : public std::enable_shared_from_this<FindService> {
 public:
  using Handle = QORMaintaindToolsServiceProxy::HandleType;
  /// Gets the complete list, ordered: once at the start and then on every change.
  using Report = std::function<void(const std::vector<Handle>&)>;

  FindService(std::string directory, ara::com::InstanceIdentifier instance, Report report);

  /// Any thread, once.
  void Start();
  /// Any thread. After the return the report function is not called any more, unless called from it.
  void Stop();

 private:
  struct Daemon {
    Handle handle;
    /// None while the daemon's queue of connections is full.
    std::unique_ptr<asio::local::stream_protocol::socket> probe;
  };

  void Update();
  void StartWatching();
  void ReadWatch();
  void StopWatching();
  void Rescan();
  void Try(const std::string& fileName, std::uint16_t instance);
  void WatchProbe(const std::string& fileName);
  void ReportChanges();
  void UpdateAfter(std::chrono::milliseconds delay);
  bool IsBusy() const;

  const std::string directory_;
  const ara::com::InstanceIdentifier instance_;
  const QorLog log_{"FindService"};

  // Touched on the io thread only.
  asio::posix::stream_descriptor watch_;
  asio::steady_timer timer_;
  alignas(std::max_align_t) std::array<char, 4096> watchBuffer_{};
  std::map<std::string, Daemon> daemons_;  // by file name
  std::optional<std::vector<Handle>> reported_;

  std::recursive_mutex reportMutex_;  // recursive: a report may stop its own search
  Report report_;                     // guarded by reportMutex_; null: stopped
};

}  // namespace qor::maintaind::proxy

#endif
