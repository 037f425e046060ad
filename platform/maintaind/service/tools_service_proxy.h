// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_PROXY_H
#define QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_PROXY_H

#include <compare>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/ara/com/find_service.h"
#include "platform/ara/core/future.h"
#include "platform/maintaind/service/tools_service.h"

namespace qor::maintaind::proxy {

/// The client side of one daemon's tools service. Any thread. Every call returns at once; wait for its future as long
/// as you like. The error of a future is the daemon's reason, or that the connection is lost; the next call then
/// connects anew.
class QORMaintaindToolsServiceProxy {
 public:
  /// One daemon that find-service has seen: ordered by instance number, then by address.
  class HandleType {
   public:
    HandleType(std::uint16_t instance, std::string address) : instance_(instance), address_(std::move(address)) {}

    std::uint16_t GetInstanceId() const { return instance_; }
    /// The path of a socket for a daemon of this host, "<IPv4 address>:<TCP port>" for one of another.
    const std::string& GetAddress() const { return address_; }
    auto operator<=>(const HandleType&) const = default;  // NOLINT(modernize-use-nullptr): there is no pointer

   private:
    std::uint16_t instance_;
    std::string address_;
  };

  /// Watches until StopFindService for daemons of this host (their sockets in the runtime directory) and those of other
  /// hosts that they know. The handler gets the complete list, first as soon as the sockets that exist were tried, then
  /// on every change, always on the io thread.
  static ara::com::FindServiceHandle StartFindService(ara::com::FindServiceHandler<HandleType> handler,
                                                      const ara::com::InstanceIdentifier& instance);
  /// After the return the handler is not called any more, unless StopFindService was called from the handler itself.
  /// Waits for a handler that is running, so the caller must hold no lock that the handler takes.
  static void StopFindService(ara::com::FindServiceHandle handle);

  explicit QORMaintaindToolsServiceProxy(HandleType handle);
  ~QORMaintaindToolsServiceProxy();
  QORMaintaindToolsServiceProxy(const QORMaintaindToolsServiceProxy&) = delete;
  QORMaintaindToolsServiceProxy& operator=(const QORMaintaindToolsServiceProxy&) = delete;

  const HandleType& GetHandle() const { return handle_; }

  template <class Operation>
  using Answer = ara::core::Future<typename Operation::Response>;

  Answer<operation::QueryEventInfo> QueryEventInfo(const std::string& name);
  Answer<operation::QueryEventShow> QueryEventShow(const QueryDataTypeIndex& index);
  Answer<operation::QuerySubNodeEventInfo> QuerySubNodeEventInfo(const QuerySubEventInfoIndex& index);
  Answer<operation::QueryMethodInfo> QueryMethodInfo(const std::string& name);
  Answer<operation::QueryMethodType> QueryMethodType(const QueryDataTypeIndex& index);
  Answer<operation::QueryFieldInfo> QueryFieldInfo(const std::string& name);
  Answer<operation::QueryServiceInfo> QueryServiceInfo(const std::string& name);
  Answer<operation::QueryNodeInfo> QueryNodeInfo(const std::string& name);
  Answer<operation::QueryAllDataType> QueryAllDataType();
  Answer<operation::QueryDataType> QueryDataType(const std::string& name);
  Answer<operation::QueryDataTypeRefList> QueryDataTypeRefList();
  Answer<operation::QueryLatencyStatus> QueryLatencyStatus(const LatencyIndex& index);
  Answer<operation::QueryLatencyResult> QueryLatencyResult(const LatencyQueryInfo& query);
  Answer<operation::SwitchLatencyMode> SwitchLatencyMode(const LatencySwitch& change);

 private:
  template <class Operation>
  Answer<Operation> Call(const typename Operation::Request& request);

  class Connection;
  std::shared_ptr<Connection> Connect();

  const HandleType handle_;
  std::mutex mutex_;
  std::shared_ptr<Connection> connection_;  // guarded by mutex_; shared with the calls that use it just now
};

}  // namespace qor::maintaind::proxy

#endif
