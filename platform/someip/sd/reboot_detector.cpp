// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/reboot_detector.h"

namespace qor::someip::sd {

bool RebootDetector::OnMessage(Ipv4Address address, bool isMulticast, std::uint16_t session, bool isReboot) {
  if (session == 0) {
    return false;  // the sender counts no sessions
  }
  Host& host = Heard(address);
  auto& last = isMulticast ? host.multicast : host.unicast;
  const bool hasRebooted = last && isReboot && (!last->isReboot || session <= last->session);
  if (hasRebooted) {
    // The other kind's sessions are from before, too; they must not show the same reboot again.
    (isMulticast ? host.unicast : host.multicast).reset();
  }
  last = Last{session, isReboot};
  return hasRebooted;
}

RebootDetector::Host& RebootDetector::Heard(Ipv4Address address) {
  const auto found = byAddress_.find(address);
  if (found != byAddress_.end()) {
    hosts_.splice(hosts_.end(), hosts_, found->second);
    return hosts_.back();
  }
  if (hosts_.size() == maxHosts_) {
    byAddress_.erase(hosts_.front().address);
    hosts_.pop_front();
  }
  hosts_.push_back(Host{address, std::nullopt, std::nullopt});
  byAddress_[address] = std::prev(hosts_.end());
  return hosts_.back();
}

}  // namespace qor::someip::sd
