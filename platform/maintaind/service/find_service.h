// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_FIND_SERVICE_H
#define QOR_MAINTAIND_SERVICE_FIND_SERVICE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <asio/steady_timer.hpp>

#include "platform/ara/com/find_service.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/daemon_probe.h"
#include "platform/maintaind/service/directory_watch.h"
#include "platform/maintaind/service/tools_service_proxy.h"

namespace qor::maintaind::proxy {

/// One search for daemons. One of this host is available while its socket accepts connections: the search holds one
/// open connection, the probe, to each, and the end of the probe is the end of the daemon. A daemon that does not get
/// around to accepting (stopped, or its queue is full) is available all the same. One of another host is available
/// while a daemon of this host names it.
///
/// The runtime directory is watched; while it does not exist or cannot be watched it is looked at twice a second. All
/// work is done on the io thread. Shared: the event loop holds it while something is under way.
class FindService : public std::enable_shared_from_this<FindService> {
 public:
  using Handle = QORMaintaindToolsServiceProxy::HandleType;
  /// Gets the complete list, ordered: once when the sockets that exist were tried, and then on every change.
  using Report = std::function<void(const std::vector<Handle>&)>;

  FindService(std::string directory, ara::com::InstanceIdentifier instance, Report report);

  /// Any thread, once.
  void Start();
  /// Any thread. After the return the report function is not called any more, unless called from it.
  void Stop();

 private:
  struct Daemon {
    Handle handle;
    std::unique_ptr<DaemonProbe> probe;  ///< none while the daemon's queue of connections is full
  };

  void Update();
  void Rescan();
  void Try(const std::string& fileName, std::uint16_t instance);
  std::unique_ptr<DaemonProbe> Probe(const std::string& fileName, ipc::UniqueFd connection);
  void OnProbeEnd(const std::string& fileName);
  bool IsWanted(std::uint16_t instance) const;
  std::vector<Handle> Available() const;
  void ReportChanges();
  void UpdateAfter(std::chrono::milliseconds delay);
  bool IsBusy() const;

  const std::string directory_;
  const ara::com::InstanceIdentifier instance_;
  const QorLog log_{"FindService"};

  // Touched on the io thread only.
  std::shared_ptr<DirectoryWatch> watch_;  // set by Start; shared with what the loop holds
  asio::steady_timer timer_;
  std::map<std::string, Daemon> daemons_;  // by file name
  std::optional<std::vector<Handle>> reported_;

  std::recursive_mutex reportMutex_;  // recursive: a report may stop its own search
  Report report_;                     // guarded by reportMutex_; null: stopped
};

}  // namespace qor::maintaind::proxy

#endif
