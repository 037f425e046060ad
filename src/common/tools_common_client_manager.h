// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_TOOLS_COMMON_CLIENT_MANAGER_H
#define QOR_COMMON_TOOLS_COMMON_CLIENT_MANAGER_H

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/ara/com/find_service.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/tools_service_proxy.h"

namespace qor::qortools::common {

using ToolsServiceProxy = maintaind::proxy::QORMaintaindToolsServiceProxy;
using ToolsServiceHandle = ToolsServiceProxy::HandleType;
/// Shared: a caller goes on using its copy while the manager drops the proxy of a daemon that went away.
using ProxyList = std::vector<std::shared_ptr<ToolsServiceProxy>>;

/// Finds the daemons and keeps one proxy for each. One per process (GetInstance); any thread.
class ToolsCommonClientManager {
 public:
  static std::shared_ptr<ToolsCommonClientManager> GetInstance();

  ToolsCommonClientManager() = default;
  /// Stops the search.
  ~ToolsCommonClientManager();
  ToolsCommonClientManager(const ToolsCommonClientManager&) = delete;
  ToolsCommonClientManager& operator=(const ToolsCommonClientManager&) = delete;

  /// Starts the search on the first call and then waits 200 ms for the first reports; later calls return at once. A
  /// search that was stopped does not start again.
  void FindMaintaindService();
  void StopFindMaintaindService();

  /// Called by find-service with the complete list of daemons.
  void ServiceAvailabilityCallback(const ara::com::ServiceHandleContainer<ToolsServiceHandle>& handles);

  /// Brings the proxies up to date with the daemons that are online now.
  void UpdateAndCreateProxyList();
  /// The proxies of the daemons that are online now, ordered by handle.
  ProxyList GetCurrentProxyList();
  /// How many these are.
  std::size_t GetProxyListSize();

  void PrintOnlineMaintaindService();

 private:
  QorLog log_{"ToolsCommonClientManager"};
  std::once_flag searchOnce_;
  std::mutex mutex_;
  std::set<ToolsServiceHandle> handles_;                                      // guarded by mutex_
  std::map<ToolsServiceHandle, std::shared_ptr<ToolsServiceProxy>> proxies_;  // guarded by mutex_
  ara::com::FindServiceHandle search_;                                        // guarded by mutex_
  bool isSearchStarted_ = false;                                              // guarded by mutex_
};

}  // namespace qor::qortools::common

#endif
