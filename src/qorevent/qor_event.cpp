// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/qor_event.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "src/common/error_texts.h"
#include "src/common/event_entry.h"
#include "src/common/qor_common.h"
#include "src/common/query.h"
#include "src/qorevent/await_answer.h"
#include "src/qorevent/export_builder.h"
#include "src/qorevent/export_json.h"
#include "src/qorevent/filter_conflict.h"
#include "src/qorevent/node_query.h"

namespace qor::qorevent {
namespace {

using maintaind::EventInfoWithPubSub;
using qortools::common::ProxyList;
using qortools::common::ToolsCommonClientManager;

constexpr AnswerTexts kShowTexts{"Disconnect to Maintaind in QorEvent::QueryEventShowInfo().",
                                 "Get result from Maintaind failed in QorEvent::QueryEventShowInfo()."};
constexpr AnswerTexts kTypeTexts{"Disconnect to Maintaind in QorEvent::QueryAllDataType().",
                                 "Get result from Maintaind failed in QorEvent::QueryAllDataType()."};

bool IsAll(const std::string& name) { return name == "ALL" || name == "all"; }

bool IsInNamespace(const std::string& eventName, std::string nameSpace) {
  if (eventName == nameSpace) {
    return true;
  }
  if (nameSpace.empty() || nameSpace.back() != '/') {
    nameSpace += '/';
  }
  return eventName.compare(0, nameSpace.size(), nameSpace) == 0;
}

void AddMissing(std::vector<std::string>& names, const NodeQuery::Nodes& nodes) {
  for (const auto& node : nodes) {
    if (std::find(names.begin(), names.end(), node.nodeName) == names.end()) {
      names.push_back(node.nodeName);
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
  const ProxyList proxies = Proxies();
  const int result = QorCommon::GetInstance().QueryAll(filter, proxies, entries);
  allAnswered_ = result == 0 && !proxies.empty();
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
  const int result = QueryEvents(name, filter, /*isOneExpected=*/true, events);
  if (result == 0) {
    entry = std::move(events.front().entries.front());
  }
  return result;
}

int QorEvent::Query(const std::string& name, Entries& entries, const CommonFilter& filter) {
  std::vector<EventDetails> events;
  const int result = QueryEvents(name, filter, /*isOneExpected=*/false, events);
  for (EventDetails& event : events) {
    std::move(event.entries.begin(), event.entries.end(), std::back_inserter(entries));
  }
  return result;
}

int QorEvent::QueryDetails(const std::string& name, std::vector<EventDetails>& events, const CommonFilter& filter) {
  const int result = QueryEvents(name, filter, /*isOneExpected=*/false, events);
  QueryPublisherNodes(events);
  return result;
}

int QorEvent::QueryRecords(const std::string& name, const CommonFilter& filter,
                           std::vector<EventInfoWithPubSub>& records) {
  return IsAll(name) ? QorCommon::GetInstance().QueryAllRecords(Proxies(), records)
                     : QorCommon::GetInstance().Query(filter, name, records);
}

int QorEvent::QueryEvents(const std::string& name, const CommonFilter& filter, bool isOneExpected,
                          std::vector<EventDetails>& events) {
  std::vector<EventInfoWithPubSub> records;
  allAnswered_ = QueryRecords(name, filter, records) == 0;
  const bool isExpected = isOneExpected ? records.size() == 1 : !records.empty() || IsAll(name);
  if (!isExpected) {
    log_.Warn() << "Unknown event or mergerd size incorrect before get sub node info.";
    return -1;
  }
  for (EventInfoWithPubSub& record : records) {
    events.emplace_back().record = std::move(record);
  }
  QuerySubNodeInfo(events);
  const auto unusable =
      std::erase_if(events, [](EventDetails& event) { return !SetQorEventInfo(event.record, event.entries); });
  if (unusable > 0) {
    log_.Warn() << "Unknown event or mergerd size incorrect after get sub node info.";
    return -1;
  }
  return 0;
}

void QorEvent::QuerySubNodeInfo(std::vector<EventDetails>& events) {
  const NodeQuery query(Proxies());
  for (EventDetails& event : events) {
    event.subscriberNodes = query.QuerySubNodes(GetSubNodeIndex(event.record), allAnswered_);
    AddMissing(event.record.subscribers, event.subscriberNodes);
  }
  log_.Info() << "Query sub node info finished.";
}

void QorEvent::QueryPublisherNodes(std::vector<EventDetails>& events) {
  const NodeQuery query(Proxies());
  for (EventDetails& event : events) {
    if (event.record.publisher.empty()) {
      continue;
    }
    auto nodes = query.QueryNodeInfo(event.record.publisher);
    allAnswered_ = allAnswered_ && nodes.has_value();
    const NodeDirectory directory(std::move(nodes).value_or(NodeQuery::Nodes{}));
    for (const auto* node :
         directory.Find(event.record.publisher, event.record.eventName, maintaind::EntityRole::kProvider)) {
      event.publisherNodes.push_back(*node);
    }
  }
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
  const maintaind::QueryDataTypeIndex index{pureName, filter.instanceShortName, filter.domainId, filter.networkIp};
  maintaind::EventShowTexts best;
  allAnswered_ = true;
  for (const auto& proxy : Proxies()) {
    const auto texts = AwaitAnswer(proxy->QueryEventShow(index), log_, kShowTexts);
    allAnswered_ = allAnswered_ && texts.has_value();
    if (texts.has_value() && best.topLevelTypeJson.empty()) {
      best = *texts;
    }
  }
  return GetShowResult(best, showResult) ? 0 : -1;
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
  allAnswered_ = !proxies.empty();
  for (const auto& proxy : proxies) {
    auto answer = AwaitAnswer(proxy->QueryAllDataType(), log_, kTypeTexts);
    allAnswered_ = allAnswered_ && answer.has_value();
    if (answer.has_value()) {
      std::move(answer->begin(), answer->end(), std::back_inserter(types));
    }
  }
  return types;
}

int QorEvent::QueryDataTypeInfo(const std::string& name, std::vector<maintaind::DataTypeInfo>& results) {
  results = QueryAllDataType(Proxies());
  if (!IsAll(name)) {
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
  allAnswered_ = QorCommon::GetInstance().QueryAllRecords(proxies, records) == 0;
  if (!allAnswered_ && records.empty()) {
    log_.Error() << "Failed to query event info messages from the maintaind";
    return -1;
  }
  auto nodes = NodeQuery(proxies).QueryNodeInfo("ALL");
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
