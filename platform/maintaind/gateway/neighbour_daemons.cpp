// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/gateway/neighbour_daemons.h"

#include <algorithm>
#include <utility>

#include "platform/maintaind/daemon/daemon_offer.h"

namespace qor::maintaind {
namespace {

constexpr std::uint16_t kMaxInstance = someip::sd::kAnyInstance - 1;

/// The instance to try after `tried` others: first the lower half of the address, then such as two addresses with one
/// lower half do not share.
std::uint16_t InstanceOf(someip::Ipv4Address address, std::uint32_t tried) {
  if (tried == 0) {
    return std::clamp<std::uint16_t>(static_cast<std::uint16_t>(address.value), 1, kMaxInstance);
  }
  const std::uint32_t mixed = (address.value + tried * 0x9E3779B9U) * 0x85EBCA6BU;
  return static_cast<std::uint16_t>(1 + (mixed >> 16U) % kMaxInstance);
}

}  // namespace

ara::core::Result<someip::sd::OfferedService> NeighbourDaemons::Open(someip::Ipv4Address address) {
  Close();
  const auto port = tools_.Open(address);
  if (!port) {
    return port.Error();
  }
  own_ = someip::Endpoint{address, port.Value()};
  triedInstances_ = 0;
  return NextOffer();
}

void NeighbourDaemons::Close() {
  tools_.Close();
  own_.reset();
}

std::optional<someip::sd::OfferedService> NeighbourDaemons::GiveWay(const Key& key, someip::Ipv4Address claimant) {
  if (!own_ || key != ownKey_ || claimant > own_->address || triedInstances_ >= kMaxInstances) {
    return std::nullopt;
  }
  const auto offer = NextOffer();
  log_.Info() << "Host " << claimant.Text() << " offers a tools service of instance " << key.instance
              << ", which this host's had; it has " << offer.key.instance << " now.";
  return offer;
}

/// With the next instance that no other daemon has, as far as it is known.
someip::sd::OfferedService NeighbourDaemons::NextOffer() {
  someip::sd::OfferedService offer;
  do {
    offer = OfferOfDaemon(instance_, InstanceOf(own_->address, triedInstances_++), *own_);
  } while (IsTaken(offer.key) && triedInstances_ < kMaxInstances);
  ownKey_ = offer.key;
  return offer;
}

bool NeighbourDaemons::IsTaken(const Key& key) const {
  return std::ranges::any_of(hosts_, [&key](const auto& host) { return host.second.offers.contains(key); });
}

void NeighbourDaemons::OnOffer(const someip::sd::RemoteService& service) {
  if (const auto daemon = DaemonOf(service)) {
    Host& host = hosts_.try_emplace(service.host, Host{service.key, {}}).first->second;
    host.offers.insert_or_assign(service.key, *daemon);
    isChanged_ = true;
    return;
  }
  const auto place = hosts_.find(service.host);
  if (place == hosts_.end() || place->second.offers.erase(service.key) == 0) {
    return;
  }
  isChanged_ = true;
  Host& host = place->second;
  if (host.offers.empty()) {
    hosts_.erase(place);
  } else if (host.counts == service.key) {
    host.counts = host.offers.begin()->first;
  }
}

void NeighbourDaemons::Refresh() {
  if (!std::exchange(isChanged_, false)) {
    return;
  }
  RemoteDaemonBoard::Daemons daemons;
  for (const auto& [address, host] : hosts_) {
    daemons.push_back(host.offers.at(host.counts));
  }
  board_.Set(std::move(daemons));
}

}  // namespace qor::maintaind
