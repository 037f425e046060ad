// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_EVENT_DESCRIPTION_H
#define QOR_QORBAG_EVENT_DESCRIPTION_H

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// What a player needs to publish a recorded event again.
struct EventDescription {
  std::string eventName;
  std::string dataType;
  std::string msgDefinition;  ///< of the data type, as JSON
  maintaind::DriverType driverType = maintaind::DriverType::kDds;
  maintaind::SerializationType serializationType = maintaind::SerializationType::kCm;
  maintaind::EventInfo eventInfo;                 ///< the part that the driver type says
  std::vector<std::uint8_t> serializationConfig;  ///< of SOME/IP settings and PDUs, as the daemon supplied it
};

/// Tells recorded events apart. A DDS event has no event id, and old bags have no networks: there the name does.
struct EventIdentity {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint16_t eventId = 0;
  std::string networkSegment;  ///< see GetNetSegment
  std::uint16_t domainId = 0;
  std::string eventName;

  auto operator<=>(const EventIdentity&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool
};

/// The network part of the address of the event's binding, such as "192.168.1.0"; empty without a network.
std::string GetNetSegment(const EventDescription& event);
EventIdentity IdentityOf(const EventDescription& event);

/// A message of a bag. Messages of one event share the description: a writer then knows it again at a glance.
struct EventMsg {
  std::shared_ptr<const EventDescription> event{};  // outlives the recorder's table of events
  std::uint64_t time = 0;                           ///< milliseconds; set when it was read, as is the payload
  QorBuffer payload{};
};

/// A received sample on its way into a bag. Either may be missing, which the writer refuses.
struct EventMsgInfo {
  std::shared_ptr<const EventDescription> event;             // as above
  std::shared_ptr<const std::vector<std::uint8_t>> payload;  // shared with the transport that received it
};

}  // namespace qor::qorbag

#endif
