// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/service_records.h"

#include <fmt/format.h>

namespace qor::com {

maintaind::ServiceIndex ServiceOf(const maintaind::SomeipEventInfo& event) {
  return {.serviceId = event.serviceId,
          .instanceId = event.instanceId,
          .majorVersion = static_cast<std::uint8_t>(event.majorVersion)};
}

maintaind::OfferedEvent OfferedEventOf(const maintaind::SomeipEventInfo& event) {
  return {.eventId = event.eventId,
          .eventGroupIds = event.eventGroupIds,
          .isReliable = event.isReliable,
          .isFieldNotifier = event.isFieldNotifier,
          .tp = event.tp};
}

someip::EventSettings SettingsOf(const maintaind::OfferedEvent& event) {
  someip::EventSettings settings;
  settings.eventId = event.eventId;
  settings.eventgroups = event.eventGroupIds;
  settings.isReliable = event.isReliable;
  settings.isField = event.isFieldNotifier;
  if (event.tp.isEnabled) {
    settings.tp.emplace();
    settings.tp->maxSegmentLength = event.tp.maxSegmentLength;
    if (event.tp.separationTimeUs != 0) {
      settings.tp->burstLength = 1;
      settings.tp->separation = std::chrono::microseconds(event.tp.separationTimeUs);
    }
  }
  return settings;
}

std::string Text(const maintaind::ServiceIndex& service) {
  return fmt::format("service 0x{:04x}, instance {}, version {}", service.serviceId, service.instanceId,
                     service.majorVersion);
}

}  // namespace qor::com
