// SPDX-License-Identifier: Apache-2.0
#include "src/common/foreign_reports.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

#include "src/common/records/foreign_node.h"

namespace qor::common {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;

/// What is published by whom. The network is left out: daemons see one publisher from several networks.
std::string IdentityOf(const EventInfoWithPubSub& event) {
  std::string identity = event.publisher + '\n' + event.eventName;
  const auto add = [&identity](const auto& part) { (identity += '\n') += part; };
  for (const auto& [driver, binding] : event.bindings) {
    if (driver == DriverType::kDds) {
      add(std::to_string(binding.dds.domainId));
      add(binding.dds.topicName);
    } else {
      add(std::to_string(binding.someip.serviceId));
      add(std::to_string(binding.someip.instanceId));
      add(std::to_string(binding.someip.majorVersion));
      add(std::to_string(binding.someip.eventId));
    }
  }
  return identity;
}

void TakeIn(EventInfoWithPubSub& kept, EventInfoWithPubSub&& other) {
  if (other.isPublisherOnline && !kept.isPublisherOnline) {
    std::swap(kept, other);
  }
  for (std::string& name : other.subscribers) {
    if (std::ranges::find(kept.subscribers, name) == kept.subscribers.end()) {
      kept.subscribers.push_back(std::move(name));
    }
  }
}

}  // namespace

void JoinForeignReports(std::vector<EventInfoWithPubSub>& list) {
  std::unordered_map<std::string, std::size_t> places;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (maintaind::IsForeignNode(list[i].publisher)) {
      const auto [known, isNew] = places.emplace(IdentityOf(list[i]), kept);
      if (!isNew) {
        TakeIn(list[known->second], std::move(list[i]));
        continue;
      }
    }
    if (kept != i) {
      list[kept] = std::move(list[i]);
    }
    ++kept;
  }
  list.resize(kept);
}

}  // namespace qor::common
