// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/endpoint_transports.h"

#include <algorithm>

#include "platform/com/transport.h"
#include "src/common/records/binding.h"

namespace qor::dds {
namespace {

namespace rtps = eprosima::fastrtps::rtps;
using maintaind::TransportQos;

bool IsSharedMemory(TransportQos transport) {
  switch (transport) {
    case TransportQos::kDshm:
    case TransportQos::kShm:
    case TransportQos::kDshmMbuf:
    case TransportQos::kFshm:
      return true;
    default:
      return false;
  }
}

std::string NotSupportedText(const std::vector<TransportQos>& wanted) {
  std::string text = "this platform cannot drive the transport";
  const char* separator = wanted.size() > 1 ? "s " : " ";
  for (const TransportQos transport : wanted) {
    text += separator;
    text += maintaind::TransportQosText(transport);
    separator = ", ";
  }
  return text + "; it can drive UDP, SHM, DSHM, DSHM(MBUF) and FSHM";
}

}  // namespace

ara::core::Result<EndpointTransports> ChooseTransports(const std::vector<TransportQos>& wanted, bool hasSharedMemory) {
  EndpointTransports chosen;
  if (wanted.empty()) {
    chosen.useUdp = true;
    chosen.useSharedMemory = hasSharedMemory;
    chosen.used = {TransportQos::kUdp};
    if (hasSharedMemory) {
      chosen.used.push_back(TransportQos::kShm);
    }
    return chosen;
  }
  bool isDrivable = false;
  for (const TransportQos transport : wanted) {
    const bool isUdp = transport == TransportQos::kUdp;
    const bool isSharedMemory = IsSharedMemory(transport);
    isDrivable = isDrivable || isUdp || isSharedMemory;
    chosen.useUdp = chosen.useUdp || isUdp;
    chosen.useSharedMemory = chosen.useSharedMemory || (isSharedMemory && hasSharedMemory);
    if (isUdp || (isSharedMemory && hasSharedMemory)) {
      chosen.used.push_back(transport);
    }
  }
  if (!isDrivable) {
    return ara::core::ErrorCode(static_cast<std::int32_t>(com::TransportError::kNotSupported),
                                NotSupportedText(wanted));
  }
  if (chosen.used.empty()) {
    chosen.useUdp = true;
    chosen.used = {TransportQos::kUdp};
  }
  return chosen;
}

bool IsMbufEvent(const maintaind::DDSEventInfo& event) {
  return event.dataMode == maintaind::DataMode::kMbuf ||
         std::ranges::find(event.transports, TransportQos::kDshmMbuf) != event.transports.end();
}

void ConfineEndpoint(eprosima::fastdds::dds::RTPSEndpointQos& qos, const EndpointTransports& transports,
                     const rtps::LocatorList_t& participantLocators) {
  if (transports.useUdp == transports.useSharedMemory) {
    return;
  }
  for (const rtps::Locator_t& locator : participantLocators) {
    if ((locator.kind == LOCATOR_KIND_SHM) == transports.useSharedMemory) {
      qos.unicast_locator_list.push_back(locator);
    }
  }
}

}  // namespace qor::dds
