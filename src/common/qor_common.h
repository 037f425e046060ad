// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_QOR_COMMON_H
#define QOR_COMMON_QOR_COMMON_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/com/node_handle.h"
#include "platform/log/qor_log.h"
#include "src/common/filters.h"
#include "src/common/qor_event_info.h"
#include "src/common/query.h"
#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"
#include "src/common/tools_common_client_manager.h"

namespace qor {

/// What all tools share: asking the daemons, merging and filtering their answers, and checking what users type. A thin
/// face over the parts in this folder. One per process; any thread, no state but the configuration mutex.
class QorCommon {
 public:
  using EventList = std::vector<maintaind::EventInfoWithPubSub>;
  using MethodList = std::vector<maintaind::MethodInfoWithPubSub>;
  using FieldList = std::vector<maintaind::FieldInfoWithPubSub>;
  using ServiceList = std::vector<maintaind::ServiceInfoWithPubSub>;
  using EventBindings = std::map<maintaind::DriverType, maintaind::EventInfo>;
  using MethodBindings = std::map<maintaind::DriverType, maintaind::MethodInfo>;
  using FieldBindings = std::map<maintaind::DriverType, maintaind::FieldInfo>;
  using EventEntries = std::vector<qorevent::QorEventInfo>;

  static QorCommon& GetInstance();

  QorCommon(const QorCommon&) = delete;
  QorCommon& operator=(const QorCommon&) = delete;

  /// Guards every run-time change of the shared communication configuration (Helper::AddConfig).
  std::mutex modifyConfigMutex_;

  /// Creates the tool's middleware node: the prefix and the name, with a "/" between them when neither side has one;
  /// null when it cannot be created, which is for the caller to log.
  std::unique_ptr<com::NodeHandle> InitializeNode(const std::string& prefix, const std::string& name) const;

  // --- Queries (300 ms for each daemon, one after the other) ---

  /// All events, merged, and the list entries that the filter keeps. 0, or -1 when a daemon did not answer in time; the
  /// answers of the others are in `result` all the same. `answers`, here and below, may be null.
  int QueryAll(const qorevent::EventFilter& filter, const qortools::common::ProxyList& proxies, EventEntries& result,
               common::Answers* answers = nullptr) const;
  /// The same without list entries: all merged records as they are.
  int QueryAllRecords(const qortools::common::ProxyList& proxies, EventList& result,
                      common::Answers* answers = nullptr) const;
  /// One event by name (pure, or with its uuid in square brackets), merged and filtered. 0, or -1 when the name is
  /// refused or a daemon did not answer in time.
  int Query(const CommonFilter& filter, const std::string& name, EventList& result,
            common::Answers* answers = nullptr) const;
  /// Asks every daemon for one name and appends the answers, unmerged. 0, or -1 when a daemon did not answer in time.
  int GetInfoResult(const std::string& name, EventList& result, common::Answers* answers = nullptr) const;

  // --- Merging: one record per event and publisher, in the order described at each step in merge.h ---

  /// All steps for one family.
  void MergeEventInfo(EventList& list) const;
  void MergeMethodInfo(MethodList& list) const;
  void MergeFieldInfo(FieldList& list) const;
  void MergeServiceInfo(ServiceList& list) const;

  /// Single steps over the whole list; those with an index, for one record.
  void MergePubEventInfoSubs(EventList& list) const;
  void MergeOffPubEventInfoSubs(EventList& list) const;
  void MergeNoneNetworkEventInfoSubs(EventList& list) const;
  void MergeNoPubEventInfo(EventList& list) const;
  void MergeNoPubEventInfoSubs(std::size_t index, EventList& list) const;
  void MergePubMethodInfoSubs(MethodList& list) const;
  void MergeOffPubMethodInfoSubs(MethodList& list) const;
  void MergeNoneNetworkMethodInfoSubs(MethodList& list) const;
  void MergeNoPubMethodInfo(MethodList& list) const;
  void MergeNoPubMethodInfoSubs(std::size_t index, MethodList& list) const;
  void MergeNoneNetworkEntityInfoSubs(FieldList& list) const;

  /// Drops the methods that cannot be called now: no server of theirs is online.
  void RemoveOfflineMethods(MethodList& list) const;

  /// Sets `equal` when the record describes the same entity as the bindings; never clears it.
  void CompareEventInfo(bool& equal, const maintaind::EventInfoWithPubSub& record, const EventBindings& bindings) const;
  void CompareMethodInfo(bool& equal, const maintaind::MethodInfoWithPubSub& record,
                         const MethodBindings& bindings) const;
  void CompareEntityInfo(bool& equal, const maintaind::FieldInfoWithPubSub& record,
                         const FieldBindings& bindings) const;

  // --- Filtering ---

  void FilterEventInfo(const std::string& name, EventList& list, const CommonFilter& filter) const;
  bool CheckDDSEventFilter(const maintaind::EventInfoWithPubSub& record, const CommonFilter& filter) const;
  bool CheckSOMEIPEventFilter(const maintaind::EventInfoWithPubSub& record, const CommonFilter& filter) const;
  bool CheckMethodEntity(const maintaind::MethodInfoWithPubSub& record, const CommonFilter& filter) const;
  bool CheckFieldEntity(const maintaind::FieldInfoWithPubSub& record, const CommonFilter& filter) const;
  bool CheckServiceEntity(const maintaind::ServiceInfoWithPubSub& record, const CommonFilter& filter) const;

  void GetListResultWithFilter(const qorevent::EventFilter& filter, const EventList& list, EventEntries& out) const;
  void GetListResultByCommunicatableType(const EventList& list, qorevent::CommunicableType type, EventList& out) const;
  void GetListResultByPublisher(const EventList& list, EventEntries& out) const;
  void GetListResultBySubscriber(const EventList& list, EventEntries& out) const;
  void GetListResultByAll(const EventList& list, EventEntries& out) const;
  bool FiltByLocal(const maintaind::EventInfoWithPubSub& record) const;
  bool FiltByNetwork(const maintaind::EventInfoWithPubSub& record) const;
  bool FiltByCross(const maintaind::EventInfoWithPubSub& record) const;
  bool FiltByAll(const maintaind::EventInfoWithPubSub& record) const;

  // --- Records as the tools show them ---

  void SetDDSEventInfo(const maintaind::EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo) const;
  void SetSOMEIPEventInfo(const maintaind::EventInfoWithPubSub& record, qorevent::QorEventInfo& eventInfo) const;
  std::vector<std::pair<std::string, std::string>> GetDDSAttributeList(
      const maintaind::EventInfoWithPubSub& record) const;
  std::string TransportQosToStr(maintaind::TransportQos transport) const;
  bool IsUsingDSHM(const std::vector<maintaind::TransportQos>& transports) const;

  // --- This host ---

  /// "SEA", "GEA" or "ANDROID".
  std::string GetHostDomainInfo() const;
  bool IsTheSameField(const std::string& appName) const;
  bool IsIccAvailable(const std::string& appName, const std::string& hostDomain) const;

  // --- Names ---

  /// Splits "name[uuid]". False when the name is too long; then nothing is set.
  bool GetSubEventName(const std::string& name, std::string& pureName, std::string& uuid) const;
  bool GetNameAndUuid(const std::string& name, std::string& pureName, std::string& uuid) const;

  // --- Checks of what users type (see checks.h for the exact rules) ---

  const std::string& GetErrMsg(int code) const;
  bool CheckPathForSecurity(const std::string& path) const;
  int CheckPathName(const std::string& path, std::string& normalisedPath) const;
  bool CheckOutputName(const std::string& name) const;
  bool CheckIP(const std::string& ip) const;
  bool CheckSOMEIPNet(const std::string& name) const;
  bool IsValidNumber(const std::string& text) const;
  bool CheckUuid(const std::string& uuid) const;
  bool CheckDomainID(std::uint16_t id) const;

  // --- Files ---

  bool CheckFreeSpace(const std::string& path, std::uint64_t bytes) const;
  bool IsPathExist(const std::string& path) const;
  std::string GetRealPath(const std::string& path) const;
  std::string GetFolderPath(const std::string& path) const;
  std::string GetFileName(const std::string& path) const;
  std::string GetCanonicalPath(const std::string& path) const;
  /// The checked path of an export file in `exportPath`; creates the directory. 0 or a code of GetErrMsg.
  int GetExportFilePath(const std::string& path, const std::string& name, std::string& exportPath) const;
  /// Writes a new file so that no reader ever sees a part of it. 0 or a code of GetErrMsg.
  int SaveDataToDisk(const std::string& path, const std::string& data) const;

  // --- Accounts ---

  std::string Uid2Name(uid_t uid) const;
  std::string Gid2Name(gid_t gid) const;
  /// The account under which files and resources are made, as "user:group": the caller's own, for root the configured
  /// file owner. Empty for root when none is configured.
  std::string GetUserInfo() const;

 private:
  QorCommon() = default;

  QorLog log_{"QorCommon"};
};

}  // namespace qor

#endif
