// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/service_records.h"

#include <optional>
#include <string_view>

#include <fmt/format.h>

namespace qor::com {
namespace {

std::string ReplacedPort(std::string_view protocol, const std::optional<std::uint16_t>& asked,
                         const std::optional<someip::Endpoint>& opened) {
  if (asked.value_or(0) == 0 || !opened || opened->port == *asked) {
    return "";
  }
  return fmt::format("{} port {} cannot be had, {} is in its place", protocol, *asked, opened->port);
}

}  // namespace

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

std::string ReplacedPorts(const someip::ServiceServerOptions& asked, const someip::ServiceServer& opened) {
  const std::string udp = ReplacedPort("UDP", asked.udpPort, opened.UdpEndpoint());
  const std::string tcp = ReplacedPort("TCP", asked.tcpPort, opened.TcpEndpoint());
  return udp + (udp.empty() || tcp.empty() ? "" : "; ") + tcp;
}

}  // namespace qor::com
