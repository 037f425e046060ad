// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_PARTICIPANT_QOS_H
#define QOR_DDS_PARTICIPANT_QOS_H

#include <cstdint>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qor::dds {

/// The addresses of a participant and what it may use.
struct ParticipantOptions {
  std::string name;                    ///< announced entity name
  std::vector<std::string> addresses;  ///< IPv4 addresses of this host to listen and announce on; at least one
  std::uint32_t segmentSize = 0;       ///< bytes of its shared memory segment; 0: no shared memory
  std::uint16_t domainId = 0;          ///< the domain it is for
  std::uint32_t sharedMemoryPort = 0;  ///< where it receives in shared memory; 0: where Fast DDS chooses
};

/// Highest domain id whose ports fit: above it the RTPS port formula leaves 16 bits.
inline constexpr std::uint16_t kMaxDomainId = 232;

/// A participant that stays on its addresses. Discovery on this host is unicast UDP: it announces itself to the
/// discovery ports of the first kPeersPerAddress participants on each of its addresses and listens on its own. With an
/// address other than loopback it also joins the RTPS default multicast group, where the participants of a network find
/// each other; without one, nothing joins or sends to a multicast group. Samples take shared memory where both sides
/// have it, else UDP.
eprosima::fastdds::dds::DomainParticipantQos MakeParticipantQos(const ParticipantOptions& options);

/// What a participant of this platform announces as USER_DATA: its endpoints are reported by its own daemon, so nobody
/// else has to list them as foreign.
inline constexpr std::string_view kPlatformMark = "qor.platform";

/// Participants of one domain on one address that find each other whoever comes first. One datagram each per
/// announcement.
inline constexpr std::uint32_t kPeersPerAddress = 60;

}  // namespace qor::dds

#endif
