// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/played_event_index.h"

#include <fmt/format.h>

#include "src/common/utils/net_process.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;

/// Without an address, and with one of 127.0.0.0/8, an event stays on this host.
std::string SegmentOf(const std::string& ip, const std::string& mask) {
  return ip.empty() || ip.starts_with("127.") ? "127.0.0.0" : qortools::utils::NetProcess::TransToNetSegment(ip, mask);
}

}  // namespace

void PlayedEventIndex::SetSOMEIPEventIndex(DriverType driver, std::uint16_t service, std::uint16_t instance,
                                           const std::string& network, std::uint16_t id) {
  driverType = driver;
  serviceId = service;
  instanceId = instance;
  networkSegment = network;
  eventId = id;
}

void PlayedEventIndex::SetDDSEventIndex(DriverType driver, const std::string& topic, const std::string& network,
                                        std::uint16_t domain) {
  driverType = driver;
  topicName = topic;
  networkSegment = network;
  domainId = domain;
}

PlayedEventIndex IndexOf(DriverType driver, const maintaind::EventInfo& binding) {
  PlayedEventIndex index;
  if (driver == DriverType::kDds) {
    const maintaind::DDSEventInfo& dds = binding.dds;
    index.SetDDSEventIndex(driver, dds.topicName, SegmentOf(dds.networkIp, dds.subnetMask), dds.domainId);
  } else {
    const maintaind::SomeipEventInfo& someip = binding.someip;
    index.SetSOMEIPEventIndex(driver, someip.serviceId, someip.instanceId,
                              SegmentOf(someip.networkIp, someip.subnetMask), someip.eventId);
  }
  return index;
}

std::string Text(const PlayedEventIndex& index) {
  if (index.driverType == DriverType::kDds) {
    return fmt::format("DDS topic '{}' in domain {}", index.topicName, index.domainId);
  }
  return fmt::format("SOME/IP service 0x{:04x}, instance {}, event 0x{:04x}", index.serviceId, index.instanceId,
                     index.eventId);
}

}  // namespace qor::qorbag
