// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/participant_qos.h"

#include <fastdds/rtps/transport/TransportInterface.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "platform/dds/dds_duration.h"
#include "platform/dds/host_interfaces.h"

namespace qor::dds {
namespace {

namespace rtps = eprosima::fastrtps::rtps;
namespace transports = eprosima::fastdds::rtps;

/// A killed program is forgotten after this long; the programs of this platform are known to be gone sooner, by their
/// connection to the daemon.
constexpr std::chrono::milliseconds kLease{5000};
/// Ten in a lease, so that a busy host loses nobody. It also bounds how long two programs may miss each other: Fast DDS
/// announces a new participant before it listens, so the first answer is often lost, and the next is the other's next
/// announcement.
constexpr std::chrono::milliseconds kAnnouncementPeriod{500};

/// Where the participants of a network find each other by default (RTPS, default settings of UDP/IP).
constexpr const char* kDiscoveryGroup = "239.255.0.1";

/// RTPS over UDPv4: what fits a datagram, without the headers of IP and UDP and a margin.
constexpr std::uint32_t kMaxMessageSize = 65500;
/// Room for a few samples of 2 MB while the receive thread is busy; the kernel gives what net.core.rmem_max allows.
constexpr std::uint32_t kSocketBufferSize = 4U << 20U;
/// A sample of 2 MB takes 33 messages; this is room for several of them.
constexpr std::uint32_t kSharedMemoryQueue = 8192;

std::shared_ptr<transports::UDPv4TransportDescriptor> MakeUdp(const std::vector<std::string>& addresses) {
  auto udp = std::make_shared<transports::UDPv4TransportDescriptor>();
  udp->interfaceWhiteList = addresses;
  udp->maxMessageSize = kMaxMessageSize;
  udp->maxInitialPeersRange = kPeersPerAddress;
  udp->sendBufferSize = kSocketBufferSize;
  udp->receiveBufferSize = kSocketBufferSize;
  return udp;
}

std::shared_ptr<transports::SharedMemTransportDescriptor> MakeSharedMemory(std::uint32_t segmentSize) {
  auto sharedMemory = std::make_shared<transports::SharedMemTransportDescriptor>();
  sharedMemory->segment_size(segmentSize);
  sharedMemory->max_message_size(kMaxMessageSize);
  sharedMemory->port_queue_capacity(kSharedMemoryQueue);
  return sharedMemory;
}

/// Where user data is received: on each address, at the port that follows from the domain, and in shared memory.
void SetReceivers(const ParticipantOptions& options, transports::SharedMemTransportDescriptor& sharedMemory,
                  eprosima::fastdds::dds::DomainParticipantQos& qos) {
  auto& receivers = qos.wire_protocol().default_unicast_locator_list;
  for (const std::string& address : options.addresses) {
    rtps::Locator_t locator;
    rtps::IPLocator::setIPv4(locator, address);
    receivers.push_back(locator);
  }
  const std::unique_ptr<transports::TransportInterface> transport(sharedMemory.create_transport());
  transport->getDefaultUnicastLocators(receivers, options.sharedMemoryPort);
}

}  // namespace

eprosima::fastdds::dds::DomainParticipantQos MakeParticipantQos(const ParticipantOptions& options) {
  eprosima::fastdds::dds::DomainParticipantQos qos;
  qos.name(options.name);
  qos.user_data().data_vec({kPlatformMark.begin(), kPlatformMark.end()});
  qos.transport().use_builtin_transports = false;
  qos.transport().user_transports.push_back(MakeUdp(options.addresses));
  if (options.segmentSize != 0) {
    const auto sharedMemory = MakeSharedMemory(options.segmentSize);
    qos.transport().user_transports.push_back(sharedMemory);
    if (options.sharedMemoryPort != 0) {
      SetReceivers(options, *sharedMemory, qos);
    }
  }
  auto& builtin = qos.wire_protocol().builtin;
  for (const std::string& address : options.addresses) {
    rtps::Locator_t locator;
    rtps::IPLocator::setIPv4(locator, address);
    builtin.initialPeersList.push_back(locator);
    builtin.metatrafficUnicastLocatorList.push_back(locator);  // a list of our own keeps the default multicast away
  }
  if (!std::ranges::all_of(options.addresses, IsLoopback)) {
    rtps::Locator_t group;
    rtps::IPLocator::setIPv4(group, kDiscoveryGroup);
    group.port = qos.wire_protocol().port.getMulticastPort(options.domainId);
    builtin.initialPeersList.push_back(group);
    builtin.metatrafficMulticastLocatorList.push_back(group);
  }
  builtin.discovery_config.leaseDuration = DdsDuration(kLease);
  builtin.discovery_config.leaseDuration_announcementperiod = DdsDuration(kAnnouncementPeriod);
  return qos;
}

}  // namespace qor::dds
