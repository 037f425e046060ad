// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/played_event.h"

#include <algorithm>

#include "src/qorbag/player_option_check.h"
#include "src/qorbag/recorded_definitions.h"
#include "src/qorbag/recorded_mbuf.h"

namespace qor::qorbag {
namespace {

using maintaind::DataMode;
using maintaind::TransportQos;

/// Shared memory goes on being used, for plain samples.
void MakePlain(maintaind::DDSEventInfo& dds) {
  dds.dataMode = DataMode::kNormal;
  std::ranges::replace(dds.transports, TransportQos::kDshmMbuf, TransportQos::kShm);
}

void Override(maintaind::DDSEventInfo& dds, const PlayerOptions& options) {
  if (options.domainId != options.everyDomainId) {
    dds.domainId = options.domainId;
  }
  if (const std::string& address = options.ip.empty() ? options.ddsNet : options.ip; !address.empty()) {
    dds.networkIp = address;
    dds.subnetMask.clear();
  }
  if (options.queueSize != 0) {
    dds.qos.history = {maintaind::HistoryKind::kKeepLast, options.queueSize};
  }
  dds.isAccessControlled = dds.isAccessControlled || options.accessControl;
}

void Override(maintaind::SomeipEventInfo& someip, const PlayerOptions& options) {
  if (!options.ip.empty()) {
    someip.networkIp = options.ip;
    someip.subnetMask.clear();
  }
  // A bag does not tell; a message by UDP that is longer than a datagram came in segments.
  someip.tp.isEnabled = someip.tp.isEnabled || !someip.isReliable;
}

/// An event's name as topics are called after it: "/a/b" is "a/b" or "a_b".
std::string TopicPart(const std::string& name, char separator) {
  std::string part = name.substr(name.starts_with('/') ? 1 : 0);
  std::ranges::replace(part, '/', separator);
  return part;
}

}  // namespace

PlayedEvent::PlayedEvent(const Connection& recorded, const PlayerOptions& options)
    : connection(&recorded),
      registration(RegistrationOf(recorded)),
      isRaw(IsUsingRawData(recorded) && !IsPublishingPlain(options)) {
  maintaind::EventInfo& binding = Binding();
  if (Driver() == maintaind::DriverType::kDds) {
    Override(binding.dds, options);
    if (isRaw) {
      binding.dds.dataMode = DataMode::kMbuf;
    } else if (IsUsingRawData(recorded)) {
      MakePlain(binding.dds);
    }
  } else {
    Override(binding.someip, options);
  }
  if (const auto renamed = options.eventRenames.find(recorded.eventName); renamed != options.eventRenames.end()) {
    registration.eventName = renamed->second;
    binding.dds.topicName = RenamedTopic(binding.dds.topicName, recorded.eventName, renamed->second);
  }
}

std::string RenamedTopic(const std::string& topic, const std::string& oldName, const std::string& newName) {
  for (const char separator : {'/', '_'}) {
    const std::string oldPart = TopicPart(oldName, separator);
    if (const std::size_t at = topic.find(oldPart); !oldPart.empty() && at != std::string::npos) {
      return std::string(topic).replace(at, oldPart.size(), TopicPart(newName, separator));
    }
  }
  return newName;
}

}  // namespace qor::qorbag
