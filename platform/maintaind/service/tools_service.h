// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_H
#define QOR_MAINTAIND_SERVICE_TOOLS_SERVICE_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/latency.h"
#include "src/common/records/method_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/query.h"
#include "src/common/records/service_info.h"

namespace qor::maintaind {

/// The service that every daemon offers to the tools: SOME/IP requests and responses on a stream, each with one record
/// as payload. A daemon that cannot answer responds with an error message whose payload is the reason as text.
struct QORMaintaindToolsService {
  static constexpr std::uint16_t ServiceIdentifier = 0xF0A1;
};

/// One operation of the tools service: its SOME/IP method id and the types of its request and response.
template <std::uint16_t Id, class RequestType, class ResponseType>
struct ToolsOperation {
  static constexpr std::uint16_t kMethodId = Id;
  using Request = RequestType;
  using Response = ResponseType;
};

/// For operations without an argument.
struct NoArgument {
  template <class V, class... S>
  static void Visit(V& /*visit*/, S&... /*s*/) {}
};

namespace operation {

/// The argument "ALL" of the five list queries selects everything.
using QueryEventInfo = ToolsOperation<0x0001, std::string, std::vector<EventInfoWithPubSub>>;
using QueryEventShow = ToolsOperation<0x0002, QueryDataTypeIndex, EventShowTexts>;
using QuerySubNodeEventInfo = ToolsOperation<0x0003, QuerySubEventInfoIndex, SubNodeEventInfo>;
using QueryMethodInfo = ToolsOperation<0x0004, std::string, std::vector<MethodInfoWithPubSub>>;
using QueryMethodType = ToolsOperation<0x0005, QueryDataTypeIndex, MethodTypeTexts>;
using QueryFieldInfo = ToolsOperation<0x0006, std::string, std::vector<FieldInfoWithPubSub>>;
using QueryServiceInfo = ToolsOperation<0x0007, std::string, std::vector<ServiceInfoWithPubSub>>;
using QueryNodeInfo = ToolsOperation<0x0008, std::string, std::vector<NodeInfoWithAppName>>;
using QueryAllDataType = ToolsOperation<0x0009, NoArgument, std::vector<DataTypeInfo>>;
using QueryDataType = ToolsOperation<0x000A, std::string, DataTypeInfo>;
using QueryDataTypeRefList = ToolsOperation<0x000B, NoArgument, std::vector<DataTypeRef>>;
using QueryLatencyStatus = ToolsOperation<0x000C, LatencyIndex, LatencyStatus>;
using QueryLatencyResult = ToolsOperation<0x000D, LatencyQueryInfo, LatencyResult>;
using SwitchLatencyMode = ToolsOperation<0x000E, LatencySwitch, ReturnCode>;

}  // namespace operation

}  // namespace qor::maintaind

#endif
