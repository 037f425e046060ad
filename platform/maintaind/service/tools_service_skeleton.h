// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_SKELETON_H
#define QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_SKELETON_H

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "platform/ara/core/result.h"
#include "platform/maintaind/service/service_answer.h"
#include "platform/maintaind/service/tools_service.h"

namespace qor::maintaind {

/// The tools service as a program implements it: one function an operation. An error's value is a SOME/IP return code.
class ToolsServiceHandler {
 public:
  template <class Operation>
  using Answer = ara::core::Result<typename Operation::Response>;

  virtual ~ToolsServiceHandler() = default;

  /// Changes whenever any answer could change; answers to requests for everything are kept as long as it stays.
  virtual std::uint64_t Revision() const = 0;

  virtual Answer<operation::QueryEventInfo> QueryEventInfo(const std::string& name) = 0;
  virtual Answer<operation::QueryEventShow> QueryEventShow(const QueryDataTypeIndex& index) = 0;
  virtual Answer<operation::QuerySubNodeEventInfo> QuerySubNodeEventInfo(const QuerySubEventInfoIndex& index) = 0;
  virtual Answer<operation::QueryMethodInfo> QueryMethodInfo(const std::string& name) = 0;
  virtual Answer<operation::QueryMethodType> QueryMethodType(const QueryDataTypeIndex& index) = 0;
  virtual Answer<operation::QueryFieldInfo> QueryFieldInfo(const std::string& name) = 0;
  virtual Answer<operation::QueryServiceInfo> QueryServiceInfo(const std::string& name) = 0;
  virtual Answer<operation::QueryNodeInfo> QueryNodeInfo(const std::string& name) = 0;
  virtual Answer<operation::QueryAllDataType> QueryAllDataType() = 0;
  virtual Answer<operation::QueryDataType> QueryDataType(const std::string& name) = 0;
  virtual Answer<operation::QueryDataTypeRefList> QueryDataTypeRefList() = 0;
  virtual Answer<operation::QueryLatencyStatus> QueryLatencyStatus(const LatencyIndex& index) = 0;
  virtual Answer<operation::QueryLatencyResult> QueryLatencyResult(const LatencyQueryInfo& query) = 0;
  virtual Answer<operation::SwitchLatencyMode> SwitchLatencyMode(const LatencySwitch& change) = 0;
};

/// The server's end of the tools service: from a request's bytes to the answer's bytes. One thread.
class ToolsServiceSkeleton {
 public:
  explicit ToolsServiceSkeleton(ToolsServiceHandler& handler) : handler_(handler) {}

  ServiceAnswer Answer(std::uint16_t methodId, std::span<const std::uint8_t> payload);

 private:
  ServiceAnswer Run(std::uint16_t methodId, std::span<const std::uint8_t> payload);

  ToolsServiceHandler& handler_;
  std::uint64_t keptRevision_ = 0;
  std::map<std::uint16_t, ServiceAnswer> kept_;  ///< by method id: the answer to a request for everything
};

}  // namespace qor::maintaind

#endif
