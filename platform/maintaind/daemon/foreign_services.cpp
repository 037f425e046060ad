// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/foreign_services.h"

#include <limits>
#include <utility>

#include "platform/maintaind/daemon/daemon_offer.h"
#include "platform/maintaind/daemon/foreign_offer.h"

namespace qor::maintaind {
namespace {

using someip::sd::RemoteService;
using someip::sd::ServiceKey;

/// The service that a SOME/IP binding belongs to.
template <class Part>
ServiceKey KeyOf(const Part& part) {
  return {part.serviceId, part.instanceId, static_cast<std::uint8_t>(part.majorVersion)};
}

const ServiceInfo& PartOf(const ServiceInfo& binding) { return binding; }
const SomeipEventInfo& PartOf(const EventInfo& binding) { return binding.someip; }

/// Calls `note` with every entity that SOME/IP can offer, and its service.
template <class Info, class Function>
void ForEachOffered(const std::vector<Info>& infos, Function note) {
  for (const Info& info : infos) {
    const auto binding = info.bindings.find(DriverType::kSomeip);
    if (binding != info.bindings.end() &&
        PartOf(binding->second).majorVersion <= std::numeric_limits<std::uint8_t>::max()) {
      note(KeyOf(PartOf(binding->second)), info);
    }
  }
}

/// The registry's id of one entity of a service: family and place in the description.
std::string EntityId(const ServiceKey& key, const char* family, std::size_t index) {
  return "someip/" + std::to_string(key.service) + '/' + std::to_string(key.instance) + '/' +
         std::to_string(key.major) + '/' + family + '/' + std::to_string(index);
}

}  // namespace

ForeignServices::ForeignServices(Registry& registry, const com::Deployment& deployment, std::size_t maxEnded)
    : registry_(registry), maxEnded_(maxEnded) {
  ForEachOffered(deployment.services, [this](const ServiceKey& key, const ServiceRegisterInfo& service) {
    described_[key].services.push_back(&service);
  });
  ForEachOffered(deployment.events, [this](const ServiceKey& key, const EventRegisterInfo& event) {
    described_[key].events.push_back(&event);
  });
}

void ForeignServices::OnOffer(const RemoteService& offer) {
  if (IsToolsService(offer.key)) {
    SetDaemon(offer);
  } else {
    Update(offer);
  }
}

void ForeignServices::SetDaemon(const RemoteService& offer) {
  const auto host = hosts_.try_emplace(offer.host).first;
  std::set<ServiceKey>& daemons = host->second.daemons;
  const bool hadDaemon = !daemons.empty();
  if (DaemonOf(offer)) {
    daemons.insert(offer.key);
  } else {
    daemons.erase(offer.key);
  }
  if (daemons.empty() == hadDaemon) {
    changedHosts_.insert(offer.host);
  }
  ForgetIfEmpty(host);
}

void ForeignServices::Update(RemoteService service) {
  service.configuration.clear();  // is not listed
  const auto [place, isNew] = services_.try_emplace(service.key);
  Known& known = place->second;
  if (!isNew) {
    if (known.service == service) {
      return;
    }
    Leave(known);
  }
  known.service = std::move(service);
  if (known.service.state != RemoteService::State::kOffered) {
    known.ended = ended_.insert(ended_.end(), known.service.key);
  }
  hosts_[known.service.host].services.insert(known.service.key);
  changed_.insert(known.service.key);
  if (ended_.size() > maxEnded_) {
    Forget(services_.find(ended_.front()));
  }
}

void ForeignServices::SetOwnNetwork(const std::string& ip, const std::string& subnetMask) {
  network_ = {ip, subnetMask};
  for (const auto& [key, known] : services_) {
    if (known.shown) {
      Show(*known.shown);
    }
  }
}

void ForeignServices::Refresh() {
  for (const someip::Ipv4Address host : std::exchange(changedHosts_, {})) {
    const std::set<ServiceKey>& services = hosts_.at(host).services;
    changed_.insert(services.begin(), services.end());
  }
  for (const ServiceKey& key : std::exchange(changed_, {})) {
    Refresh(services_.at(key));
  }
}

void ForeignServices::Refresh(Known& known) {
  if (!hosts_.at(known.service.host).daemons.empty()) {
    Hide(known);
  } else if (known.shown != known.service) {
    Show(known.service);
    known.shown = known.service;
  }
}

/// Takes a service out of all that refers to it.
void ForeignServices::Leave(Known& known) {
  if (known.ended) {
    ended_.erase(*known.ended);
    known.ended.reset();
  }
  const auto host = hosts_.find(known.service.host);
  host->second.services.erase(known.service.key);
  ForgetIfEmpty(host);
}

void ForeignServices::Forget(Services::iterator place) {
  Hide(place->second);
  Leave(place->second);
  changed_.erase(place->first);
  services_.erase(place);
}

void ForeignServices::ForgetIfEmpty(Hosts::iterator host) {
  if (host->second.services.empty() && host->second.daemons.empty()) {
    changedHosts_.erase(host->first);
    hosts_.erase(host);
  }
}

void ForeignServices::Show(const RemoteService& service) {
  const Description& description = DescriptionOf(service.key);
  for (std::size_t i = 0; i < description.services.size(); ++i) {
    ShowEntity(EntityId(service.key, "service", i), service,
               ForeignService(*description.services[i], service, network_));
  }
  if (description.services.empty()) {
    ShowEntity(EntityId(service.key, "service", 0), service,
               ForeignService(UndescribedService(service.key), service, network_));
  }
  for (std::size_t i = 0; i < description.events.size(); ++i) {
    ShowEntity(EntityId(service.key, "event", i), service, ForeignEvent(*description.events[i], service, network_));
  }
}

template <class Info>
void ForeignServices::ShowEntity(const std::string& id, const RemoteService& service, Info info) {
  const std::string node = ForeignNodeName(service.host);
  if (service.state == RemoteService::State::kOffered) {
    registry_.SetForeign(id, EntityRole::kProvider, node, std::move(info));
  } else {
    registry_.SetForeignOffline(id, node, std::move(info));
  }
}

void ForeignServices::Hide(Known& known) {
  if (!known.shown) {
    return;
  }
  known.shown.reset();
  const ServiceKey& key = known.service.key;
  const Description& description = DescriptionOf(key);
  registry_.RemoveForeign(EntityId(key, "service", 0));
  for (std::size_t i = 1; i < description.services.size(); ++i) {
    registry_.RemoveForeign(EntityId(key, "service", i));
  }
  for (std::size_t i = 0; i < description.events.size(); ++i) {
    registry_.RemoveForeign(EntityId(key, "event", i));
  }
}

const ForeignServices::Description& ForeignServices::DescriptionOf(const ServiceKey& key) const {
  static const Description kNone;
  const auto found = described_.find(key);
  return found != described_.end() ? found->second : kNone;
}

}  // namespace qor::maintaind
