// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/event_description.h"

#include "src/common/utils/net_process.h"

namespace qor::qorbag {

using maintaind::DriverType;
using qortools::utils::NetProcess;

std::string GetNetSegment(const EventDescription& event) {
  const auto segmentOf = [](const auto& binding) {
    return NetProcess::TransToNetSegment(binding.networkIp, binding.subnetMask);
  };
  return event.driverType == DriverType::kDds ? segmentOf(event.eventInfo.dds) : segmentOf(event.eventInfo.someip);
}

EventIdentity IdentityOf(const EventDescription& event) {
  if (event.driverType == DriverType::kDds) {
    const maintaind::DDSEventInfo& dds = event.eventInfo.dds;
    return {dds.serviceId, dds.instanceId, 0, GetNetSegment(event), dds.domainId, event.eventName};
  }
  const maintaind::SomeipEventInfo& someip = event.eventInfo.someip;
  return {someip.serviceId, someip.instanceId, someip.eventId, GetNetSegment(event), 0, event.eventName};
}

}  // namespace qor::qorbag
