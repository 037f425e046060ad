// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/remote_services.h"

#include <utility>

namespace qor::someip::sd {

RemoteServices::Outcome RemoteServices::OnOffer(const RemoteService& offered, TimePoint now) {
  const auto found = offered_.find(offered.key);
  Outcome outcome = Outcome::kNew;
  if (found == offered_.end()) {
    if (!HasRoom(offered.host)) {
      return Outcome::kTooMany;
    }
    ForgetEnded(offered.key);
    offered_.emplace(offered.key, offered);
    byHost_[offered.host].insert(offered.key);
  } else {
    if (found->second.host != offered.host) {
      return Outcome::kOfAnotherHost;
    }
    outcome = found->second == offered ? Outcome::kRenewed : Outcome::kChanged;
    found->second = offered;
  }
  if (const auto end = EndOfTtl(now, offered.ttl)) {
    expiry_.Set(offered.key, *end);
  } else {
    expiry_.Remove(offered.key);
  }
  return outcome;
}

bool RemoteServices::HasRoom(Ipv4Address host) const {
  const auto ofHost = byHost_.find(host);
  return offered_.size() < limits_.services &&
         (ofHost == byHost_.end() || ofHost->second.size() < limits_.servicesOfHost);
}

std::optional<RemoteService> RemoteServices::OnStopOffer(const ServiceKey& key, Ipv4Address host) {
  const RemoteService* service = FindOffered(key);
  if (service == nullptr || service->host != host) {
    return std::nullopt;
  }
  return End(key, RemoteService::State::kStopped);
}

std::vector<RemoteService> RemoteServices::OnReboot(Ipv4Address host) {
  std::vector<RemoteService> ended;
  const auto ofHost = byHost_.find(host);
  if (ofHost != byHost_.end()) {
    const std::set<ServiceKey> keys = ofHost->second;
    for (const ServiceKey& key : keys) {
      ended.push_back(End(key, RemoteService::State::kRebooted));
    }
  }
  return ended;
}

std::optional<RemoteService> RemoteServices::TakeExpired(TimePoint now) {
  const auto key = expiry_.TakeDue(now);
  return key ? std::optional(End(*key, RemoteService::State::kExpired)) : std::nullopt;
}

RemoteService RemoteServices::End(const ServiceKey& key, RemoteService::State state) {
  RemoteService service = std::move(offered_.extract(key).mapped());
  service.state = state;
  expiry_.Remove(key);
  const auto ofHost = byHost_.find(service.host);
  ofHost->second.erase(key);
  if (ofHost->second.empty()) {
    byHost_.erase(ofHost);
  }
  Remember(service);
  return service;
}

void RemoteServices::Remember(const RemoteService& service) {
  ended_.push_back(service);
  endedByKey_[service.key] = std::prev(ended_.end());
  if (ended_.size() > limits_.endedServices) {
    ForgetEnded(ServiceKey(ended_.front().key));
  }
}

void RemoteServices::ForgetEnded(const ServiceKey& key) {
  const auto found = endedByKey_.find(key);
  if (found != endedByKey_.end()) {
    ended_.erase(found->second);
    endedByKey_.erase(found);
  }
}

const RemoteService* RemoteServices::FindOffered(const ServiceKey& key) const {
  const auto found = offered_.find(key);
  return found == offered_.end() ? nullptr : &found->second;
}

std::optional<RemoteService> RemoteServices::Find(const ServiceKey& key) const {
  if (const RemoteService* service = FindOffered(key)) {
    return *service;
  }
  const auto ended = endedByKey_.find(key);
  return ended == endedByKey_.end() ? std::nullopt : std::optional(*ended->second);
}

bool RemoteServices::HasOffered(const ServiceFilter& filter) const {
  for (auto at = offered_.lower_bound({filter.service, 0, 0});
       at != offered_.end() && at->first.service == filter.service; ++at) {
    if (filter.Matches(at->first, at->second.minor)) {
      return true;
    }
  }
  return false;
}

std::vector<RemoteService> RemoteServices::All() const {
  std::vector<RemoteService> all;
  all.reserve(offered_.size() + ended_.size());
  for (const auto& [key, service] : offered_) {
    all.push_back(service);
  }
  all.insert(all.end(), ended_.begin(), ended_.end());
  return all;
}

}  // namespace qor::someip::sd
