// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/event_selection.h"

#include <algorithm>
#include <iterator>

#include "src/common/name_pattern.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;

std::string InstanceOf(const EventInfoWithPubSub& record) {
  const auto someip = record.bindings.find(DriverType::kSomeip);
  return record.instanceShortName.empty() && someip != record.bindings.end() ? someip->second.someip.instanceShortName
                                                                             : record.instanceShortName;
}

/// Whether a listed name means the record.
bool Means(const std::string& name, const EventInfoWithPubSub& record) {
  return name == record.eventName || name == record.eventName + "[" + InstanceOf(record) + "]";
}

}  // namespace

bool EventSelection::IsWanted(const EventInfoWithPubSub& record) const {
  const auto isMeant = [&](const std::string& name) { return Means(name, record); };
  return (options_.all || std::ranges::any_of(options_.events, isMeant) ||
          common::MatchesAny(options_.patterns, record.eventName)) &&
         !common::MatchesAny(options_.excluded, record.eventName);
}

bool EventSelection::FilterPreSubscribeEvent(const EventInfoWithPubSub& record) const {
  const auto& [driver, binding] = *record.bindings.begin();
  const bool isDds = driver == DriverType::kDds;
  const std::string& networkIp = isDds ? binding.dds.networkIp : binding.someip.networkIp;
  return (options_.instanceShortName.empty() || InstanceOf(record) == options_.instanceShortName) &&
         (!isDds || options_.domainId == CommonFilter::kAnyDomain || binding.dds.domainId == options_.domainId) &&
         (options_.networkIP.empty() || networkIp == options_.networkIP);
}

EventSelection::Records EventSelection::Select(const Records& merged) const {
  Records selected;
  for (const EventInfoWithPubSub& record : merged) {
    if (!IsWanted(record)) {
      continue;
    }
    for (const auto& binding : record.bindings) {
      EventInfoWithPubSub one = record;
      one.bindings = {binding};
      if (FilterPreSubscribeEvent(one)) {
        selected.push_back(std::move(one));
      }
    }
  }
  return selected;
}

std::vector<std::string> EventSelection::UnknownNames(const Records& merged) const {
  std::vector<std::string> unknown;
  std::ranges::copy_if(options_.events, std::back_inserter(unknown), [&](const std::string& name) {
    return std::ranges::none_of(merged, [&](const EventInfoWithPubSub& record) { return Means(name, record); });
  });
  return unknown;
}

}  // namespace qor::qorbag
