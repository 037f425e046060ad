// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_QOR_EVENT_H
#define QOR_QOREVENT_QOR_EVENT_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/common/filters.h"
#include "src/common/qor_event_info.h"
#include "src/common/query.h"
#include "src/common/records/event_info.h"
#include "src/common/records/query.h"
#include "src/common/tools_common_client_manager.h"
#include "src/qorevent/event_details.h"
#include "src/qorevent/export_info.h"
#include "src/qorevent/show_return_value.h"

namespace qor::qorevent {

class Audience;

/// Lists, shows and exports events: asks every daemon, merges and filters. One object a front end, used by one thread;
/// Init first. A daemon that does not answer in time is logged, and not asked again within the same call;
/// AnyDaemonAnswered and AllDaemonsAnswered tell. It only asks, so unlike the tools that subscribe it makes no node:
/// a node would be registered, and show up in the very lists that it is to fetch.
class QorEvent {
 public:
  using ExportInfo = qorevent::ExportInfo;
  using ExportNodeInfo = qorevent::ExportNodeInfo;
  using ExportDdsInfo = qorevent::ExportDdsInfo;
  using Entries = std::vector<QorEventInfo>;

  /// The code of an export that was cancelled before it wrote anything.
  static constexpr int kExportCancelled = 1;

  /// What an export wrote.
  struct ExportReport {
    std::string path;
    std::size_t eventCount = 0;
  };

  /// Finds the daemons. 0, or -1 when none is online; then it can be tried again.
  [[nodiscard]] int Init();

  /// Events that the filter keeps. 0; -1 when the filter contradicts itself or a daemon did not answer in time: then
  /// the entries are what the others said. A filter contradicts itself when it asks for one distance (local, network
  /// or cross) and for another role than publishers.
  [[nodiscard]] int QueryAll(Entries& entries, const EventFilter& filter);
  /// The same for the events of a namespace: those named like it, and those whose name continues it after a "/".
  [[nodiscard]] int QueryAllWithNamespace(const std::string& nameSpace, Entries& entries, const EventFilter& filter);

  /// One event by name, pure or with its uuid in square brackets. 0, or -1 when the name and the filter do not lead to
  /// exactly one event.
  [[nodiscard]] int Query(const std::string& name, QorEventInfo& entry, const CommonFilter& filter);
  /// Every event of a name; "ALL" or "all" names every event. 0, or -1 when there is none.
  [[nodiscard]] int Query(const std::string& name, Entries& entries, const CommonFilter& filter);
  /// The same with the nodes on both sides and the data type.
  [[nodiscard]] int QueryDetails(const std::string& name, std::vector<EventDetails>& events,
                                 const CommonFilter& filter);

  /// Adds the subscriber nodes that the daemons know to the records, and their names to the subscribers.
  void QuerySubNodeInfo(std::vector<EventDetails>& events);

  /// The data type of an event. 0, or -1 when no daemon has its definition.
  [[nodiscard]] int QueryEventShowInfo(const std::string& name, ShowReturnValue& showResult,
                                       const CommonFilter& filter);
  /// Every data type definition of every daemon.
  std::vector<maintaind::DataTypeInfo> QueryAllDataType(const qortools::common::ProxyList& proxies);
  /// The definitions of a name; "ALL" or "all" names every one. 0, or -1 when there is none.
  [[nodiscard]] int QueryDataTypeInfo(const std::string& name, std::vector<maintaind::DataTypeInfo>& results);

  /// Writes all events and their nodes to a new file. 0, or a code of QorCommon::GetErrMsg. `isCancelled` is asked once
  /// between collecting and writing; true ends the export with kExportCancelled.
  [[nodiscard]] int Export(const std::string& directory, const std::string& fileName);
  [[nodiscard]] int Export(const std::string& directory, const std::string& fileName, ExportReport& report,
                           const std::function<bool()>& isCancelled);
  /// All events and their nodes. 0, or -1.
  [[nodiscard]] int GetExportInfo(std::vector<ExportInfo>& events);

  /// Whether a daemon answered the last query for events, data types or the data type of an event.
  bool AnyDaemonAnswered() const { return anyAnswered_; }
  /// The daemons that left something without an answer that the last query asked.
  const common::DaemonSet& MissingDaemons() const { return missing_; }
  /// False also when none is online.
  bool AllDaemonsAnswered() const { return anyAnswered_ && missing_.empty(); }

  /// Appends one entry for each binding of the record. False when it has none.
  static bool SetQorEventInfo(const maintaind::EventInfoWithPubSub& record, Entries& entries);
  /// False when the daemon gave no top-level type.
  static bool GetShowResult(const maintaind::EventShowTexts& texts, ShowReturnValue& showResult);

 private:
  qortools::common::ProxyList Proxies();
  int QueryEvents(const std::string& name, const CommonFilter& filter, bool isOneExpected, Audience& audience,
                  std::vector<EventDetails>& events);
  void QuerySubNodeInfo(std::vector<EventDetails>& events, Audience& audience);

  QorLog log_{"QorEvent"};
  bool isInited_ = false;
  bool anyAnswered_ = false;
  common::DaemonSet missing_;
};

}  // namespace qor::qorevent

#endif
