// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_TOOLS_SERVICE_IMPL_H
#define QOR_MAINTAIND_DAEMON_TOOLS_SERVICE_IMPL_H

#include <string>

#include "platform/com/deployment.h"
#include "platform/maintaind/daemon/registry.h"
#include "platform/maintaind/daemon/type_catalog.h"
#include "platform/maintaind/service/tools_service_skeleton.h"

namespace qor::maintaind {

/// Answers the tools from the registry and the deployment. What is not known is an empty answer, because another daemon
/// may know it; an error is what no daemon of this version can do. On the daemon's loop; what it refers to outlives it.
class ToolsServiceImpl : public ToolsServiceHandler {
 public:
  ToolsServiceImpl(Registry& registry, const com::Deployment& deployment)
      : registry_(registry), deployment_(deployment), types_(deployment.types) {}

  std::uint64_t Revision() const override { return registry_.Revision(); }

  Answer<operation::QueryEventInfo> QueryEventInfo(const std::string& name) override;
  Answer<operation::QueryEventShow> QueryEventShow(const QueryDataTypeIndex& index) override;
  Answer<operation::QuerySubNodeEventInfo> QuerySubNodeEventInfo(const QuerySubEventInfoIndex& index) override;
  Answer<operation::QueryMethodInfo> QueryMethodInfo(const std::string& name) override;
  Answer<operation::QueryMethodType> QueryMethodType(const QueryDataTypeIndex& index) override;
  Answer<operation::QueryFieldInfo> QueryFieldInfo(const std::string& name) override;
  Answer<operation::QueryServiceInfo> QueryServiceInfo(const std::string& name) override;
  Answer<operation::QueryNodeInfo> QueryNodeInfo(const std::string& name) override;
  Answer<operation::QueryAllDataType> QueryAllDataType() override;
  Answer<operation::QueryDataType> QueryDataType(const std::string& name) override;
  Answer<operation::QueryDataTypeRefList> QueryDataTypeRefList() override;
  Answer<operation::QueryLatencyStatus> QueryLatencyStatus(const LatencyIndex& index) override;
  Answer<operation::QueryLatencyResult> QueryLatencyResult(const LatencyQueryInfo& query) override;
  Answer<operation::SwitchLatencyMode> SwitchLatencyMode(const LatencySwitch& change) override;

 private:
  std::string DataTypeOfEvent(const QueryDataTypeIndex& index);

  Registry& registry_;
  const com::Deployment& deployment_;
  const TypeCatalog types_;
};

}  // namespace qor::maintaind

#endif
