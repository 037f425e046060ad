// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_REBOOT_DETECTOR_H
#define QOR_SOMEIP_SD_REBOOT_DETECTOR_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>

#include "platform/someip/endpoint.h"

namespace qor::someip::sd {

/// Sees from the sessions of its messages that a host has started anew. What it sends by multicast and by unicast has
/// sessions of its own.
class RebootDetector {
 public:
  /// Follows at most `maxHosts`; the longest silent one is forgotten.
  explicit RebootDetector(std::size_t maxHosts) : maxHosts_(maxHosts) {}

  /// Whether this message is the first that shows a reboot: its flag is set and was not, or it is set as before and
  /// the session did not grow.
  bool OnMessage(Ipv4Address host, bool isMulticast, std::uint16_t session, bool isReboot);
  std::size_t HostCount() const { return hosts_.size(); }

 private:
  struct Last {
    std::uint16_t session = 0;
    bool isReboot = false;
  };
  struct Host {
    Ipv4Address address;
    std::optional<Last> multicast;
    std::optional<Last> unicast;
  };
  using Hosts = std::list<Host>;  // the longest silent first

  Host& Heard(Ipv4Address address);

  const std::size_t maxHosts_;
  Hosts hosts_;
  std::map<Ipv4Address, Hosts::iterator> byAddress_;
};

}  // namespace qor::someip::sd

#endif
