// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_ENDPOINT_TRANSPORTS_H
#define QOR_DDS_ENDPOINT_TRANSPORTS_H

#include <fastdds/rtps/common/Locator.h>

#include <fastdds/dds/core/policy/QosPolicies.hpp>
#include <string>
#include <vector>

#include "platform/ara/core/result.h"
#include "src/common/records/event_info.h"

namespace qor::dds {

/// What of a participant one endpoint uses.
struct EndpointTransports {
  bool useUdp = false;
  bool useSharedMemory = false;
  std::vector<maintaind::TransportQos> used;  ///< the record's transports that can be driven, in its order
};

/// From the record's transport list: UDP, and shared memory for SHM, DSHM, DSHM(MBUF) and FSHM; both for an empty list.
/// kNotSupported when the list has only what cannot be driven. Without shared memory (`hasSharedMemory` false) an
/// endpoint that asks for it goes over UDP on this host.
ara::core::Result<EndpointTransports> ChooseTransports(const std::vector<maintaind::TransportQos>& wanted,
                                                       bool hasSharedMemory);

/// True when the samples of the event are mbuf chains.
bool IsMbufEvent(const maintaind::DDSEventInfo& event);

/// Confines an endpoint to its transports: of its participant's locators it announces only those. As peers send to what
/// is announced and to nothing else, a sample travels over a transport of its reader's event: when both sides have the
/// same record, over those of the record. A reader that listens on both is reached over shared memory on this host.
void ConfineEndpoint(eprosima::fastdds::dds::RTPSEndpointQos& qos, const EndpointTransports& transports,
                     const eprosima::fastrtps::rtps::LocatorList_t& participantLocators);

}  // namespace qor::dds

#endif
