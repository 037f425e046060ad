// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_QOR_EVENT_INFO_H
#define QOR_COMMON_QOR_EVENT_INFO_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qor::qorevent {

/// One listed event, ready to print.
struct QorEventInfo {
  std::string displayName;  ///< the event name; for SOME/IP followed by the instance short name in square brackets
  std::string eventName;
  std::string binding;  ///< "DDS" or "SOMEIP"
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint16_t eventId = 0;   ///< SOME/IP only
  std::uint16_t domainId = 0;  ///< DDS only
  std::string topicName;       ///< DDS only
  std::string networkIp;
  std::string subnetMask;
  std::vector<std::string> transports;  ///< "UDP", "SHM" ...; for SOME/IP "UDP" or "TCP"
  std::string dataTypeName;
  std::string applicationName;
  std::string hostDomainName;
  std::string instanceShortName;
  std::string uuid;
  std::string publisher;  ///< node name; empty: no publisher is known
  bool isPublisherOnline = false;
  std::vector<std::string> subscribers;                         ///< node names
  std::vector<std::pair<std::string, std::string>> attributes;  ///< further settings for show: label and text
};

}  // namespace qor::qorevent

#endif
