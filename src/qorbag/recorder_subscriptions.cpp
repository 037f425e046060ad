// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorder_subscriptions.h"

#include <algorithm>
#include <utility>

#include "platform/log/qor_log.h"
#include "src/common/name_pattern.h"
#include "src/common/qor_common.h"
#include "src/common/tools_common_client_manager.h"
#include "src/datatype/definition_query.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorRecorder");
constexpr char kNodePath[] = "/qorbag/record/";
constexpr std::uint64_t kRetryEvery = 10;  // passes, for what may never succeed

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using qortools::common::ToolsCommonClientManager;

/// Whether both bindings are one and the same but for the network: what a subscriber's daemon knows of an event that
/// nobody publishes may name another.
bool IsSameTopic(const EventInfoWithPubSub& one, const EventInfoWithPubSub& other) {
  const auto& [driver, binding] = *one.bindings.begin();
  const auto& [otherDriver, otherBinding] = *other.bindings.begin();
  if (driver != otherDriver) {
    return false;
  }
  if (driver == DriverType::kDds) {
    return binding.dds.domainId == otherBinding.dds.domainId && binding.dds.topicName == otherBinding.dds.topicName;
  }
  return binding.someip.serviceId == otherBinding.someip.serviceId &&
         binding.someip.instanceId == otherBinding.someip.instanceId &&
         binding.someip.eventId == otherBinding.someip.eventId;
}

bool IsSameEvent(const EventInfoWithPubSub& one, const EventInfoWithPubSub& other) {
  bool isSame = false;
  QorCommon::GetInstance().CompareEventInfo(isSame, one, other.bindings);
  return isSame;
}

/// Of the wire; those of the payload stay as the bag describes them.
bool HasSameSettings(const EventInfoWithPubSub& one, const EventInfoWithPubSub& other) {
  const maintaind::DDSEventInfo& dds = one.bindings.begin()->second.dds;
  const maintaind::DDSEventInfo& otherDds = other.bindings.begin()->second.dds;
  return dds.qos == otherDds.qos && dds.transports == otherDds.transports && dds.partition == otherDds.partition;
}

/// Whether the event is published, and nowhere with the settings that are known.
bool IsPublishedOtherwise(const EventInfoWithPubSub& known, const EventSelection::Records& records) {
  bool isPublished = false;
  for (const EventInfoWithPubSub& record : records) {
    if (record.isPublisherOnline && IsSameEvent(known, record)) {
      isPublished = true;
      if (HasSameSettings(known, record)) {
        return false;
      }
    }
  }
  return isPublished;
}

void LogSubscribing(const EventInfoWithPubSub& record) {
  if (record.bindings.begin()->first == DriverType::kDds) {
    kLog.Info() << "Do subscribe event.[eventName=" << record.eventName << ", driverType=DDS]";
  } else {
    kLog.Info() << "Do subscribe event.[eventName=" << record.eventName << ", driverType=SOMEIP]";
  }
}

}  // namespace

com::Subscriber RecorderSubscriptions::Subscription::End() {
  lostBefore += subscriber.GetLostCount();
  return std::exchange(subscriber, com::Subscriber());
}

RecorderSubscriptions::RecorderSubscriptions(const RecorderOptions& options, const RecordingFiles::Report& report,
                                             Receive receive)
    : options_(options), report_(report), receive_(std::move(receive)), selection_(options) {
  for (const std::string& text : options.events) {
    std::string name;
    std::string instance;
    if (QorCommon::GetInstance().GetSubEventName(text, name, instance) && !common::MatchesAny(options.excluded, name)) {
      QuotaOf(name);
    }
  }
}

bool RecorderSubscriptions::Init() {
  ToolsCommonClientManager::GetInstance()->FindMaintaindService();
  node_ = QorCommon::GetInstance().InitializeNode(kNodePath, "");
  if (node_ == nullptr) {
    kLog.Warn() << "Roslike init failed.";
    return false;
  }
  subscriber_ = std::make_unique<qorevent::EventSubscriber>(
      *node_, Helper::RegisterOptions{kNodePath, options_.ddsNetwork, options_.someipNetwork}, "QorRecorder");
  return true;
}

bool RecorderSubscriptions::Subscribe(const std::function<bool()>& isWanted) {
  if (++passCount_ % kRetryEvery == 0) {
    failed_.clear();
  }
  const EventSelection::Records records = GetEventList();
  EndOutdated(records);
  for (const EventInfoWithPubSub& record : records) {
    QuotaOf(record.eventName);  // all of them before the first message: the last quota to be used up ends it all
  }
  std::optional<Definitions> definitions;  // before the first sample: there may be no other
  for (const EventInfoWithPubSub& record : records) {
    if (!isWanted()) {
      return true;
    }
    if (!ShouldSubscribe(record)) {
      continue;
    }
    if (!definitions.has_value()) {
      definitions = AskForDefinitions();
    }
    if (!SubscribeEvent(record, *definitions)) {
      failed_.push_back(record);
    }
  }
  InsertMsgDefs();
  const std::lock_guard lock(mutex_);
  if (!subscriptions_.empty() || failed_.empty()) {
    return true;
  }
  const auto hasFailed = [this](DriverType driver) {
    return std::ranges::any_of(failed_, [&](const auto& record) { return record.bindings.contains(driver); });
  };
  if (hasFailed(DriverType::kDds) && hasFailed(DriverType::kSomeip)) {
    kLog.Error() << "DDS and SOMEIP record all failed! Stop.";
  } else {
    kLog.Error() << "All event record failed! Stop.";
  }
  report_(RecorderType::kNothingSubscribed, "");
  return false;
}

EventSelection::Records RecorderSubscriptions::GetEventList() {
  constexpr std::uint32_t kLogIntervalMs = 10000;  // a daemon may be gone for long
  EventSelection::Records merged;
  common::Answers answers;
  const auto proxies = ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  if (QorCommon::GetInstance().QueryAllRecords(proxies, merged, &answers) != 0) {
    kLog.Error("QorRecorder_busy", kLogIntervalMs) << "Query ERROR: System is busy, please try again later.";
  }
  if (proxies.empty()) {
    kLog.Warn("QorRecorder_disconnected", kLogIntervalMs)
        << "Disconnect to Maintaind in QorRecorder::SubscribeEvent().";
  } else if (!answers.IsAll()) {
    kLog.Warn("QorRecorder_failed", kLogIntervalMs)
        << "Get result from Maintaind failed in QorRecorder::SubscribeEvent().";
  }
  if (answers.IsAll()) {
    WarnOfUnknown(merged);
  }
  return selection_.Select(merged);
}

void RecorderSubscriptions::WarnOfUnknown(const EventSelection::Records& merged) {
  for (const std::string& name : selection_.UnknownNames(merged)) {
    if (!IsSubscribed(name) && warned_.insert(name).second) {
      kLog.Warn() << "Unknown event or mergerd size is incorrect.[eventName=" << name << "]";
      report_(RecorderType::kUnknownEvent, name);
    }
  }
}

/// A daemon that was restarted may not know it yet.
bool RecorderSubscriptions::IsSubscribed(const std::string& text) const {
  std::string name;
  std::string instance;
  static_cast<void>(QorCommon::GetInstance().GetSubEventName(text, name, instance));
  const std::lock_guard lock(mutex_);
  return subscriptions_.contains(name);
}

bool RecorderSubscriptions::ShouldSubscribe(const EventInfoWithPubSub& record) {
  const bool hasFailed = std::ranges::any_of(failed_, [&](const auto& one) { return IsSameEvent(one, record); });
  return !hasFailed && !IsRepeatedEvent(record) && !QuotaOf(record.eventName)->IsExhausted();
}

bool RecorderSubscriptions::IsRepeatedEvent(const EventInfoWithPubSub& record) const {
  const std::lock_guard lock(mutex_);
  const auto [first, last] = subscriptions_.equal_range(record.eventName);
  const auto known = std::find_if(first, last, [&](const auto& one) {
    const bool isReplaced = !one.second.subscriber && !record.publisher.empty();
    return !isReplaced && IsSameEvent(one.second.event->Record(), record);
  });
  if (known == last) {
    return false;
  }
  if (known->second.pass != passCount_) {
    kLog.Verbose() << "Event is Subscribed already!";
  } else if (known->second.event->Driver() == DriverType::kDds) {
    kLog.Info() << "The same DDS event: " << record.eventName;
  } else {
    kLog.Info() << "The same SOMEIP event: " << record.eventName;
  }
  return true;
}

bool RecorderSubscriptions::SubscribeEvent(const EventInfoWithPubSub& record, const Definitions& definitions) {
  ReplaceIfUnpublished(record);
  const std::string name = record.eventName;
  if (options_.all) {
    kLog.Info() << "[Qorbag record event][eventName=" << name << "]";
  } else {
    kLog.Info() << "[Qorbag record specified event][eventName=" << name << "]";
  }
  kLog.Verbose() << "Get event info from maintaind.[eventName=" << name << "]";
  report_(RecorderType::kSubscribing, name);
  LogSubscribing(record);
  auto event = std::make_unique<RecordedEvent>(record, QuotaOf(name));
  if (definitions.has_value()) {
    InsertMsgDef(*event, *definitions);
  }
  auto subscribers = subscriber_->DoSubscribe(
      name, {record},
      [this, &recorded = *event](DriverType, const com::RecvBuffer& sample) { receive_(recorded, sample); });
  if (subscribers.empty()) {
    if (reported_.insert({name, event->Driver()}).second) {
      report_(event->Driver() == DriverType::kDds ? RecorderType::kDdsFailed : RecorderType::kSomeipFailed, name);
    }
    return false;
  }
  const std::lock_guard lock(mutex_);
  subscriptions_.emplace(name, Subscription{passCount_, std::move(event), std::move(subscribers.front())});
  return true;
}

/// Those of DDS whose publisher is back with other settings, which they may not match.
void RecorderSubscriptions::EndOutdated(const EventSelection::Records& records) {
  std::vector<com::Subscriber> ended;  // as below
  const std::lock_guard lock(mutex_);
  for (auto& [name, subscription] : subscriptions_) {
    if (subscription.subscriber && subscription.event->Driver() == DriverType::kDds &&
        subscription.subscriber.GetPublisherCount() == 0 &&
        IsPublishedOtherwise(subscription.event->Record(), records)) {
      ended.push_back(subscription.End());
    }
  }
}

/// What was subscribed by what its subscribers said gives way to what its publisher says.
void RecorderSubscriptions::ReplaceIfUnpublished(const EventInfoWithPubSub& record) {
  std::vector<com::Subscriber> ended;  // without the lock: it waits for the receive threads
  const std::lock_guard lock(mutex_);
  const auto [first, last] = subscriptions_.equal_range(record.eventName);
  for (auto one = first; one != last; ++one) {
    const EventInfoWithPubSub& known = one->second.event->Record();
    if (known.publisher.empty() && !record.publisher.empty() && IsSameTopic(known, record)) {
      ended.push_back(one->second.End());
    }
  }
}

RecorderSubscriptions::Definitions RecorderSubscriptions::AskForDefinitions() {
  datatype::DefinitionTexts definitions;
  return datatype::QueryAllDefinitions(definitions) ? Definitions(std::move(definitions)) : std::nullopt;
}

/// Of the events whose data type was not known when they were subscribed.
void RecorderSubscriptions::InsertMsgDefs() {
  const bool isRetry = passCount_ % kRetryEvery == 0;
  std::vector<RecordedEvent*> undefined;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [name, subscription] : subscriptions_) {
      if (!subscription.event->IsDefined() && (isRetry || !undefined_.contains(name))) {
        undefined.push_back(subscription.event.get());
      }
    }
  }
  const Definitions definitions = undefined.empty() ? std::nullopt : AskForDefinitions();
  if (!definitions.has_value()) {
    return;
  }
  for (RecordedEvent* const event : undefined) {
    InsertMsgDef(*event, *definitions);
  }
}

void RecorderSubscriptions::InsertMsgDef(RecordedEvent& event, const datatype::DefinitionTexts& definitions) {
  if (event.Define(definitions)) {
    kLog.Info() << "Insert msg def of \"" << event.eventName << "\"";
  } else if (undefined_.insert(event.eventName).second) {
    kLog.Warn() << "Recorder get \"" << event.eventName << "\" failed, don't find msg from maintaind so far.";
  }
}

void RecorderSubscriptions::UnSubscribe(const std::string& name) {
  std::vector<com::Subscriber> ended;  // without the lock: it waits for the receive threads, which may ask for quotas
  {
    const std::lock_guard lock(mutex_);
    const auto [first, last] = subscriptions_.equal_range(name);
    for (auto one = first; one != last; ++one) {
      ended.push_back(one->second.End());
    }
  }
}

void RecorderSubscriptions::UnSubscribeAll() {
  std::vector<com::Subscriber> ended;
  {
    const std::lock_guard lock(mutex_);
    for (auto& [name, subscription] : subscriptions_) {
      if (subscription.subscriber) {
        ended.push_back(subscription.End());
      }
    }
  }
  if (!ended.empty()) {
    kLog.Info() << "Unsubscribing all events...";
  }
}

void RecorderSubscriptions::Shutdown() {
  UnSubscribeAll();
  if (node_ != nullptr) {
    node_->Shutdown();
  }
}

bool RecorderSubscriptions::IsEveryQuotaExhausted() const {
  const std::lock_guard lock(mutex_);
  return std::ranges::all_of(quotas_, [](const auto& quota) { return quota.second->IsExhausted(); });
}

void RecorderSubscriptions::VisitEvents(const Visit& visit) const {
  const std::lock_guard lock(mutex_);
  for (const auto& [name, subscription] : subscriptions_) {
    visit(*subscription.event, subscription.lostBefore + subscription.subscriber.GetLostCount());
  }
}

std::shared_ptr<EventQuota> RecorderSubscriptions::QuotaOf(const std::string& name) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<EventQuota>& quota = quotas_[name];
  if (quota == nullptr) {
    quota = std::make_shared<EventQuota>(options_.skipFrame, options_.limit);
  }
  return quota;
}

}  // namespace qor::qorbag
