// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYED_EVENT_INDEX_H
#define QOR_QORBAG_PLAYED_EVENT_INDEX_H

#include <compare>
#include <cstdint>
#include <string>

#include "src/common/records/binding.h"
#include "src/common/records/event_info.h"

namespace qor::qorbag {

/// Tells apart what a player publishes. A plain value.
struct PlayedEventIndex {
  maintaind::DriverType driverType = maintaind::DriverType::kDds;
  std::uint16_t serviceId = 0;  ///< SOME/IP, as are the next two
  std::uint16_t instanceId = 0;
  std::uint16_t eventId = 0;
  std::uint16_t domainId = 0;  ///< DDS, as is the topic
  std::string topicName;
  std::string networkSegment;  ///< "127.0.0.0" for everything that stays on this host

  void SetSOMEIPEventIndex(maintaind::DriverType driver, std::uint16_t service, std::uint16_t instance,
                           const std::string& network, std::uint16_t id);
  void SetDDSEventIndex(maintaind::DriverType driver, const std::string& topic, const std::string& network,
                        std::uint16_t domain);

  auto operator<=>(const PlayedEventIndex&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool
};

/// Of the part of a binding that the driver says.
PlayedEventIndex IndexOf(maintaind::DriverType driver, const maintaind::EventInfo& binding);

/// For a person: "DDS topic 'a' in domain 3", "SOME/IP service 0x1234, instance 1, event 0x8001".
std::string Text(const PlayedEventIndex& index);

}  // namespace qor::qorbag

#endif
