// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/tools_service_impl.h"

#include <algorithm>

#include "platform/someip/message.h"

namespace qor::maintaind {
namespace {

/// In a query: any domain.
constexpr std::uint32_t kAnyDomain = 1000;

template <class Info>
bool MeansBinding(const QueryDataTypeIndex& index, DriverType driver, const Info& binding) {
  const bool isDds = driver == DriverType::kDds;
  const std::string& networkIp = isDds ? binding.dds.networkIp : binding.someip.networkIp;
  const bool isInDomain = !isDds || index.domainId == kAnyDomain || binding.dds.domainId == index.domainId;
  return isInDomain && (index.networkIp.empty() || networkIp == index.networkIp);
}

/// Whether the record is one that the query asks about.
template <class Info>
bool Means(const QueryDataTypeIndex& index, const Info& info) {
  if (info.*EntityFamily<Info>::kName != index.entityName) {
    return false;  // the name "ALL" lists every entity, and is none
  }
  if (!index.instanceShortName.empty() && InstanceShortNameOf(info) != index.instanceShortName) {
    return false;
  }
  if (info.bindings.empty()) {
    return index.domainId == kAnyDomain && index.networkIp.empty();
  }
  return std::any_of(info.bindings.begin(), info.bindings.end(),
                     [&index](const auto& binding) { return MeansBinding(index, binding.first, binding.second); });
}

ara::core::ErrorCode NoLatency() {
  return {static_cast<std::int32_t>(someip::ReturnCode::kNotReady), "latency measurement is not available"};
}

}  // namespace

auto ToolsServiceImpl::QueryEventInfo(const std::string& name) -> Answer<operation::QueryEventInfo> {
  return registry_.Events(name);
}

auto ToolsServiceImpl::QueryMethodInfo(const std::string& name) -> Answer<operation::QueryMethodInfo> {
  return registry_.Methods(name);
}

auto ToolsServiceImpl::QueryFieldInfo(const std::string& name) -> Answer<operation::QueryFieldInfo> {
  return registry_.Fields(name);
}

auto ToolsServiceImpl::QueryServiceInfo(const std::string& name) -> Answer<operation::QueryServiceInfo> {
  return registry_.Services(name);
}

auto ToolsServiceImpl::QueryNodeInfo(const std::string& name) -> Answer<operation::QueryNodeInfo> {
  return registry_.Nodes(name);
}

auto ToolsServiceImpl::QuerySubNodeEventInfo(const QuerySubEventInfoIndex& index)
    -> Answer<operation::QuerySubNodeEventInfo> {
  return registry_.SubscriberNodes(index);
}

auto ToolsServiceImpl::QueryEventShow(const QueryDataTypeIndex& index) -> Answer<operation::QueryEventShow> {
  EventShowTexts texts;
  texts.dataTypeName = DataTypeOfEvent(index);
  texts.topLevelTypeJson = types_.Definition(texts.dataTypeName);
  texts.typeListJson = types_.ReferencedDefinitions({texts.dataTypeName});
  return texts;
}

/// What the event's application registered, else what is deployed under the name, else the type that DDS discovery
/// announced if one is deployed under that name.
std::string ToolsServiceImpl::DataTypeOfEvent(const QueryDataTypeIndex& index) {
  std::string announced;
  for (const EventInfoWithPubSub& event : registry_.Events(index.entityName)) {
    if (!Means(index, static_cast<const EventRegisterInfo&>(event))) {
      continue;
    }
    if (!event.dataTypeName.empty()) {
      return event.dataTypeName;
    }
    if (const auto dds = event.bindings.find(DriverType::kDds); dds != event.bindings.end()) {
      announced = dds->second.dds.typeName;
    }
  }
  for (const EventRegisterInfo& event : deployment_.events) {
    if (!event.dataTypeName.empty() && Means(index, event)) {
      return event.dataTypeName;
    }
  }
  return types_.Definition(announced).empty() ? std::string() : announced;
}

auto ToolsServiceImpl::QueryMethodType(const QueryDataTypeIndex& index) -> Answer<operation::QueryMethodType> {
  MethodTypeTexts texts;
  std::vector<std::string> names;
  for (const MethodInfoWithPubSub& method : registry_.Methods(index.entityName)) {
    if (!Means(index, static_cast<const MethodRegisterInfo&>(method))) {
      continue;
    }
    for (const std::string& input : method.inputTypeNames) {
      texts.inputTypeJson.push_back(types_.Definition(input));
    }
    texts.outputTypeJson = types_.Definition(method.outputTypeName);
    names = method.inputTypeNames;
    names.push_back(method.outputTypeName);
    break;
  }
  texts.typeListJson = types_.ReferencedDefinitions(names);
  return texts;
}

auto ToolsServiceImpl::QueryAllDataType() -> Answer<operation::QueryAllDataType> { return types_.All(); }

auto ToolsServiceImpl::QueryDataType(const std::string& name) -> Answer<operation::QueryDataType> {
  return DataTypeInfo{name, types_.Definition(name)};
}

auto ToolsServiceImpl::QueryDataTypeRefList() -> Answer<operation::QueryDataTypeRefList> { return types_.References(); }

auto ToolsServiceImpl::QueryLatencyStatus(const LatencyIndex& /*index*/) -> Answer<operation::QueryLatencyStatus> {
  return NoLatency();
}

auto ToolsServiceImpl::QueryLatencyResult(const LatencyQueryInfo& /*query*/) -> Answer<operation::QueryLatencyResult> {
  return NoLatency();
}

auto ToolsServiceImpl::SwitchLatencyMode(const LatencySwitch& /*change*/) -> Answer<operation::SwitchLatencyMode> {
  return NoLatency();
}

}  // namespace qor::maintaind
