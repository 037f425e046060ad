// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/tools_service_skeleton.h"

#include <algorithm>

namespace qor::maintaind {
namespace {

template <class Request, class Response>
auto Bind(ToolsServiceHandler& handler, ara::core::Result<Response> (ToolsServiceHandler::*run)(const Request&)) {
  return [&handler, run](const Request& request) { return (handler.*run)(request); };
}

template <class Response>
auto Bind(ToolsServiceHandler& handler, ara::core::Result<Response> (ToolsServiceHandler::*run)()) {
  return [&handler, run](const NoArgument& /*request*/) { return (handler.*run)(); };
}

bool AsksForEverything(std::span<const std::uint8_t> payload) {
  static const std::vector<std::uint8_t> kAll = Encode(std::string("ALL"));
  return payload.empty() || std::equal(payload.begin(), payload.end(), kAll.begin(), kAll.end());
}

}  // namespace

ServiceAnswer ToolsServiceSkeleton::Answer(std::uint16_t methodId, std::span<const std::uint8_t> payload) {
  if (!AsksForEverything(payload)) {
    return Run(methodId, payload);
  }
  if (const std::uint64_t revision = handler_.Revision(); revision != keptRevision_) {
    kept_.clear();
    keptRevision_ = revision;
  }
  if (const auto found = kept_.find(methodId); found != kept_.end()) {
    return found->second;
  }
  ServiceAnswer answer = Run(methodId, payload);
  if (answer.code == someip::ReturnCode::kOk) {
    kept_.emplace(methodId, answer);
  }
  return answer;
}

ServiceAnswer ToolsServiceSkeleton::Run(std::uint16_t methodId, std::span<const std::uint8_t> payload) {
  using Handler = ToolsServiceHandler;
  namespace op = operation;
  switch (methodId) {
    case op::QueryEventInfo::kMethodId:
      return AnswerRequest<op::QueryEventInfo>(payload, Bind(handler_, &Handler::QueryEventInfo));
    case op::QueryEventShow::kMethodId:
      return AnswerRequest<op::QueryEventShow>(payload, Bind(handler_, &Handler::QueryEventShow));
    case op::QuerySubNodeEventInfo::kMethodId:
      return AnswerRequest<op::QuerySubNodeEventInfo>(payload, Bind(handler_, &Handler::QuerySubNodeEventInfo));
    case op::QueryMethodInfo::kMethodId:
      return AnswerRequest<op::QueryMethodInfo>(payload, Bind(handler_, &Handler::QueryMethodInfo));
    case op::QueryMethodType::kMethodId:
      return AnswerRequest<op::QueryMethodType>(payload, Bind(handler_, &Handler::QueryMethodType));
    case op::QueryFieldInfo::kMethodId:
      return AnswerRequest<op::QueryFieldInfo>(payload, Bind(handler_, &Handler::QueryFieldInfo));
    case op::QueryServiceInfo::kMethodId:
      return AnswerRequest<op::QueryServiceInfo>(payload, Bind(handler_, &Handler::QueryServiceInfo));
    case op::QueryNodeInfo::kMethodId:
      return AnswerRequest<op::QueryNodeInfo>(payload, Bind(handler_, &Handler::QueryNodeInfo));
    case op::QueryAllDataType::kMethodId:
      return AnswerRequest<op::QueryAllDataType>(payload, Bind(handler_, &Handler::QueryAllDataType));
    case op::QueryDataType::kMethodId:
      return AnswerRequest<op::QueryDataType>(payload, Bind(handler_, &Handler::QueryDataType));
    case op::QueryDataTypeRefList::kMethodId:
      return AnswerRequest<op::QueryDataTypeRefList>(payload, Bind(handler_, &Handler::QueryDataTypeRefList));
    case op::QueryLatencyStatus::kMethodId:
      return AnswerRequest<op::QueryLatencyStatus>(payload, Bind(handler_, &Handler::QueryLatencyStatus));
    case op::QueryLatencyResult::kMethodId:
      return AnswerRequest<op::QueryLatencyResult>(payload, Bind(handler_, &Handler::QueryLatencyResult));
    case op::SwitchLatencyMode::kMethodId:
      return AnswerRequest<op::SwitchLatencyMode>(payload, Bind(handler_, &Handler::SwitchLatencyMode));
    default:
      return ErrorAnswer(someip::ReturnCode::kUnknownMethod,
                         "the tools service has no method " + std::to_string(methodId));
  }
}

}  // namespace qor::maintaind
