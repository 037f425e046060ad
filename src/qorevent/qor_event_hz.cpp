// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/qor_event_hz.h"

#include <algorithm>
#include <utility>

#include "src/common/checks.h"
#include "src/common/qor_common.h"
#include "src/common/tools_common_client_manager.h"
#include "src/qorevent/event_records.h"

namespace qor::qorevent {
namespace {

constexpr char kNodePath[] = "/qorevent/hz/";

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using Clock = std::chrono::steady_clock;

std::size_t SizeOf(const com::RecvBuffer& sample) {
  std::size_t size = sample.payload.size();
  if (!sample.mbufs.empty()) {
    size = sample.privateData.size();
    for (const OutMbufData& buffer : sample.mbufs) {
      size += buffer.size;
    }
  }
  return size;
}

/// Every option that is wrong has its line.
bool CheckTheHzOptions(const HzOptions& options) {
  const QorLog log("QorEventHz");
  bool isOk = true;
  const auto check = [&](bool isRight, const char* option) {
    if (!isRight) {
      log.Error() << "QorEventHz " << option << " is error!";
      isOk = false;
    }
  };
  check(common::CheckDomainID(options.filter.domainId), "domainId");
  check(common::CheckUuid(options.filter.uuid), "uuid");
  check(options.filter.networkIp.empty() || common::CheckIP(options.filter.networkIp), "networkIp");
  check(options.ddsNetwork.empty() || common::CheckIP(options.ddsNetwork), "ddsNetwork");
  check(options.someipNetwork.empty() || common::CheckSOMEIPNet(options.someipNetwork), "someipNetwork");
  return isOk;
}

}  // namespace

QorEventHz::~QorEventHz() { QorEventHzStop(); }

bool QorEventHz::Init(const std::vector<std::string>& names, std::uint32_t windowSize, const HzOptions& options,
                      ResultCallback resultCallback) {
  if (!InitCommon(names, options)) {
    return false;
  }
  for (const auto& slot : slots_) {
    slot->counter = EventRateCounter(windowSize);
  }
  resultCallback_ = std::move(resultCallback);
  mode_ = Mode::kRate;
  return true;
}

bool QorEventHz::Init(const std::vector<std::string>& names, const HzOptions& options,
                      MessageCallback messageCallback) {
  if (messageCallback == nullptr) {
    log_.Error() << "Message callback is nullptr.";
    return false;
  }
  if (!InitCommon(names, options)) {
    return false;
  }
  messageCallback_ = std::move(messageCallback);
  mode_ = Mode::kMessage;
  return true;
}

bool QorEventHz::InitCommon(const std::vector<std::string>& names, const HzOptions& options) {
  if (node_ != nullptr) {
    log_.Warn() << "QorEventHz is already inited!";
    return false;
  }
  if (names.empty() || names.size() > kMaxEvents) {
    log_.Error() << "[The number of the input events should not be 0 or more than 5000]";
    return false;
  }
  if (!CheckTheHzOptions(options) || !MakeSlots(names)) {
    return false;
  }
  auto node = QorCommon::GetInstance().InitializeNode(kNodePath, "");
  if (node == nullptr) {
    log_.Error() << "Roslike NodeHandle failed";
    return false;
  }
  const auto manager = qortools::common::ToolsCommonClientManager::GetInstance();
  manager->FindMaintaindService();
  if (manager->GetProxyListSize() == 0) {
    log_.Error() << "Find service fail.";
    return false;
  }
  options_ = options;
  subscriber_ = std::make_unique<EventSubscriber>(
      *node, Helper::RegisterOptions{kNodePath, options.ddsNetwork, options.someipNetwork}, "QorEventHz");
  node_ = std::move(node);
  return true;
}

bool QorEventHz::MakeSlots(const std::vector<std::string>& names) {
  slots_.clear();
  slotsByName_.clear();
  for (const std::string& name : names) {
    auto slot = std::make_unique<EventSlot>(EventSlot{name, {}, {}, EventRateCounter(0), {}, {}, {}});
    if (!QorCommon::GetInstance().GetNameAndUuid(name, slot->pureName, slot->uuid)) {
      return false;
    }
    if (slotsByName_.emplace(name, slot.get()).second) {
      slots_.push_back(std::move(slot));
    }
  }
  return true;
}

bool QorEventHz::QorEventHzStart() {
  if (!hasQueried_ || !IsAllEventsQueried()) {
    QueryEvent();
  }
  for (const auto& slot : slots_) {
    SubscribeEvent(slot->name);
  }
  if (subscriptions_.IsEmpty()) {
    log_.Error() << "All event create sub failed!";
    return false;
  }
  isRunning_.store(true);
  return true;
}

bool QorEventHz::QueryEvent() {
  const auto proxies = qortools::common::ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  std::vector<EventInfoWithPubSub> merged;
  common::Answers answers;
  QorCommon::GetInstance().QueryAllRecords(proxies, merged, &answers);
  hasQueried_ = true;
  anyAnswered_ = answers.IsAny();
  missing_ = answers.missing;
  for (const auto& slot : slots_) {
    if (slot->records.empty()) {
      QuerySlot(*slot, merged);
    }
  }
  return answers.IsAll();
}

void QorEventHz::QuerySlot(EventSlot& slot, const std::vector<EventInfoWithPubSub>& merged) {
  CommonFilter filter = options_.filter;
  if (!slot.uuid.empty()) {
    filter.uuid = slot.uuid;
  }
  for (EventInfoWithPubSub& record : SelectRecords(merged, slot.pureName, filter)) {
    if (!IsRepeatedEvent(record, slot)) {
      slot.records.push_back(std::move(record));
    }
  }
  log_.Info() << "[QorEventHz specified event][eventName=" << slot.name << ", eventInfoSize=" << slot.records.size()
              << "]";
}

bool QorEventHz::IsRepeatedEvent(const EventInfoWithPubSub& record, const EventSlot& slot) const {
  const bool isRepeated = IsRepeated(record, slot.records);
  if (isRepeated && record.bindings.count(DriverType::kDds) != 0) {
    log_.Info() << "[The same DDS event][eventName=" << slot.name << "]";
  } else if (isRepeated) {
    log_.Info() << "[The same SOMEIP event][eventName=" << slot.name << "]";
  }
  return isRepeated;
}

bool QorEventHz::IsQueried(const std::string& name) const {
  const EventSlot* slot = FindSlot(name);
  return slot != nullptr && !slot->records.empty();
}

bool QorEventHz::IsAllEventsQueried() const {
  return std::all_of(slots_.begin(), slots_.end(), [](const auto& slot) { return !slot->records.empty(); });
}

bool QorEventHz::IsAmbiguous(const std::string& name) const {
  return IsQueried(name) && !IsOneEvent(FindSlot(name)->records);
}

void QorEventHz::SubscribeLateEvents() {
  if (!IsAllEventsQueried()) {
    QueryEvent();
  }
  for (const auto& slot : slots_) {
    if (ShouldSubscribe(slot->name)) {
      SubscribeEvent(slot->name);
    }
  }
}

bool QorEventHz::ShouldSubscribe(const std::string& name) const {
  const EventSlot* slot = FindSlot(name);
  return slot != nullptr && IsOneEvent(slot->records) && !IsSubscribed(name) && !IsSubCreateFailed(name) &&
         !subscriptions_.IsGivenUp(name);
}

bool QorEventHz::SubscribeEvent(const std::string& name) {
  if (IsSubscribed(name)) {
    log_.Warn() << "Event is Subscribed already!";
    return false;
  }
  EventSlot* slot = FindSlot(name);
  if (slot == nullptr || !IsOneEvent(slot->records)) {
    log_.Warn() << "Unknown event or mergerd size is incorrect.";
    return false;
  }
  const EventSubscriber::Handler handler = [this, slot](DriverType driver, const com::RecvBuffer& sample) {
    OnReceived(*slot, driver, sample);
  };
  return DealWithSubscribedEvent(name, subscriber_->DoSubscribe(name, slot->records, handler));
}

bool QorEventHz::DealWithSubscribedEvent(const std::string& name, std::vector<com::Subscriber> subscribers) {
  if (subscribers.empty()) {
    subscriptions_.SetFailed(name);
    return false;
  }
  subscriptions_.Add(name, std::move(subscribers));
  return true;
}

void QorEventHz::UnSubscribe(const std::string& name) { subscriptions_.Remove(name); }

void QorEventHz::ReceivedMessageCallback(const std::string& name) {
  EventSlot* slot = FindSlot(name);
  if (slot == nullptr) {
    return;
  }
  if (mode_ == Mode::kMessage) {
    PassOn(*slot);
    return;
  }
  const std::lock_guard lock(mutex_);
  slot->counter.Add(Clock::now(), 0);
}

void QorEventHz::OnReceived(EventSlot& slot, DriverType driver, const com::RecvBuffer& sample) {
  std::unique_lock lock(mutex_);
  const auto now = Clock::now();
  if (!slot.binding.IsCounted(driver, now)) {
    return;
  }
  if (mode_ == Mode::kMessage) {
    lock.unlock();
    PassOn(slot);
    return;
  }
  const std::chrono::nanoseconds sentAt(sample.sourceTimestampNs);
  if (!slot.backlog.IsBacklog(sentAt, std::chrono::system_clock::now().time_since_epoch())) {
    slot.counter.Add(now, SizeOf(sample));
  }
}

void QorEventHz::PassOn(const EventSlot& slot) const {
  messageCallback_(slot.name);
  log_.Debug() << "[ReceivedMessageCallback][eventName=" << slot.name << ", pureName=" << slot.pureName
               << ", uuid=" << slot.uuid << "]";
}

EventHzList QorEventHz::QorEventGetHz() {
  EventHzList list;
  list.reserve(slots_.size());
  for (const auto& slot : slots_) {
    const std::lock_guard lock(mutex_);  // for one event at a time, so that the receive threads do not wait long
    list.emplace_back(slot->name, slot->counter.Report(Clock::now()));
  }
  return list;
}

void QorEventHz::QorEventPrintHz() {
  const EventHzList list = QorEventGetHz();
  if (resultCallback_ == nullptr) {
    log_.Error() << "Hz callback is nullptr.";
    return;
  }
  const bool isMeasuring =
      std::any_of(list.begin(), list.end(), [](const auto& entry) { return entry.second.windowSize > 0; });
  resultCallback_(list, isMeasuring ? QoreventHzType::kMeasuring : QoreventHzType::kWaiting);
}

EventHzTotalsList QorEventHz::QorEventGetTotals() {
  EventHzTotalsList list;
  list.reserve(slots_.size());
  for (const auto& slot : slots_) {
    std::unique_lock lock(mutex_);
    EventHzTotals totals = slot->counter.Totals();
    lock.unlock();
    totals.lostCount = subscriptions_.LostCount(slot->name);
    totals.isSubscribed = IsSubscribed(slot->name);
    list.emplace_back(slot->name, totals);
  }
  return list;
}

std::uint64_t QorEventHz::QorEventSampleCount() {
  std::uint64_t count = 0;
  const std::lock_guard lock(mutex_);
  for (const auto& slot : slots_) {
    count += slot->counter.SampleCount();
  }
  return count;
}

QorEventHz::EventSlot* QorEventHz::FindSlot(const std::string& name) const {
  const auto found = slotsByName_.find(name);
  return found == slotsByName_.end() ? nullptr : found->second;
}

}  // namespace qor::qorevent
