// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/service_finder.h"

#include <utility>

namespace qor::someip::sd {
namespace {

Entry FindEntry(const ServiceFilter& filter, std::uint32_t ttl) {
  Entry entry;
  entry.type = EntryType::kFindService;
  entry.service = filter.service;
  entry.instance = filter.instance;
  entry.major = filter.major;
  entry.minor = filter.minor;
  entry.ttl = ttl;
  return entry;
}

}  // namespace

void ServiceFinder::Require(const ServiceFilter& filter, TimePoint now) {
  if (required_.try_emplace(filter).second) {
    StartPhases(filter, now);
  }
}

void ServiceFinder::Release(const ServiceFilter& filter) {
  required_.erase(filter);
  due_.Remove(filter);
}

void ServiceFinder::Clear() {
  required_.clear();
  due_.Clear();
}

void ServiceFinder::Restart(TimePoint now) {
  for (const auto& [filter, phases] : required_) {
    StartPhases(filter, now);
  }
}

void ServiceFinder::StartPhases(const ServiceFilter& filter, TimePoint now) {
  required_[filter] = {};
  if (!initialEnd_ || *initialEnd_ < now + timing_.initialDelayMin) {
    initialEnd_ = now + RandomDelay(random_, timing_.initialDelayMin, timing_.initialDelayMax);
  }
  due_.Set(filter, *initialEnd_);
}

void ServiceFinder::OnLost(const RemoteService& service, TimePoint now) {
  for (const auto& [filter, phases] : required_) {
    if (filter.Matches(service.key, service.minor) && !services_.HasOffered(filter)) {
      StartPhases(filter, now);
    }
  }
}

void ServiceFinder::OnTime(TimePoint now) {
  while (const auto filter = due_.TakeDue(now)) {
    if (services_.HasOffered(*filter)) {
      continue;
    }
    outbox_.AddMulticast(FindEntry(*filter, timing_.offerTtl));
    if (const auto pause = required_[*filter].OnSent(timing_)) {
      due_.Set(*filter, now + *pause);
    }
  }
}

}  // namespace qor::someip::sd
