// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DISCOVERY_WATCHER_H
#define QOR_DDS_DISCOVERY_WATCHER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ara/core/result.h"
#include "src/common/records/binding.h"
#include "src/common/records/event_info.h"
#include "src/common/records/qos.h"

namespace qor::dds {

/// One writer or reader that RTPS discovery announced.
struct DiscoveredEndpoint {
  std::string guid;             ///< 32 hexadecimal digits
  std::string participantGuid;  ///< GUID prefix of its participant, 24 hexadecimal digits
  std::string participantName;  ///< entity name that the participant announces; may be empty
  bool isOfPlatform = false;    ///< its participant is one of this platform, here or on another host
  bool isWriter = false;
  std::uint16_t domainId = 0;
  std::string topicName;
  std::string typeName;
  bool isKeyed = false;
  std::string partition;  ///< several names separated by commas
  maintaind::QosInfo qos;
  maintaind::DataRepresentation dataRepresentation = maintaind::DataRepresentation::kXcdr1;
  std::vector<maintaind::TransportQos> transports;  ///< from its locators: UDP, SHM
  std::string address;                              ///< its first IPv4 unicast address; empty: none announced
};

/// Sees every endpoint of every participant of one domain, this process's other participants included. The callbacks
/// run on Fast DDS threads, one at a time for one watcher, and must not block or destroy the watcher.
class DiscoveryWatcher {
 public:
  struct Callbacks {
    /// New, or announced again with changes.
    std::function<void(const DiscoveredEndpoint&)> onEndpoint;
    std::function<void(const std::string& guid)> onEndpointGone;
    /// The participant left or its lease ran out; its endpoints are gone with it.
    std::function<void(const std::string& participantGuid)> onParticipantGone;
  };

  /// `interfaceIp` is the address to discover on besides this host; empty: this host only.
  static ara::core::Result<std::unique_ptr<DiscoveryWatcher>> Create(std::uint16_t domainId,
                                                                     const std::string& interfaceIp,
                                                                     Callbacks callbacks);
  ~DiscoveryWatcher();
  DiscoveryWatcher(const DiscoveryWatcher&) = delete;
  DiscoveryWatcher& operator=(const DiscoveryWatcher&) = delete;

  /// GUID prefix of the watcher's own participant, 24 hexadecimal digits.
  const std::string& ParticipantGuid() const;

 private:
  class Impl;
  explicit DiscoveryWatcher(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace qor::dds

#endif
