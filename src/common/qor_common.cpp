// SPDX-License-Identifier: Apache-2.0
#include "src/common/qor_common.h"

#include <unistd.h>

#include <utility>

#include "src/common/accounts.h"
#include "src/common/checks.h"
#include "src/common/communicability.h"
#include "src/common/entity_filter.h"
#include "src/common/entity_key.h"
#include "src/common/error_texts.h"
#include "src/common/event_entry.h"
#include "src/common/event_list.h"
#include "src/common/event_name.h"
#include "src/common/export_path.h"
#include "src/common/files.h"
#include "src/common/foreign_reports.h"
#include "src/common/merge.h"
#include "src/common/resource_config.h"
#include "src/common/safe_write.h"

namespace qor {

using common::Communicability;
using maintaind::EventInfoWithPubSub;
using qortools::common::ProxyList;
using qortools::common::ToolsCommonClientManager;

QorCommon& QorCommon::GetInstance() {
  static auto& instance = *new QorCommon();
  return instance;
}

std::unique_ptr<com::NodeHandle> QorCommon::InitializeNode(const std::string& prefix, const std::string& name) const {
  const bool isJoined = name.empty() || prefix.ends_with('/') || name.starts_with('/');
  auto node = std::make_unique<com::NodeHandle>(prefix + (isJoined ? "" : "/") + name);
  return node->Ok() ? std::move(node) : nullptr;
}

// --- Queries ---

int QorCommon::QueryAll(const qorevent::EventFilter& filter, const ProxyList& proxies, EventEntries& result,
                        common::Answers* answers) const {
  EventList list;
  const int code = QueryAllRecords(proxies, list, answers);
  result.clear();
  GetListResultWithFilter(filter, list, result);
  return code;
}

int QorCommon::QueryAllRecords(const ProxyList& proxies, EventList& result, common::Answers* answers) const {
  log_.Verbose() << "Start to query ALL.";
  result.clear();
  common::Answers unwanted;
  const int code = common::CollectEvents(proxies, "ALL", common::ReportOfQueryAll(), result,
                                         answers != nullptr ? *answers : unwanted);
  common::JoinForeignReports(result);
  MergeEventInfo(result);
  return code;
}

int QorCommon::Query(const CommonFilter& filter, const std::string& name, EventList& result,
                     common::Answers* answers) const {
  result.clear();
  std::string pureName;
  std::string uuid;
  if (!GetSubEventName(name, pureName, uuid)) {
    return -1;
  }
  CommonFilter whole = filter;
  if (!uuid.empty()) {
    whole.uuid = uuid;
  }
  common::LogQueryIndex(whole);
  const int code = GetInfoResult(pureName, result, answers);
  common::JoinForeignReports(result);
  MergeEventInfo(result);
  FilterEventInfo(pureName, result, whole);
  return code;
}

int QorCommon::GetInfoResult(const std::string& name, EventList& result, common::Answers* answers) const {
  const ProxyList proxies = ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  common::Answers unwanted;
  return common::CollectEvents(proxies, name, common::ReportOfGetInfoResult(), result,
                               answers != nullptr ? *answers : unwanted);
}

// --- Merging ---

void QorCommon::MergeEventInfo(EventList& list) const { common::MergeEntities(list); }
void QorCommon::MergeMethodInfo(MethodList& list) const { common::MergeEntities(list); }
void QorCommon::MergeFieldInfo(FieldList& list) const { common::MergeEntities(list); }
void QorCommon::MergeServiceInfo(ServiceList& list) const { common::MergeEntities(list); }

void QorCommon::MergePubEventInfoSubs(EventList& list) const { common::MergePubSubs(list); }
void QorCommon::MergeOffPubEventInfoSubs(EventList& list) const { common::MergeOffPubSubs(list); }
void QorCommon::MergeNoneNetworkEventInfoSubs(EventList& list) const { common::MergeNoneNetworkSubs(list); }
void QorCommon::MergeNoPubEventInfo(EventList& list) const { common::MergeNoPub(list); }
void QorCommon::MergeNoPubEventInfoSubs(std::size_t index, EventList& list) const {
  common::MergeNoPubSubs(index, list);
}
void QorCommon::MergePubMethodInfoSubs(MethodList& list) const { common::MergePubSubs(list); }
void QorCommon::MergeOffPubMethodInfoSubs(MethodList& list) const { common::MergeOffPubSubs(list); }
void QorCommon::MergeNoneNetworkMethodInfoSubs(MethodList& list) const { common::MergeNoneNetworkSubs(list); }
void QorCommon::MergeNoPubMethodInfo(MethodList& list) const { common::MergeNoPub(list); }
void QorCommon::MergeNoPubMethodInfoSubs(std::size_t index, MethodList& list) const {
  common::MergeNoPubSubs(index, list);
}
void QorCommon::MergeNoneNetworkEntityInfoSubs(FieldList& list) const { common::MergeNoneNetworkSubs(list); }

void QorCommon::RemoveOfflineMethods(MethodList& list) const {
  std::erase_if(list, [](const auto& record) { return !common::HasOnlineProvider(record); });
}

void QorCommon::CompareEventInfo(bool& equal, const EventInfoWithPubSub& record, const EventBindings& bindings) const {
  equal = equal || common::IsSameEntity(record, bindings);
}
void QorCommon::CompareMethodInfo(bool& equal, const maintaind::MethodInfoWithPubSub& record,
                                  const MethodBindings& bindings) const {
  equal = equal || common::IsSameEntity(record, bindings);
}
void QorCommon::CompareEntityInfo(bool& equal, const maintaind::FieldInfoWithPubSub& record,
                                  const FieldBindings& bindings) const {
  equal = equal || common::IsSameEntity(record, bindings);
}

// --- Filtering ---

void QorCommon::FilterEventInfo(const std::string& name, EventList& list, const CommonFilter& filter) const {
  common::FilterEvents(name, list, filter);
}
bool QorCommon::CheckDDSEventFilter(const EventInfoWithPubSub& record, const CommonFilter& filter) const {
  return common::PassesDds(record, filter);
}
bool QorCommon::CheckSOMEIPEventFilter(const EventInfoWithPubSub& record, const CommonFilter& filter) const {
  return common::PassesSomeip(record, filter);
}
bool QorCommon::CheckMethodEntity(const maintaind::MethodInfoWithPubSub& record, const CommonFilter& filter) const {
  return common::PassesFilter(record, filter);
}
bool QorCommon::CheckFieldEntity(const maintaind::FieldInfoWithPubSub& record, const CommonFilter& filter) const {
  return common::PassesFilter(record, filter);
}
bool QorCommon::CheckServiceEntity(const maintaind::ServiceInfoWithPubSub& record, const CommonFilter& filter) const {
  return common::PassesFilter(record, filter);
}

void QorCommon::GetListResultWithFilter(const qorevent::EventFilter& filter, const EventList& list,
                                        EventEntries& out) const {
  common::ListEvents(filter, list, Communicability::OfThisHost(), out);
}
void QorCommon::GetListResultByCommunicatableType(const EventList& list, qorevent::CommunicableType type,
                                                  EventList& out) const {
  common::SelectCommunicable(list, type, Communicability::OfThisHost(), out);
}
void QorCommon::GetListResultByPublisher(const EventList& list, EventEntries& out) const {
  common::ListPublished(list, out);
}
void QorCommon::GetListResultBySubscriber(const EventList& list, EventEntries& out) const {
  common::ListSubscribed(list, out);
}
void QorCommon::GetListResultByAll(const EventList& list, EventEntries& out) const { common::ListAll(list, out); }

bool QorCommon::FiltByLocal(const EventInfoWithPubSub& record) const {
  return Communicability::OfThisHost().FiltByLocal(record);
}
bool QorCommon::FiltByNetwork(const EventInfoWithPubSub& record) const {
  return Communicability::FiltByNetwork(record);
}
bool QorCommon::FiltByCross(const EventInfoWithPubSub& record) const {
  return Communicability::OfThisHost().FiltByCross(record);
}
bool QorCommon::FiltByAll(const EventInfoWithPubSub& record) const {
  return Communicability::OfThisHost().FiltByAll(record);
}

// --- Records as the tools show them ---

void QorCommon::SetDDSEventInfo(const EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo) const {
  common::SetDDSEventInfo(record, eventInfo);
}
void QorCommon::SetSOMEIPEventInfo(const EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo) const {
  common::SetSOMEIPEventInfo(record, eventInfo);
}
std::vector<std::pair<std::string, std::string>> QorCommon::GetDDSAttributeList(
    const EventInfoWithPubSub& record) const {
  return common::GetDDSAttributeList(record);
}
std::string QorCommon::TransportQosToStr(maintaind::TransportQos transport) const {
  return std::string(maintaind::TransportQosText(transport));
}
bool QorCommon::IsUsingDSHM(const std::vector<maintaind::TransportQos>& transports) const {
  return common::IsUsingDSHM(transports);
}

// --- This host ---

std::string QorCommon::GetHostDomainInfo() const { return common::GetHostDomainInfo(); }
bool QorCommon::IsTheSameField(const std::string& appName) const {
  return Communicability::OfThisHost().IsTheSameField(appName);
}
bool QorCommon::IsIccAvailable(const std::string& appName, const std::string& hostDomain) const {
  return Communicability::OfThisHost().IsIccAvailable(appName, hostDomain);
}

// --- Names ---

bool QorCommon::GetSubEventName(const std::string& name, std::string& pureName, std::string& uuid) const {
  return common::GetSubEventName(name, pureName, uuid);
}
bool QorCommon::GetNameAndUuid(const std::string& name, std::string& pureName, std::string& uuid) const {
  return common::GetNameAndUuid(name, pureName, uuid);
}

// --- Checks of what users type ---

const std::string& QorCommon::GetErrMsg(int code) const { return common::ErrorText(code); }
bool QorCommon::CheckPathForSecurity(const std::string& path) const { return common::CheckPathForSecurity(path); }
int QorCommon::CheckPathName(const std::string& path, std::string& normalisedPath) const {
  return common::CheckPathName(path, normalisedPath);
}
bool QorCommon::CheckOutputName(const std::string& name) const { return common::CheckOutputName(name); }
bool QorCommon::CheckIP(const std::string& ip) const { return common::CheckIP(ip); }
bool QorCommon::CheckSOMEIPNet(const std::string& name) const { return common::CheckSOMEIPNet(name); }
bool QorCommon::IsValidNumber(const std::string& text) const { return common::IsValidNumber(text); }
bool QorCommon::CheckUuid(const std::string& uuid) const { return common::CheckUuid(uuid); }
bool QorCommon::CheckDomainID(std::uint16_t id) const { return common::CheckDomainID(id); }

// --- Files ---

bool QorCommon::CheckFreeSpace(const std::string& path, std::uint64_t bytes) const {
  return common::CheckFreeSpace(path, bytes);
}
bool QorCommon::IsPathExist(const std::string& path) const { return common::IsPathExist(path); }
std::string QorCommon::GetRealPath(const std::string& path) const { return common::GetRealPath(path); }
std::string QorCommon::GetFolderPath(const std::string& path) const { return common::GetFolderPath(path); }
std::string QorCommon::GetFileName(const std::string& path) const { return common::GetFileName(path); }
std::string QorCommon::GetCanonicalPath(const std::string& path) const { return common::GetCanonicalPath(path); }
int QorCommon::GetExportFilePath(const std::string& path, const std::string& name, std::string& exportPath) const {
  return common::GetExportFilePath(path, name, exportPath);
}
int QorCommon::SaveDataToDisk(const std::string& path, const std::string& data) const {
  return common::SaveDataToDisk(path, data, ::geteuid() == 0 ? GetUserInfo() : std::string());
}

// --- Accounts ---

std::string QorCommon::Uid2Name(uid_t uid) const { return common::Uid2Name(uid); }
std::string QorCommon::Gid2Name(gid_t gid) const { return common::Gid2Name(gid); }
std::string QorCommon::GetUserInfo() const {
  const std::string owner = ::geteuid() == 0 ? common::ResourceConfig::Load().FileOwner() : std::string();
  return common::OwnerFor(::geteuid(), ::getegid(), owner);
}

}  // namespace qor
