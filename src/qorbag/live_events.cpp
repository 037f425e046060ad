// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/live_events.h"

#include <algorithm>

#include "src/common/qor_common.h"
#include "src/qorbag/player_log.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using maintaind::EventInfo;

const maintaind::E2EConfigInfo& QuerySomeipE2EConfigInfo(const EventInfo& binding) { return binding.someip.e2e; }
const maintaind::E2EConfigInfo& QueryDDSE2EConfigInfo(const EventInfo& binding) { return binding.dds.e2e; }

}  // namespace

LiveEvents LiveEvents::Query() {
  constexpr int kTries = 5;
  const auto manager = qortools::common::ToolsCommonClientManager::GetInstance();
  manager->FindMaintaindService();
  const auto proxies = manager->GetCurrentProxyList();
  if (proxies.empty()) {
    kPlayerLog.Info() << "Disconnect To Maintaind.";
    return {};
  }
  std::vector<maintaind::EventInfoWithPubSub> records;
  common::Answers answers;
  for (int i = 0; i < kTries && !answers.IsAll(); ++i) {
    records.clear();
    static_cast<void>(QorCommon::GetInstance().QueryAllRecords(proxies, records, &answers));
  }
  if (!answers.IsAll()) {
    kPlayerLog.Warn() << "Get result from Maintaind failed.";
  }
  kPlayerLog.Info() << "EventInfoWithPubSub list size is " << records.size();
  if (records.empty()) {
    kPlayerLog.Info() << "EventInfoWithPubSub list size is zero.";
  }
  LiveEvents live(std::move(records));
  live.hasDaemon_ = true;
  live.isWhole_ = answers.IsAll();
  return live;
}

template <class Predicate>
const EventInfo* LiveEvents::Find(const PlayedEvent& event, Predicate isWanted) const {
  const PlayedEventIndex index = event.Index();
  for (const maintaind::EventInfoWithPubSub& record : records_) {
    const auto binding = record.bindings.find(event.Driver());
    if (binding != record.bindings.end() && isWanted(record, binding->second) &&
        index == IndexOf(event.Driver(), binding->second)) {
      return &binding->second;
    }
  }
  return nullptr;
}

bool LiveEvents::IsOffered(const PlayedEvent& event) const {
  kPlayerLog.Verbose() << (event.Driver() == DriverType::kDds ? "The target event is DDS."
                                                              : "The target event is SOMEIP.");
  return Find(event, [](const auto& record, const EventInfo& /*binding*/) { return record.isPublisherOnline; }) !=
         nullptr;
}

void LiveEvents::QueryE2EConfigInfoForAll(std::vector<PlayedEvent>& events) const {
  for (PlayedEvent& event : events) {
    const bool isDds = event.Driver() == DriverType::kDds;
    const auto query = isDds ? &QueryDDSE2EConfigInfo : &QuerySomeipE2EConfigInfo;
    const EventInfo* live =
        Find(event, [query](const auto& /*record*/, const EventInfo& binding) { return query(binding).isProtected; });
    if (live != nullptr) {
      (isDds ? event.Binding().dds.e2e : event.Binding().someip.e2e) = query(*live);
    }
  }
}

std::set<std::uint16_t> LiveEvents::UsedPorts() const {
  std::set<std::uint16_t> ports;
  for (const maintaind::EventInfoWithPubSub& record : records_) {
    const auto binding = record.bindings.find(DriverType::kSomeip);
    const bool isSomeip = binding != record.bindings.end();
    if (record.isPublisherOnline && isSomeip && binding->second.someip.offeringHost.empty()) {
      ports.insert({binding->second.someip.udpPort, binding->second.someip.tcpPort});
    }
  }
  ports.erase(0);
  return ports;
}

}  // namespace qor::qorbag
