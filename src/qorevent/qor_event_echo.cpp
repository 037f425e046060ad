// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/qor_event_echo.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/com/e2e/check_status.h"
#include "platform/com/helper.h"
#include "src/common/checks.h"
#include "src/common/qor_common.h"
#include "src/common/tools_common_client_manager.h"
#include "src/datatype/definition_query.h"
#include "src/qorevent/echo_option_check.h"

namespace qor::qorevent {
namespace {

constexpr char kNodePath[] = "/qorevent/echo/";
constexpr std::uint32_t kRawBufferQueue = 10;
constexpr std::uint32_t kLogIntervalMs = 500;

using com::e2e::CheckStatus;
using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::EventRegisterInfo;
using maintaind::TransportQos;

/// Whether an endpoint of this platform can use the transport.
bool IsServed(TransportQos transport) { return transport != TransportQos::kIcc && transport != TransportQos::kPcie; }

bool IsE2EProtected(const maintaind::EventInfo& binding, DriverType driver) {
  return driver == DriverType::kDds ? binding.dds.e2e.isProtected : binding.someip.e2e.isProtected;
}

}  // namespace

QorEventEcho::~QorEventEcho() {
  for (const auto& [name, record] : echoes_) {
    record->isRunning.store(false);
  }
}

bool QorEventEcho::Initialize() { return InitMaintaindConnection() && InitializeQorComInterface(); }

bool QorEventEcho::InitMaintaindConnection() {
  const auto manager = qortools::common::ToolsCommonClientManager::GetInstance();
  if (!isConnected_) {
    constexpr char kVariable[] = "SOMEIP_LOG_LEVEL";
    if (::setenv(kVariable, "error", /*overwrite=*/0) != 0) {
      log_.Error() << "Failed to set up environment vairable '" << kVariable << "'";
      return false;
    }
    manager->FindMaintaindService();
    log_.Debug() << "[QorEventEcho] Find maintaind service over";
    isConnected_ = true;
  }
  const std::size_t count = manager->GetProxyListSize();
  if (count == 0) {
    log_.Error() << "Failed to find maintaind service";
    return false;
  }
  log_.Debug() << "Found " << count << " maintaind instance(s)";
  return true;
}

bool QorEventEcho::InitializeQorComInterface() {
  if (node_ == nullptr) {
    node_ = QorCommon::GetInstance().InitializeNode(kNodePath, "");
  }
  if (node_ == nullptr) {
    log_.Error() << "Roslike NodeHandle failed";
  }
  return node_ != nullptr;
}

bool QorEventEcho::QueryTypeDefinitionFromMaintaind(datatype::DefinitionTexts& definitions) {
  return datatype::QueryAllDefinitions(definitions);
}

QorEventEcho::EchoResult QorEventEcho::Echo(const std::string& eventName, const EchoOptions& options,
                                            TextCallback callback) {
  SampleCallback withText;
  if (callback != nullptr) {
    withText = [callback = std::move(callback)](SampleInfo&& info) { callback(info.text); };
  }
  return Echo(eventName, options, std::move(withText));
}

QorEventEcho::EchoResult QorEventEcho::Echo(const std::string& eventName, const EchoOptions& options,
                                            SampleCallback callback) {
  if (const EchoResult checked = InitAndCheckValid(eventName, options); checked != EchoResult::kEchoing) {
    return checked;
  }
  auto record = std::make_unique<EchoRecord>();
  record->eventName = eventName;
  record->options = options;
  record->callback = std::move(callback);
  for (const auto step : {&QorEventEcho::QueryEventInfoFromMaintaind, &QorEventEcho::CheckIsNew,
                          &QorEventEcho::RegisterEvent, &QorEventEcho::SubscribeEvent}) {
    if (const EchoResult result = (this->*step)(*record); result != EchoResult::kEchoing) {
      return result;
    }
  }
  log_.Info() << "Event '" << record->fullName << "' is echoing...";
  const std::lock_guard lock(mutex_);
  echoes_.emplace(eventName, std::move(record));
  return EchoResult::kEchoing;
}

QorEventEcho::EchoResult QorEventEcho::InitAndCheckValid(const std::string& eventName, const EchoOptions& options) {
  if (!CheckParam(eventName, options)) {
    return EchoResult::kBadParam;
  }
  log_.Debug() << "Starting echo event '" << eventName << "'...";
  {
    const std::lock_guard lock(mutex_);
    if (echoes_.count(eventName) != 0) {
      return AlreadyEchoing(eventName);
    }
  }
  if (!InitMaintaindConnection()) {
    return EchoResult::kNoDaemon;
  }
  return InitializeQorComInterface() ? EchoResult::kEchoing : EchoResult::kFailed;
}

/// Another name may have led to the same event.
QorEventEcho::EchoResult QorEventEcho::CheckIsNew(EchoRecord& record) {
  record.fullName = HandleEventName(record.records.front());
  const std::lock_guard lock(mutex_);
  const bool isEchoing = std::ranges::any_of(
      echoes_, [&](const auto& other) { return IsRepeated(record.records.front(), other.second->records); });
  return isEchoing ? AlreadyEchoing(record.eventName) : EchoResult::kEchoing;
}

QorEventEcho::EchoResult QorEventEcho::AlreadyEchoing(const std::string& eventName) const {
  log_.Warn() << "Event '" << eventName << "' is already in echoing";
  return EchoResult::kAlreadyEchoing;
}

bool QorEventEcho::QueryEvents() {
  merged_.clear();
  answers_ = {};
  askedAt_ = Clock::now();
  if (!InitMaintaindConnection()) {
    return false;
  }
  QorCommon::GetInstance().QueryAllRecords(
      qortools::common::ToolsCommonClientManager::GetInstance()->GetCurrentProxyList(), merged_, &answers_);
  return answers_.IsAll();
}

EventRecords QorEventEcho::FindRecords(const std::string& eventName, const EchoOptions& options) const {
  const QorCommon& common = QorCommon::GetInstance();
  std::string pureName;
  std::string inBrackets;
  common.GetNameAndUuid(eventName, pureName, inBrackets);
  CommonFilter filter;
  filter.networkIp = options.networkIp;
  filter.uuid = options.uuid;
  filter.domainId = options.isAnyDomain ? CommonFilter::kAnyDomain : options.domainId;
  filter.instanceShortName = options.instanceShortName;
  if (!inBrackets.empty()) {
    std::string& meant = common::IsValidNumber(inBrackets) ? filter.uuid : filter.instanceShortName;
    if (!meant.empty() && meant != inBrackets) {
      return {};
    }
    meant = inBrackets;
  }
  EventRecords records;
  for (EventInfoWithPubSub& found : SelectRecords(merged_, pureName, filter)) {
    if (!IsRepeated(found, records)) {
      records.push_back(std::move(found));
    }
  }
  return records;
}

QorEventEcho::EchoResult QorEventEcho::QueryEventInfoFromMaintaind(EchoRecord& record) {
  log_.Info() << "Querying event info from maintaind[eventName=" << record.eventName << "]";
  constexpr std::chrono::seconds kFresh{1};
  if (!askedAt_.has_value() || Clock::now() - *askedAt_ > kFresh) {  // many names are mostly started in one go
    QueryEvents();
  }
  record.records = FindRecords(record.eventName, record.options);
  if (!IsOneEvent(record.records)) {
    log_.Error() << "Query result of event '" << record.eventName << "' is invalid.";
    if (!record.records.empty()) {
      return EchoResult::kAmbiguous;
    }
    return answers_.IsAll() ? EchoResult::kUnknownEvent : EchoResult::kNoDaemon;
  }
  const bool isRos = record.records.front().serializeConfig.type == maintaind::SerializationType::kRos;
  log_.Info() << "[QorEventEcho query event info][Serializetype=" << (isRos ? "ROS]" : "CM]");
  return EchoResult::kEchoing;
}

QorEventEcho::EchoResult QorEventEcho::RegisterEvent(EchoRecord& record) {
  log_.Info() << "Registering event '" << record.eventName << "' config...";
  const bool isDds = WithBinding(record.records, DriverType::kDds).has_value();
  if (isDds) {
    log_.Info() << "Event '" << record.eventName << "' is using DDS protocol";
  } else {
    log_.Info() << "Event '" << record.eventName << "' is using SOME/IP protocol";
  }
  if (CheckIsNoSupportRawData(record)) {
    log_.Error() << "Echo of raw data is not supported.";
    return EchoResult::kFailed;
  }
  for (const EventInfoWithPubSub& one : record.records) {
    for (const auto& [driver, binding] : one.bindings) {
      if (IsE2EProtected(binding, driver)) {
        record.protectedBindings.insert(driver);
      }
    }
  }
  record.renderer = std::make_unique<SampleRenderer>(record.eventName, record.records.front(), isDds, rendering_,
                                                     &QorEventEcho::QueryTypeDefinitionFromMaintaind);
  if (!record.renderer->IsFieldKnown()) {
    fieldFault_ = record.renderer->Fault();
    return EchoResult::kUnknownField;
  }
  return EchoResult::kEchoing;
}

/// True when the event comes by transports that this platform cannot receive, and by nothing else.
bool QorEventEcho::CheckIsNoSupportRawData(const EchoRecord& record) const {
  const auto dds = WithBinding(record.records, DriverType::kDds);
  if (!dds.has_value() || WithBinding(record.records, DriverType::kSomeip).has_value()) {
    return false;
  }
  const auto& transports = dds->bindings.begin()->second.dds.transports;
  return !transports.empty() && std::none_of(transports.begin(), transports.end(), IsServed);
}

QorEventEcho::EchoResult QorEventEcho::SubscribeEvent(EchoRecord& record) {
  for (const DriverType driver : {DriverType::kDds, DriverType::kSomeip}) {
    const auto event = WithBinding(record.records, driver);
    if (!event.has_value()) {
      continue;
    }
    if (auto subscriber = SubscribeBinding(record, *event)) {
      record.subscribers.push_back(std::move(subscriber));
    } else {
      log_.Error() << "Failed to subscribe event '" << record.eventName << "'";
    }
  }
  return record.subscribers.empty() ? EchoResult::kFailed : EchoResult::kEchoing;
}

com::Subscriber QorEventEcho::SubscribeBinding(EchoRecord& record, const EventRegisterInfo& event) {
  const auto& [driver, binding] = *event.bindings.begin();
  const bool isInSharedMemory =
      driver == DriverType::kDds && QorCommon::GetInstance().IsUsingDSHM(binding.dds.transports);
  return isInSharedMemory ? DoSubscribeRecvMemory(record, event) : DoSubscribe(record, event, record.options.count);
}

com::Subscriber QorEventEcho::DoSubscribeRecvMemory(EchoRecord& record, const EventRegisterInfo& event) {
  log_.Info() << "Subscribing event with rawbuffer[eventName=" << record.eventName << "]";
  if (!IsDpAdapterReady()) {
    log_.Error() << "[Dp adapter initialized failed][/dev/shm cannot be used]";
    return {};
  }
  return DoSubscribe(record, event, kRawBufferQueue);
}

/// Registers and subscribes in one step: both bindings of an event use one entity name.
com::Subscriber QorEventEcho::DoSubscribe(EchoRecord& record, const EventRegisterInfo& event, std::uint32_t queueSize) {
  const std::lock_guard lock(QorCommon::GetInstance().modifyConfigMutex_);
  if (!Helper::AddConfig(
          /*isPublisher=*/false, {kNodePath, record.options.ddsNetwork, record.options.someipNetwork, record.fullName},
          event)) {
    return {};
  }
  const DriverType driver = event.bindings.begin()->first;
  return node_->SubscribeEx(
      kNodePath + record.fullName, com::SubscribeOptions{queueSize},
      [this, &record, driver](const com::RecvBuffer& sample) { OnEventReceived(record, driver, sample); });
}

void QorEventEcho::OnEventReceived(EchoRecord& record, DriverType driver, const com::RecvBuffer& sample) {
  if (!record.isRunning.load()) {
    log_.Info() << "Stop echo, ignore data.";
    return;
  }
  if (record.callback == nullptr) {
    log_.Error("QorEventEcho_Callback" + record.eventName, kLogIntervalMs)
        << "Invalid callback function, function is nullptr, please check.";
    return;
  }
  const std::lock_guard lock(record.mutex);
  if (!record.gate.IsCounted(driver, std::chrono::steady_clock::now())) {
    return;
  }
  log_.Debug() << "[ECHO] Received event[eventName=" << record.eventName << ", dataType=" << record.renderer->DataType()
               << ", mbufSize=" << sample.mbufs.size() << ", privateDataSize=" << sample.privateData.size() << "]";
  SampleInfo& info = record.sample;
  info.receivedAt = std::chrono::system_clock::now();
  if (!record.renderer->Render(driver, sample, info)) {
    return;
  }
  SetE2ECheckResult(record, driver, sample, info);
  info.eventName = record.eventName;
  record.callback(std::move(info));
}

/// An event that runs already begins with some counter: for the check that is a wrong sequence, but no fault.
void QorEventEcho::SetE2ECheckResult(EchoRecord& record, DriverType driver, const com::RecvBuffer& sample,
                                     SampleInfo& info) const {
  const bool isFirst = std::exchange(record.isFirst, false);
  info.e2eStatus.clear();
  if (record.protectedBindings.count(driver) == 0) {
    return;
  }
  info.e2eStatus = CheckStatusName(sample.e2eStatus);
  if (sample.e2eStatus == CheckStatus::kCheckDisabled) {
    log_.Warn("QorEventEcho_E2EHandler" + record.eventName, kLogIntervalMs)
        << "Use E2E protection but without set e2e handler";
  } else if (sample.e2eStatus != CheckStatus::kOk && !(isFirst && sample.e2eStatus == CheckStatus::kWrongSequence)) {
    log_.Error("QorEventEcho_E2E" + record.eventName, kLogIntervalMs)
        << "Receive event has e2e protection error[eventName=" << record.eventName
        << ", profileStatus=" << info.e2eStatus << "]";
  }
}

void QorEventEcho::Stop(const std::string& eventName) {
  std::unique_ptr<EchoRecord> record;
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = echoes_.find(eventName); found != echoes_.end()) {
      record = std::move(found->second);
      echoes_.erase(found);
    }
  }
  if (record == nullptr) {
    log_.Warn() << "Event is not echoing, ignore[eventName=" << eventName << "]";
    return;
  }
  log_.Info() << "Stopping echo event '" << eventName << "'...";
  record->isRunning.store(false);
  record->subscribers.clear();
  log_.Info() << "Event '" << eventName << "' stopped echoing";
}

std::string QorEventEcho::WhyNotDescribed(const std::string& eventName) const {
  const std::lock_guard lock(mutex_);
  const auto found = echoes_.find(eventName);
  return found == echoes_.end() || found->second->renderer->IsDescribed() ? "" : found->second->renderer->Fault();
}

std::uint64_t QorEventEcho::GetLostCount(const std::string& eventName) const {
  const std::lock_guard lock(mutex_);
  std::uint64_t count = 0;
  if (const auto found = echoes_.find(eventName); found != echoes_.end()) {
    for (const com::Subscriber& subscriber : found->second->subscribers) {
      count += subscriber.GetLostCount();
    }
  }
  return count;
}

/// What names the event in full: with its instance, when it has one.
std::string QorEventEcho::HandleEventName(const EventInfoWithPubSub& record) {
  std::string instance = record.instanceShortName;
  for (const auto& [driver, binding] : record.bindings) {
    if (instance.empty() && driver == DriverType::kSomeip) {
      instance = binding.someip.instanceShortName;
    }
  }
  return instance.empty() ? record.eventName : record.eventName + "[" + instance + "]";
}

}  // namespace qor::qorevent
