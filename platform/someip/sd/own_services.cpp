// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/own_services.h"

#include "platform/someip/sd/entry_endpoints.h"

namespace qor::someip::sd {
namespace {

Entry OfferEntry(const OfferedService& service, std::uint32_t ttl) {
  Entry entry;
  entry.type = EntryType::kOfferService;
  entry.service = service.key.service;
  entry.instance = service.key.instance;
  entry.major = service.key.major;
  entry.minor = service.minor;
  entry.ttl = ttl;
  entry.options = OptionsFor(service.endpoints);
  if (!service.configuration.empty()) {
    entry.options.emplace_back(ConfigurationOption{service.configuration});
  }
  return entry;
}

}  // namespace

void OwnServices::Offer(const OfferedService& service, TimePoint now) {
  const auto [place, isNew] = services_.try_emplace(service.key);
  Own& own = place->second;
  own.service = service;
  if (isNew) {
    StartPhases(service.key, own, now);
  } else if (own.isAnnounced) {
    cyclic_.erase(service.key);
    own.phases = {};
    phaseEnds_.Set(service.key, now);
  }
}

bool OwnServices::StopOffer(const ServiceKey& key) {
  const auto found = services_.find(key);
  if (found == services_.end()) {
    return false;
  }
  if (found->second.isAnnounced) {
    outbox_.AddMulticast(OfferEntry(found->second.service, 0));
  }
  services_.erase(found);
  phaseEnds_.Remove(key);
  cyclic_.erase(key);
  return true;
}

void OwnServices::Restart(TimePoint now) {
  cyclic_.clear();
  nextCycle_.reset();
  for (auto& [key, own] : services_) {
    StartPhases(key, own, now);
  }
}

/// A service that begins while others wait their initial delay joins them, so that one message announces all.
void OwnServices::StartPhases(const ServiceKey& key, Own& own, TimePoint now) {
  own.phases = {};
  if (!initialEnd_ || *initialEnd_ < now + timing_.initialDelayMin) {
    initialEnd_ = now + RandomDelay(random_, timing_.initialDelayMin, timing_.initialDelayMax);
  }
  phaseEnds_.Set(key, *initialEnd_);
}

const OfferedService* OwnServices::Find(const ServiceKey& key) const {
  const auto found = services_.find(key);
  return found == services_.end() ? nullptr : &found->second.service;
}

bool OwnServices::HasInstance(std::uint16_t service, std::uint16_t instance) const {
  const auto found = services_.lower_bound({service, instance, 0});
  return found != services_.end() && found->first.service == service && found->first.instance == instance;
}

std::vector<ServiceKey> OwnServices::Keys() const {
  std::vector<ServiceKey> keys;
  keys.reserve(services_.size());
  for (const auto& [key, own] : services_) {
    keys.push_back(key);
  }
  return keys;
}

void OwnServices::OnFind(Ipv4Address sender, bool isMulticast, const std::set<ServiceFilter>& filters, TimePoint now) {
  if (!answers_.Has(sender) && answers_.HostCount() >= maxPendingAnswers_) {
    return;
  }
  // Who asked by multicast has asked everybody.
  const TimePoint due =
      isMulticast ? now + RandomDelay(random_, timing_.responseDelayMin, timing_.responseDelayMax) : now;
  for (const ServiceFilter& filter : filters) {
    const ServiceKey first{filter.service, filter.instance == kAnyInstance ? std::uint16_t{0} : filter.instance, 0};
    for (auto at = services_.lower_bound(first); at != services_.end() && at->first.service == filter.service; ++at) {
      if (at->second.isAnnounced && filter.Matches(at->first, at->second.service.minor)) {
        answers_.Add(sender, at->first, due);
      } else if (filter.instance != kAnyInstance && at->first.instance != filter.instance) {
        break;
      }
    }
  }
}

std::optional<TimePoint> OwnServices::Next() const {
  return Earlier(Earlier(phaseEnds_.Next(), nextCycle_), answers_.Next());
}

void OwnServices::OnTime(TimePoint now) {
  AnnounceCycle(now);  // first, so that a service whose repetitions end now is not announced twice
  while (const auto key = phaseEnds_.TakeDue(now)) {
    Announce(*key, now);
  }
  AnswerFinds(now);
}

void OwnServices::Announce(const ServiceKey& key, TimePoint now) {
  Own& own = services_.at(key);
  outbox_.AddMulticast(OfferEntry(own.service, timing_.offerTtl));
  own.isAnnounced = true;
  if (const auto pause = own.phases.OnSent(timing_)) {
    phaseEnds_.Set(key, now + *pause);
  } else if (timing_.cyclicOfferPeriod.count() > 0) {
    cyclic_.insert(key);
    if (!nextCycle_) {
      nextCycle_ = now + timing_.cyclicOfferPeriod;
    }
  }
}

void OwnServices::AnnounceCycle(TimePoint now) {
  if (!nextCycle_ || *nextCycle_ > now) {
    return;
  }
  nextCycle_.reset();
  for (const ServiceKey& key : cyclic_) {
    outbox_.AddMulticast(OfferEntry(services_.at(key).service, timing_.offerTtl));
    nextCycle_ = now + timing_.cyclicOfferPeriod;
  }
}

void OwnServices::AnswerFinds(TimePoint now) {
  while (const auto batch = answers_.TakeDue(now)) {
    for (const ServiceKey& key : batch->second) {
      if (const OfferedService* service = Find(key)) {
        outbox_.AddUnicast(batch->first, OfferEntry(*service, timing_.offerTtl));
      }
    }
  }
}

}  // namespace qor::someip::sd
