// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/qor_event.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "src/common/error_texts.h"
#include "src/common/event_entry.h"
#include "src/common/event_name.h"
#include "src/common/qor_common.h"
#include "src/common/query.h"
#include "src/qorevent/audience.h"
#include "src/qorevent/export_builder.h"
#include "src/qorevent/export_json.h"
#include "src/qorevent/filter_conflict.h"
#include "src/qorevent/node_query.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using qortools::common::ProxyList;
using qortools::common::ToolsCommonClientManager;

constexpr AnswerTexts kShowTexts{"Disconnect to Maintaind in QorEvent::QueryEventShowInfo().",
                                 "Get result from Maintaind failed in QorEvent::QueryEventShowInfo()."};
constexpr AnswerTexts kTypeTexts{"Disconnect to Maintaind in QorEvent::QueryAllDataType().",
                                 "Get result from Maintaind failed in QorEvent::QueryAllDataType()."};

bool IsInNamespace(const std::string& eventName, std::string nameSpace) {
  if (eventName == nameSpace) {
    return true;
  }
  if (nameSpace.empty() || nameSpace.back() != '/') {
    nameSpace += '/';
  }
  return eventName.compare(0, nameSpace.size(), nameSpace) == 0;
}

void AddMissing(std::vector<std::string>& names, const Nodes& nodes) {
  for (const auto& node : nodes) {
    if (std::find(names.begin(), names.end(), node.nodeName) == names.end()) {
      names.push_back(node.nodeName);
    }
  }
}

/// Means this one event, of all that share its name.
maintaind::QueryDataTypeIndex GetShowIndex(const EventInfoWithPubSub& record) {
  maintaind::QueryDataTypeIndex index;
  index.entityName = record.eventName;
  // Without a registered type it is known by what is deployed under the name, and deployments seldom say an address.
  const bool isAddressed = !record.dataTypeName.empty();
  if (const auto binding = record.bindings.find(DriverType::kSomeip); binding != record.bindings.end()) {
    index.instanceShortName = binding->second.someip.instanceShortName;
    index.networkIp = isAddressed ? binding->second.someip.networkIp : std::string();
  }
  if (const auto binding = record.bindings.find(DriverType::kDds); binding != record.bindings.end()) {
    index.domainId = binding->second.dds.domainId;
    index.networkIp = isAddressed ? binding->second.dds.networkIp : std::string();
  }
  return index;
}

/// The definition of the first daemon that has it. Nothing when no daemon answered.
std::optional<maintaind::EventShowTexts> QueryShowTexts(const maintaind::QueryDataTypeIndex& index,
                                                        Audience& audience) {
  maintaind::EventShowTexts best;
  const std::size_t answered = audience.Ask([&](auto& daemon) { return daemon.QueryEventShow(index); }, kShowTexts,
                                            [&](maintaind::EventShowTexts&& texts) {
                                              if (best.topLevelTypeJson.empty()) {
                                                best = std::move(texts);
                                              }
                                            });
  return answered > 0 ? std::optional(std::move(best)) : std::nullopt;
}

void QueryPublisherNodes(std::vector<EventDetails>& events, Audience& audience) {
  if (events.empty()) {
    return;
  }
  const std::string wanted = events.size() == 1 ? events.front().record.publisher : "ALL";
  const NodeDirectory nodes(wanted.empty() ? Nodes{} : QueryNodeInfo(audience, wanted).value_or(Nodes{}));
  for (EventDetails& event : events) {
    const EventInfoWithPubSub& record = event.record;
    for (const auto* node : nodes.Find(record.publisher, record.eventName, maintaind::EntityRole::kProvider)) {
      event.publisherNodes.push_back(*node);
    }
  }
}

}  // namespace

int QorEvent::Init() {
  if (isInited_) {
    return 0;
  }
  const auto manager = ToolsCommonClientManager::GetInstance();
  manager->FindMaintaindService();
  log_.Info() << "[QorEvent] Find maintaind service over";
  if (manager->GetProxyListSize() == 0) {
    log_.Error() << "Find service fail.";
    return -1;
  }
  isInited_ = true;
  return 0;
}

int QorEvent::QueryAll(Entries& entries, const EventFilter& filter) {
  if (RefusesQueryAll(filter.roleType, IsDistanceChosen(filter))) {
    return -1;
  }
  common::Answers answers;
  const int result = QorCommon::GetInstance().QueryAll(filter, Proxies(), entries, &answers);
  anyAnswered_ = answers.IsAny();
  missing_ = answers.missing;
  return result;
}

int QorEvent::QueryAllWithNamespace(const std::string& nameSpace, Entries& entries, const EventFilter& filter) {
  log_.Debug() << "Namespace is " << nameSpace;
  if (RefusesQueryAllWithNamespace(filter.roleType, IsDistanceChosen(filter))) {
    return -1;
  }
  const int result = QueryAll(entries, filter);
  std::erase_if(entries, [&](const QorEventInfo& entry) { return !IsInNamespace(entry.eventName, nameSpace); });
  for (const QorEventInfo& entry : entries) {
    log_.Debug() << "In namespace, eventname " << entry.eventName;
  }
  return result;
}

int QorEvent::Query(const std::string& name, QorEventInfo& entry, const CommonFilter& filter) {
  std::vector<EventDetails> events;
  Audience audience(Proxies());
  const int result = QueryEvents(name, filter, /*isOneExpected=*/true, audience, events);
  if (result == 0) {
    entry = std::move(events.front().entries.front());
  }
  return result;
}

int QorEvent::Query(const std::string& name, Entries& entries, const CommonFilter& filter) {
  std::vector<EventDetails> events;
  Audience audience(Proxies());
  const int result = QueryEvents(name, filter, /*isOneExpected=*/false, audience, events);
  for (EventDetails& event : events) {
    std::move(event.entries.begin(), event.entries.end(), std::back_inserter(entries));
  }
  return result;
}

int QorEvent::QueryDetails(const std::string& name, std::vector<EventDetails>& events, const CommonFilter& filter) {
  Audience audience(Proxies());
  const int result = QueryEvents(name, filter, /*isOneExpected=*/false, audience, events);
  QueryPublisherNodes(events, audience);
  for (EventDetails& event : events) {
    // Many an event has no deployed type; then there is nothing to show of it.
    const auto texts = QueryShowTexts(GetShowIndex(event.record), audience);
    static_cast<void>(GetShowResult(texts.value_or(maintaind::EventShowTexts()), event.type));
  }
  missing_ = audience.Missing();
  return result;
}

int QorEvent::QueryEvents(const std::string& name, const CommonFilter& filter, bool isOneExpected, Audience& audience,
                          std::vector<EventDetails>& events) {
  const QorCommon& common = QorCommon::GetInstance();
  const bool isAll = common::IsAllNames(name);
  std::string pureName;
  std::string uuid;
  if (!isAll && !common.GetSubEventName(name, pureName, uuid)) {
    return -1;
  }
  std::vector<EventInfoWithPubSub> records;
  common::Answers answers;
  if (isAll) {
    common.QueryAllRecords(audience.Daemons(), records, &answers);
    common.FilterEventInfo(name, records, filter);
  } else {
    common.Query(filter, name, records, &answers);
  }
  audience.Note(answers);
  anyAnswered_ = answers.IsAny();
  missing_ = audience.Missing();
  const bool isExpected = isOneExpected ? records.size() == 1 : !records.empty() || isAll;
  if (!isExpected) {
    log_.Warn() << "Unknown event or mergerd size incorrect before get sub node info.";
    return -1;
  }
  for (EventInfoWithPubSub& record : records) {
    events.emplace_back().record = std::move(record);
  }
  QuerySubNodeInfo(events, audience);
  const auto unusable =
      std::erase_if(events, [](EventDetails& event) { return !SetQorEventInfo(event.record, event.entries); });
  if (unusable > 0 && !isAll) {
    log_.Warn() << "Unknown event or mergerd size incorrect after get sub node info.";
    return -1;
  }
  return 0;
}

void QorEvent::QuerySubNodeInfo(std::vector<EventDetails>& events) {
  Audience audience(Proxies());
  QuerySubNodeInfo(events, audience);
}

void QorEvent::QuerySubNodeInfo(std::vector<EventDetails>& events, Audience& audience) {
  for (EventDetails& event : events) {
    event.subscriberNodes = QuerySubNodes(audience, GetSubNodeIndex(event.record));
    AddMissing(event.record.subscribers, event.subscriberNodes);
  }
  missing_ = audience.Missing();
  log_.Info() << "Query sub node info finished.";
}

int QorEvent::QueryEventShowInfo(const std::string& name, ShowReturnValue& showResult, const CommonFilter& filter) {
  std::string pureName;
  std::string uuid;
  if (!QorCommon::GetInstance().GetSubEventName(name, pureName, uuid)) {
    return -1;
  }
  CommonFilter logged = filter;
  logged.uuid = uuid.empty() ? filter.uuid : uuid;
  common::LogQueryIndex(logged);
  Audience audience(Proxies());
  const auto texts = QueryShowTexts({pureName, filter.instanceShortName, filter.domainId, filter.networkIp}, audience);
  anyAnswered_ = texts.has_value();
  missing_ = audience.Missing();
  return GetShowResult(texts.value_or(maintaind::EventShowTexts()), showResult) ? 0 : -1;
}

bool QorEvent::GetShowResult(const maintaind::EventShowTexts& texts, ShowReturnValue& showResult) {
  if (texts.topLevelTypeJson.empty()) {
    QorLog("QorEvent").Info() << "Get top-level datatype jsonstring which is empty.";
    return false;
  }
  showResult = {texts.dataTypeName, texts.topLevelTypeJson, texts.typeListJson};
  return true;
}

std::vector<maintaind::DataTypeInfo> QorEvent::QueryAllDataType(const ProxyList& proxies) {
  std::vector<maintaind::DataTypeInfo> types;
  Audience audience(proxies);
  const std::size_t answered = audience.Ask([](auto& daemon) { return daemon.QueryAllDataType(); }, kTypeTexts,
                                            [&](std::vector<maintaind::DataTypeInfo>&& some) {
                                              std::move(some.begin(), some.end(), std::back_inserter(types));
                                            });
  anyAnswered_ = answered > 0;
  missing_ = audience.Missing();
  return types;
}

int QorEvent::QueryDataTypeInfo(const std::string& name, std::vector<maintaind::DataTypeInfo>& results) {
  results = QueryAllDataType(Proxies());
  if (!common::IsAllNames(name)) {
    std::erase_if(results, [&](const maintaind::DataTypeInfo& type) { return type.name != name; });
  }
  if (results.empty()) {
    log_.Warn() << "Data type list is empty.";
    return -1;
  }
  return 0;
}

int QorEvent::Export(const std::string& directory, const std::string& fileName) {
  ExportReport report;
  return Export(directory, fileName, report, nullptr);
}

int QorEvent::Export(const std::string& directory, const std::string& fileName, ExportReport& report,
                     const std::function<bool()>& isCancelled) {
  const QorCommon& common = QorCommon::GetInstance();
  if (const int code = common.GetExportFilePath(directory, fileName, report.path); code != 0) {
    return code;
  }
  std::vector<ExportInfo> events;
  if (GetExportInfo(events) != 0) {
    return common::kQueryFailed;
  }
  if (isCancelled && isCancelled()) {
    return kExportCancelled;
  }
  report.eventCount = events.size();
  return common.SaveDataToDisk(report.path, ExportJsonInfo(events));
}

int QorEvent::GetExportInfo(std::vector<ExportInfo>& events) {
  const ProxyList proxies = Proxies();
  if (proxies.empty()) {
    log_.Error() << "QorNode init failed";
    return -1;
  }
  std::vector<EventInfoWithPubSub> records;
  common::Answers answers;
  QorCommon::GetInstance().QueryAllRecords(proxies, records, &answers);
  anyAnswered_ = answers.IsAny();
  missing_ = answers.missing;
  if (!anyAnswered_) {
    log_.Error() << "Failed to query event info messages from the maintaind";
    return -1;
  }
  Audience audience(proxies);
  audience.Note(answers);
  auto nodes = QueryNodeInfo(audience, "ALL");
  missing_ = audience.Missing();
  if (!nodes.has_value()) {
    log_.Error() << "Failed to query node info messages from the maintaind";
    return -1;
  }
  events = BuildExport(records, NodeDirectory(*std::move(nodes)));
  return 0;
}

bool QorEvent::SetQorEventInfo(const EventInfoWithPubSub& record, Entries& entries) {
  const std::size_t count = entries.size();
  common::AppendEntries(record, entries);
  return entries.size() > count;
}

ProxyList QorEvent::Proxies() { return ToolsCommonClientManager::GetInstance()->GetCurrentProxyList(); }

}  // namespace qor::qorevent
